// tests/test_text_documents.cpp -- whole documents through the single-file entry: a crafted PDF
// whose brik file is compared byte for byte, and small real PDFs
// made by other tools, which must give their visible words.
#include <regex>

#include "suite.h"

namespace {

// Parses folder + name into work/briks.txt at the given brik size; returns the pages with briks.
int parse(const std::string& folder, const std::string& name, const std::string& work, int brik_size) {
  return add_one_pdf_opts("acct", "lib", folder.c_str(), name.c_str(), work.c_str(), "briks.txt",
                          brik_size, "", 0, 1, 1, 600, 2, 1, 1, "", 50, "", 0);
}

std::string record(int block, int page, int x, int y, int cy, const std::string& text) {
  return "\n<block_ID>: " + std::to_string(block) + ",\n<doc_ID>: 0,\n<content_type>: text,"
         "\n<file_type>: pdf,\n<master_index>: " + std::to_string(page) + ",\n<master_index2>: 0,"
         "\n<coords_x>: " + std::to_string(x) + ",\n<coords_y>: " + std::to_string(y) +
         ",\n<coords_cx>: " + std::to_string(page - 1) + ",\n<coords_cy>: " + std::to_string(cy) +
         ",\n<author_or_speaker>: ,\n<added_to_collection>: STAMP,\n<file_source>: doc.pdf,"
         "\n<table>: ,\n<modified_date>: ,\n<created_date>: ,\n<creator_tool>: ,\n<external_files>: ,"
         "\n<text>: " + text + ",\n<header_text>: ,\n<text_search>: " + text +
         ",\n<user_tags>: ,\n<special_field1>: ,\n<special_field2>: ,\n<special_field3>: ,"
         "\n<graph_status>: false\n<dialog>: false<END_BLOCK>\n";
}

TEST(TextDocuments, WholeBrikFileByteForByte) {
  std::string folder = make_temp_dir("doc_in"), work = make_temp_dir("doc_work");
  std::vector<std::string> lines2;
  for (int k = 0; k < 8; k++) lines2.push_back("line " + std::to_string(k) + " " + std::string(60, 'x'));
  write_file(folder + "doc.pdf", simple_text_pdf({text_lines_content({"Hello world", "Second line"}), text_lines_content(lines2)}).build());
  EXPECT_EQ(parse(folder, "doc.pdf", work, 400), 2);
  // Page 2: 8 lines of 67 bytes joined by blanks. The first brik is cut at the first blank from
  // byte 400 on, at the end of the box; the rest comes in the closing pass.
  std::string page2;
  for (size_t k = 0; k < lines2.size(); k++) page2 += (k ? " " : "") + lines2[k];
  size_t cut = page2.find(' ', 399) + 1;
  std::string expected = record(0, 1, 72, 706, 1, "Hello world Second line") +
                         record(1, 2, 72, 622, 0, page2.substr(0, cut)) + record(2, 2, 72, 622, 1, page2.substr(cut));
  std::regex stamp("\n<added_to_collection>: [^,]*,");
  EXPECT_EQ(std::regex_replace(read_file(work + "briks.txt"), stamp, "\n<added_to_collection>: STAMP,"), expected);
}

TEST(TextDocuments, RealPdfs) {
  // Small PDFs from other tools must give their visible words: PostScript through a PDF writer
  // (standard fonts, literal strings, the quote operator), and an office suite's PDF (subset
  // TrueType font, ToUnicode map, hex strings in TJ arrays).
  struct { const char* name; std::vector<std::string> words; int pages; } rows[] = {
      {"text_poster_ps.pdf", {"Harvest", "Festival", "village", "cider.", "friend.", "Second", "schedule", "parade,"}, 2},
      {"table_office.pdf", {"Item", "Q4", "Line", "1000.50", "7468.83", "9387.53", "1642.85"}, 1}};
  for (auto& r : rows) {
    std::string work = make_temp_dir("real");
    EXPECT_EQ(parse(std::string(PDFBRIKS_TEST_DATA) + "/", r.name, work, 20), r.pages) << r.name;
    std::string texts;
    for (const std::string& t : brik_fields(read_file(work + "briks.txt"), "text")) texts += t;
    for (const std::string& word : r.words) EXPECT_NE(find(texts, word), -1) << r.name << ": " << word << "\n" << texts;
  }
}

}  // namespace
