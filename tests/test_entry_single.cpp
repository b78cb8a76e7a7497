// tests/test_entry_single.cpp -- the single-file entry points and the document builder's roads
// out: names, results, refusals, the closing summary, the log's levels and what carries over
// from one call to the next.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

namespace {

// Runs add_one_pdf_opts on `name` in `folder` with the log in a file at `level`; returns the
// result and leaves the log's text in `log`.
int run_opts(const std::string& folder, const std::string& name, int level, std::string* log) {
  std::string log_path = folder + "run.log";
  int pages = add_one_pdf_opts("acct", "lib", folder.c_str(), name.c_str(), folder.c_str(),
                               "briks.txt", 400, "", 0, 1, 1, 600, 2, 1, 1, "", level,
                               log_path.c_str(), 60);
  *log = read_file(log_path);
  return pages;
}


const char* kSummary =
    "INFO: pdf_parser - pdf files-%d \n"
    "INFO: pdf_parser - total processed upload files-%d \n"
    "INFO: pdf_parser - total blocks created - 0 \n"
    "INFO: pdf_parser - total pages added - 0 \n"
    "INFO: pdf_parser - PDF Processing - Finished - time elapsed - ";

std::string summary(int pdf_files, int processed) {
  char text[512];
  snprintf(text, sizeof text, kSummary, pdf_files, processed);
  return text;
}

}  // namespace

TEST(FileNames, TypeIsTheTextAfterTheLastPoint) {
  char a[] = "report.final.pdf", b[] = "pdf", c[] = ".pdf", d[] = "...", e[] = "",
       f[] = "Report.Pdf";
  EXPECT_STREQ(get_file_type(a), "pdf");
  EXPECT_STREQ(get_file_type(b), "pdf");  // no point at all: the whole name
  EXPECT_STREQ(get_file_type(c), "pdf");
  EXPECT_EQ(get_file_type(d), nullptr);   // only points: no token
  EXPECT_EQ(get_file_type(e), nullptr);
  EXPECT_STREQ(get_file_type(f), "Pdf");  // the entry compares exactly, so this is no PDF
}

TEST(FileNames, NameIsTheLastComponent) {
  char a[] = "/data/in/a.pdf", b[] = "a.pdf", c[] = "/";
  EXPECT_STREQ(get_file_name(a), "a.pdf");
  EXPECT_STREQ(get_file_name(b), "a.pdf");
  EXPECT_EQ(get_file_name(c), nullptr);
}

// Names that never reach the document builder: each gets its warning and the full summary with
// zeros, and the process goes on.
TEST(SingleFileEntry, NamesThatAreNotReadAreReported) {
  std::string folder = make_temp_dir("names");
  write_file(folder + "notes.txt", "hello");
  write_file(folder + "Report.Pdf", "%PDF-1.7\n");
  struct Row {
    const char* name;
    const char* warning;
  } rows[] = {
      {"notes.txt", "WARNING: pdf_parser - file is not PDF. \n"},
      {"Report.Pdf", "WARNING: pdf_parser - file is not PDF. \n"},  // only pdf and PDF count
      {"missing.pdf", "WARNING: pdf_parser - file not found at this path. \n"},
      {"...", "WARNING: pdf_parser - file is not PDF. \n"},  // a name of points has no type
  };
  for (const Row& row : rows) {
    std::string log;
    EXPECT_EQ(run_opts(folder, row.name, 20, &log), 0) << row.name;
    EXPECT_NE(find(log, row.warning), -1) << row.name << "\n" << log;
    EXPECT_NE(find(log, summary(0, 0)), -1) << row.name << "\n" << log;
  }
}

TEST(SingleFileEntry, RefusedDocumentsGiveZeroPagesAndTheBlocksLine) {
  std::string folder = make_temp_dir("refused");
  PdfWriter encrypted = simple_text_pdf({text_lines_content({"secret"})});
  encrypted.trailer_extra = "/Encrypt 99 0 R";
  write_file(folder + "enc.pdf", encrypted.build());
  write_file(folder + "empty.pdf", "%PDF-1.4\n%%EOF\n");
  for (const char* name : {"enc.pdf", "empty.pdf"}) {
    std::string log;
    EXPECT_EQ(run_opts(folder, name, 10, &log), 0) << name;
    EXPECT_NE(find(log, "DEBUG: pdf_parser - blocks_created = \n"), -1) << log;
    EXPECT_NE(find(log, summary(1, 0)), -1) << log;
  }
}

TEST(DocumentBuilder, Results) {
  PdfWriter in_dict = simple_text_pdf({text_lines_content({"x"})});
  in_dict.add(40, "<</Filter/Standard/V 2/Encrypt 1>>");
  PdfWriter in_tail = simple_text_pdf({text_lines_content({"x"})});
  in_tail.trailer_extra = "/Encrypt 40 0 R";
  PdfWriter no_catalog;
  no_catalog.add(1, "<</Type/Pages/Kids[]/Count 0>>");
  PdfWriter empty_tree;
  empty_tree.add(1, "<</Type/Catalog/Pages 2 0 R>>").add(2, "<</Type/Pages/Kids[]/Count 0>>");

  struct Row {
    const char* why;
    std::string bytes;
    int result;
  } rows[] = {
      {"/Encrypt in an object's dictionary", in_dict.build(), -2},
      {"/Encrypt in the last 300 bytes", in_tail.build(), -2},
      {"/Encrypt in the trailer of a file with no xref", in_tail.build(Xref::missing), -2},
      {"no catalog anywhere", no_catalog.build(), -1},
      {"no object at all", "%PDF-1.4\n%%EOF\n", -1},
      {"a catalog with an empty page tree", empty_tree.build(), 0},
  };
  for (const Row& row : rows) EXPECT_EQ(run_pdf_builder(row.bytes), row.result) << row.why;
}

TEST(DocumentBuilder, RefusalLinesAndTheirLimits) {
  // The object with /Encrypt comes first: its own dictionary is searched before the tail.
  PdfWriter in_dict;
  in_dict.add(2, "<</Kids[]/Encrypt 7 0 R>>").add(1, "<</Type/Catalog/Pages 2 0 R>>");
  {
    LogCapture log(39);
    EXPECT_EQ(run_pdf_builder(in_dict.build()), -2);
    EXPECT_NE(find(log.text(),
                   "WARNING:  pdf_parser - encrypted pdf - can not process further - Encrypt "
                   "Dict - <</Kids[]/Encrypt 7 0 R> \n"),  // the span's last byte is not part of the text
              -1)
        << log.text();
  }
  {
    LogCapture log(40);  // a warning is not written at 40
    EXPECT_EQ(run_pdf_builder(in_dict.build()), -2);
    EXPECT_EQ(log.text(), "");
  }
  PdfWriter tail = simple_text_pdf({text_lines_content({"x"})});
  tail.trailer_extra = "/Encrypt 40 0 R";
  {
    LogCapture log(49);
    EXPECT_EQ(run_pdf_builder(tail.build()), -2);
    EXPECT_EQ(log.text(),
              "ERROR:  pdf_parser - encrypted pdf - can not process further - found Encrypt in "
              "pdf trailer. \n");
  }
  {
    LogCapture log(49);
    EXPECT_EQ(run_pdf_builder("%PDF-1.4\n"), -1);
    EXPECT_EQ(log.text(),
              "ERROR: pdf_parser - catalog not found - unusual - exiting and returning error code "
              "- can not process further. \n");
  }
  {
    LogCapture log(50);  // from 50 on nothing is written
    EXPECT_EQ(run_pdf_builder("%PDF-1.4\n"), -1);
    EXPECT_EQ(log.text(), "");
  }
}

// A catalog that lives only inside an object stream is found by the search among hidden
// objects, and its metadata is read from there.
TEST(DocumentBuilder, CatalogInsideAnObjectStream) {
  std::string xmp = "<x><xmp:CreatorTool>Stream Maker 2</xmp:CreatorTool></x>";
  PdfWriter w;
  w.add_object_stream(20, {{1, "<</Type/Catalog/Pages 2 0 R/Metadata 5 0 R>>"},
                           {2, "<</Type/Pages/Kids[]/Count 0>>"}});
  w.add_stream(5, "/Type/Metadata/Subtype/XML", xmp, false);
  LogCapture log(9);
  EXPECT_EQ(run_pdf_builder(w.build()), 0);
  EXPECT_STREQ(my_doc.creator_tool, "Stream Maker 2");
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - unusual_case - searching in objstm for catalog: 2-4 \n"), -1)
      << log.text();
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - unusual_case - success OK - found Catalog Dict in ObjStm - "), -1);
}

// One stream that inflates and one that does not: the -1 of the bad one cancels the +1 of the
// good one, so the search among hidden objects never runs.
TEST(DocumentBuilder, BadObjectStreamCancelsAGoodOne) {
  PdfWriter w;
  w.add_object_stream(20, {{1, "<</Type/Catalog/Pages 2 0 R>>"}});
  w.add(21, "<</Type/ObjStm/N 1/First 4/Filter/FlateDecode/Length 9>>\nstream\nnot zlib!\nendstream");
  EXPECT_EQ(run_pdf_builder(w.build()), -1);
}

// A document without a catalog leaves the metadata of the one before it in my_doc.
TEST(DocumentBuilder, MetadataStaysWhenNoCatalogIsFound) {
  std::string xmp = "<x><xmp:CreateDate>2021-05-06</xmp:CreateDate></x>";
  PdfWriter w;
  w.add(1, "<</Type/Catalog/Pages 2 0 R/Metadata 5 0 R>>").add(2, "<</Type/Pages/Kids[]/Count 0>>");
  w.add_stream(5, "/Type/Metadata/Subtype/XML", xmp, false);
  EXPECT_EQ(run_pdf_builder(w.build()), 0);
  EXPECT_STREQ(my_doc.created_date, "2021-05-06");
  EXPECT_EQ(run_pdf_builder("%PDF-1.4\n1 0 obj\n<</A 1>>\nendobj\n\n"), -1);
  EXPECT_STREQ(my_doc.created_date, "2021-05-06");
}

// A file of 2 GiB or more is refused before anything is read (the file is sparse, so making it
// costs nothing).
TEST(DocumentBuilder, HugeFileIsRefused) {
  std::string folder = make_temp_dir("huge");
  std::string path = folder + "huge.pdf";
  write_file(path, "%PDF-1.4\n");
  ASSERT_EQ(truncate(path.c_str(), 2147483648LL), 0);
  LogCapture log(49);
  EXPECT_EQ(pdf_builder(const_cast<char*>(path.c_str()), const_cast<char*>("a"),
                        const_cast<char*>("l"), const_cast<char*>("t")),
            0);
  EXPECT_NE(find(log.text(), "ERROR: pdf_parser - file too large - can not process further - 2147483648 \n"), -1)
      << log.text();
  unlink(path.c_str());
}

// What one call leaves behind for the next: the level and the options that add_one_pdf does
// not set itself, global_table_count, and log_stream back on standard output after a log file.
TEST(SingleFileEntry, StateCarriedFromCallToCall) {
  std::string folder = make_temp_dir("carry");
  std::string log;
  global_table_count = 7;
  run_opts(folder, "missing.pdf", 40, &log);
  EXPECT_EQ(log_stream, stdout);
  EXPECT_EQ(GLOBAL_LOGGER_LEVEL, 40);
  EXPECT_EQ(global_table_count, 7);  // not reset by the single-file entries

  // At level 40 add_one_pdf writes neither the warning nor the summary.
  testing::internal::CaptureStdout();
  EXPECT_EQ(add_one_pdf("a", "l", folder.c_str(), "missing.pdf", folder.c_str(), "b.txt", 400), 0);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(find(out, "pdf_parser"), -1) << out;
  EXPECT_EQ(GLOBAL_LOGGER_LEVEL, 40);
  EXPECT_EQ(GLOBAL_BRIK_SIZE, 400);
  EXPECT_EQ(master_doc_tracker, 0);
  GLOBAL_LOGGER_LEVEL = 20;
}

// A log file that cannot be opened sends the log to standard output instead.
TEST(SingleFileEntry, UnopenableLogFileFallsBackToStandardOutput) {
  std::string folder = make_temp_dir("nolog");
  testing::internal::CaptureStdout();
  add_one_pdf_opts("a", "l", folder.c_str(), "x.txt", folder.c_str(), "b.txt", 400, "", 0, 1, 1,
                   600, 2, 1, 1, "", 20, "/nonexistent/dir/run.log", 60);
  std::string out = testing::internal::GetCapturedStdout();
  EXPECT_NE(find(out, "WARNING: pdf_parser - file is not PDF. \n"), -1) << out;
  EXPECT_EQ(log_stream, stdout);
}
