// tests/test_entry_single.cpp -- the single-file entry points and the document builder's roads
// out: names, results, refusals, the closing summary, the log's levels and what carries over
// from one call to the next.
#include <unistd.h>

#include "suite.h"

namespace {

// Runs add_one_pdf_opts on `name` in `folder` with the log in a file at `level`; returns the
// result and leaves the log's text in `log`.
int run_opts(const std::string& folder, const std::string& name, int level, std::string* log) {
  std::string log_path = folder + "run.log";
  remove(log_path.c_str());
  int pages = add_one_pdf_opts("acct", "lib", folder.c_str(), name.c_str(), folder.c_str(), "briks.txt", 400, "", 0, 1,
                               1, 600, 2, 1, 1, "", level, log_path.c_str(), 60);
  *log = read_file(log_path);
  return pages;
}

std::string summary(int pdf_files) {
  return "INFO: pdf_parser - pdf files-" + std::to_string(pdf_files) +
         " \nINFO: pdf_parser - total processed upload files-0 \nINFO: pdf_parser - total blocks created - 0 \n"
         "INFO: pdf_parser - total pages added - 0 \nINFO: pdf_parser - PDF Processing - Finished - time elapsed - ";
}

}  // namespace

TEST(FileNames, TypeAndName) {
  struct { std::string path; const char* type; const char* name; } rows[] = {
      {"report.final.pdf", "pdf", "report.final.pdf"}, {"pdf", "pdf", "pdf"}, {".pdf", "pdf", ".pdf"},
      {"...", nullptr, "..."}, {"", nullptr, nullptr}, {"Report.Pdf", "Pdf", "Report.Pdf"},
      {"/data/in/a.pdf", "pdf", "a.pdf"}, {"/", "/", nullptr}};
  for (auto& r : rows) {
    std::string a = r.path, b = r.path;
    const char* type = get_file_type(&a[0]);
    const char* name = get_file_name(&b[0]);
    EXPECT_EQ(type ? std::string(type) : "<null>", r.type ? r.type : "<null>") << r.path;
    EXPECT_EQ(name ? std::string(name) : "<null>", r.name ? r.name : "<null>") << r.path;
  }
}

// Names that never reach the document builder, and documents it refuses: each gets its line and
// the full summary with zeros, and the process goes on.
TEST(SingleFileEntry, NamesNotReadAndRefusedDocuments) {
  std::string folder = make_temp_dir("names");
  write_file(folder + "notes.txt", "hello");
  write_file(folder + "Report.Pdf", "%PDF-1.7\n");
  PdfWriter encrypted = simple_text_pdf({text_lines_content({"secret"})});
  encrypted.trailer_extra = "/Encrypt 99 0 R";
  write_file(folder + "enc.pdf", encrypted.build());
  write_file(folder + "empty.pdf", "%PDF-1.4\n%%EOF\n");
  struct { const char* name; const char* line; int files; } rows[] = {
      {"notes.txt", "WARNING: pdf_parser - file is not PDF. \n", 0},
      {"Report.Pdf", "WARNING: pdf_parser - file is not PDF. \n", 0},  // only pdf and PDF count
      {"missing.pdf", "WARNING: pdf_parser - file not found at this path. \n", 0},
      {"...", "WARNING: pdf_parser - file is not PDF. \n", 0},  // a name of points has no type
      {"enc.pdf", "DEBUG: pdf_parser - blocks_created = \n", 1}, {"empty.pdf", "DEBUG: pdf_parser - blocks_created = \n", 1}};
  for (auto& r : rows) {
    std::string log;
    EXPECT_EQ(run_opts(folder, r.name, 10, &log), 0) << r.name;
    EXPECT_NE(find(log, r.line), -1) << r.name << "\n" << log;
    EXPECT_NE(find(log, summary(r.files)), -1) << r.name << "\n" << log;
  }
}

TEST(DocumentBuilder, ResultsAndRefusalLines) {
  PdfWriter in_dict;  // the object with /Encrypt comes first: its dictionary is searched before the tail
  in_dict.add(2, "<</Kids[]/Encrypt 7 0 R>>").add(1, "<</Type/Catalog/Pages 2 0 R>>");
  PdfWriter late_dict = simple_text_pdf({text_lines_content({"x"})});
  late_dict.add(40, "<</Filter/Standard/V 2/Encrypt 1>>");
  PdfWriter in_tail = simple_text_pdf({text_lines_content({"x"})});
  in_tail.trailer_extra = "/Encrypt 40 0 R";
  PdfWriter no_catalog, empty_tree;
  no_catalog.add(1, "<</Type/Pages/Kids[]/Count 0>>");
  empty_tree.add(1, "<</Type/Catalog/Pages 2 0 R>>").add(2, "<</Type/Pages/Kids[]/Count 0>>");
  const std::string dict_line = "WARNING:  pdf_parser - encrypted pdf - can not process further - Encrypt Dict - "
                                "<</Kids[]/Encrypt 7 0 R> \n";  // the span's last byte is not part of the text
  const std::string tail_line = "ERROR:  pdf_parser - encrypted pdf - can not process further - found Encrypt in pdf trailer. \n";
  const std::string catalog_line = "ERROR: pdf_parser - catalog not found - unusual - exiting and returning error code - "
                                   "can not process further. \n";
  struct { std::string bytes; int level, result; std::string log; const char* why; } rows[] = {
      {in_dict.build(), 39, -2, dict_line, "/Encrypt in an object's dictionary"},
      {in_dict.build(), 40, -2, "", "a warning is not written at 40"},
      {late_dict.build(), 50, -2, "", "/Encrypt in a late object's dictionary"},
      {in_tail.build(), 49, -2, tail_line, "/Encrypt in the last 300 bytes"},
      {in_tail.build(Xref::missing), 50, -2, "", "in the trailer of a file with no xref"},
      {no_catalog.build(), 49, -1, catalog_line, "no catalog anywhere"},
      {"%PDF-1.4\n%%EOF\n", 50, -1, "", "no object at all; from 50 on nothing is written"},
      {empty_tree.build(), 50, 0, "", "a catalog with an empty page tree"}};
  for (auto& r : rows) {
    LogCapture log(r.level);
    EXPECT_EQ(run_pdf_builder(r.bytes), r.result) << r.why;
    EXPECT_EQ(log.text(), r.log) << r.why;
  }
}

// A catalog that lives only inside an object stream is found by the search among hidden objects,
// and its metadata is read from there; a stream that does not inflate cancels a good one.
TEST(DocumentBuilder, CatalogInsideAnObjectStream) {
  PdfWriter w;
  w.add(3, "<</Type/Metadata/Subtype/XML/Length 60>>\nstream\n<xmp:CreatorTool>Writer 1.0</xmp:CreatorTool>\nendstream");
  w.add_object_stream(50, {{1, "<</Type/Catalog/Pages 2 0 R/Metadata 3 0 R>>"}, {2, "<</Type/Pages/Kids[]/Count 0>>"}});
  {
    LogCapture log(9);
    EXPECT_EQ(run_pdf_builder(w.build(Xref::broken)), 0);
    EXPECT_STREQ(my_doc.creator_tool, "Writer 1.0");
    EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - unusual_case - searching in objstm for catalog: "), -1);
    EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - unusual_case - success OK - found Catalog Dict in ObjStm - "
                               "<</Type/Catalog/Pages 2 0 R/Metadata 3 0 R> \n"), -1) << log.text();
  }
  PdfWriter bad;
  bad.add_object_stream(20, {{1, "<</Type/Catalog/Pages 2 0 R>>"}});
  bad.add(21, "<</Type/ObjStm/N 1/First 4/Filter/FlateDecode/Length 9>>\nstream\nnot zlib!\nendstream");
  EXPECT_EQ(run_pdf_builder(bad.build()), -1) << "hidden_count is 1 - 1 = 0: the search never runs";
  EXPECT_STREQ(my_doc.creator_tool, "Writer 1.0") << "without a catalog the metadata of the document before stays";
}

// A file of 2 GiB or more is refused before anything is read (the file is sparse).
TEST(DocumentBuilder, HugeFileIsRefused) {
  std::string path = make_temp_dir("huge") + "huge.pdf";
  write_file(path, "%PDF-1.4\n");
  ASSERT_EQ(truncate(path.c_str(), 2147483648LL), 0);
  LogCapture log(49);
  EXPECT_EQ(pdf_builder(&path[0], const_cast<char*>("a"), const_cast<char*>("l"), const_cast<char*>("t")), 0);
  EXPECT_EQ(log.text(), "ERROR: pdf_parser - file too large - can not process further - 2147483648 \n");
  unlink(path.c_str());
}

// What one call leaves for the next: the level and the options add_one_pdf does not set,
// global_table_count, and log_stream back on standard output after a log file; a log file that
// cannot be opened sends the log to standard output.
TEST(SingleFileEntry, StateCarriedFromCallToCall) {
  std::string folder = make_temp_dir("carry");
  std::string log;
  global_table_count = 7;
  run_opts(folder, "missing.pdf", 40, &log);
  EXPECT_EQ(log_stream, stdout);
  EXPECT_EQ(global_table_count, 7);
  testing::internal::CaptureStdout();
  EXPECT_EQ(add_one_pdf("a", "l", folder.c_str(), "missing.pdf", folder.c_str(), "b.txt", 400), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "at level 40 neither the warning nor the summary";
  EXPECT_EQ(GLOBAL_LOGGER_LEVEL, 40);
  EXPECT_EQ(master_doc_tracker, 0);
  testing::internal::CaptureStdout();
  add_one_pdf_opts("a", "l", folder.c_str(), "x.txt", folder.c_str(), "b.txt", 400, "", 0, 1, 1, 600, 2, 1, 1, "", 20,
                   "/nonexistent/dir/run.log", 60);
  EXPECT_NE(find(testing::internal::GetCapturedStdout(), "WARNING: pdf_parser - file is not PDF. \n"), -1);
  EXPECT_EQ(log_stream, stdout);
  GLOBAL_LOGGER_LEVEL = 20;
}
