// tests/test_brik_chunking.cpp -- cutting the text of a content stream into briks: the target
// size, the hard bound, the smart edge, sentence ends and abbreviations, multi-byte characters,
// one brik per box, the short and the long tail, the bounds that block cutting, the header text,
// the brik's fields and the flush of a full Briks.
#include "suite.h"

namespace {

// One text box showing `text` (no parentheses or backslashes in it).
std::string box(const std::string& text) { return "BT (" + text + ") Tj ET\n"; }

std::vector<size_t> sizes(const PageTextRun& run) {
  std::vector<size_t> out;
  for (const std::string& t : run.texts()) out.push_back(t.size());
  return out;
}

std::string words(int count) {
  std::string s;
  for (int k = 0; k < count; k++) s += "abcd ";
  return s;
}

using Sizes = std::vector<size_t>;

// Rows at brik size 400, chunk 600 and the smart edge unless they say otherwise.
TEST(BrikCut, EdgeRulesSizesTailsAndBlocks) {
  struct { std::string content; Sizes expected; const char* why; int size = 400, chunk = 600, edge = 1, save_off = -1; } rows[] = {
      {box(std::string(399, 'a')) + box(std::string(150, 'b')), {549}, "399 bytes wait; no blank: cut at the end"},
      {box(std::string(399, 'a') + " " + std::string(150, 'b')), {400, 150}, "a blank at byte 400 ends the chunk"},
      {box(std::string(396, 'a') + " Dr. Smith" + std::string(150, 'z')), {401, 155}, "no cut at the dot of Dr."},
      {box(std::string(395, 'a') + " Mrs. " + std::string(150, 'z')), {401, 150}, "nor of Mrs."},
      {box(std::string(397, 'a') + "Mr. " + std::string(150, 'z')), {401, 150}, "nor of Mr."},
      {box(std::string(393, 'a') + " Fig. 3. Next" + std::string(150, 'z')), {402, 154}, "a digit before the dot holds"},
      {box(std::string(399, 'a') + ". " + std::string(150, 'z')), {400, 151}, "a dot and a blank end it at the dot"},
      {box(std::string(397, 'a') + ".b. " + std::string(150, 'z')), {401, 150}, "no end with a dot in the 5 bytes before"},
      {box(std::string(399, 'a') + ".") + box(std::string(300, 'b')), {400, 300}, "a dot as the box's last byte"},
      {box(std::string(700, 'a')), {600, 100}, "no blank: the hard bound cuts at 600"},
      {box(std::string(599, 'a') + "\xE9" + std::string(150, 'b')), {602, 149}, "a two-byte character is not split"},
      {box(std::string(598, 'a') + "1." + std::string(150, 'x')), {601, 149}, "a digit and dot at 600 hold the bound"},
      {box(std::string(405, 'a') + "\\n\\n" + std::string(150, 'b')), {406, 151}, "two line ends cut at the first"},
      {box(std::string(405, 'a') + "\\r\\n" + std::string(150, 'b')), {406, 151}, "so do CR and LF"},
      {box(std::string(405, 'a') + "\\n" + std::string(300, 'b')), {600, 106}, "a single line end does not"},
      {box(words(400)), {400, 400, 400, 400, 400}, "one brik at the box's end, the rest in the closing pass"},
      {box(std::string(450, 'a') + " " + std::string(100, 'b')), {451, 100}, "smart edge: the first blank"},
      {box(std::string(450, 'a') + " " + std::string(100, 'b')), {400, 151}, "plain edge: the first one-byte character at 400",
       400, 600, 0},
      {box("     "), {}, "blanks only: no brik"},
      {box(words(100)), {100, 100, 100, 100, 100}, "brik size 100", 100, 150},
      {box(std::string(170, 'q')) + box(std::string(10, 'r')), {180}, "chunk 150: a cut of 150, and the tail of 30 joins it",
       100, 150},
      {box(std::string(399, 'a') + " " + std::string(50, 'b')), {450}, "a tail of 50 joins the last brik"},
      {box(std::string(50, 't')), {50}, "with no brik waiting, a short tail is a brik of its own"},
      {box(std::string(2100, 'a')) + box(std::string(49000, 'b')) + box("c"), {600},
       "box_text 49000 and core_text 1500: nothing more is cut, the closing pass neither"},
      {box(words(100)), {}, "a save-off stops cutting", 400, 600, 1, 1}};
  for (const auto& r : rows) {
    PageTextRun run;
    GLOBAL_BRIK_SIZE = r.size;
    MAX_CHUNK_SIZE = r.chunk;
    CHUNKING_SMART_EDGE = r.edge;
    global_brik_save_off = r.save_off;
    run.run(r.content);
    global_brik_save_off = -1;
    EXPECT_EQ(sizes(run), r.expected) << r.why;
  }
  PageTextRun run;
  run.run(box(std::string(1000, 'a')) + box("b"));
  // Box 0 cuts 600. At box 1 the 401 bytes left have no edge and are under the hard bound; the
  // closing pass cuts them, with box_count as the box index.
  ASSERT_EQ(sizes(run), (Sizes{600, 401}));
  EXPECT_EQ(Briks[1].coords_cy, 2);
  run.run(box(std::string(50, 't')));
  EXPECT_EQ(sizes(run), (Sizes{600, 401})) << "a call that cut nothing drops its tail";
}

TEST(BrikFields, TextBrik) {
  PageTextRun run;
  run.run("BT 1 0 0 1 72.9 700.5 Tm (" + words(100) + ") Tj ET", 2);
  ASSERT_EQ(global_brik_counter, 2);
  const BrikRecord& b = Briks[0];
  EXPECT_EQ(std::string(b.content_type) + b.file_type + b.table.c_str() + b.external_files, "textPDF");
  EXPECT_EQ(std::vector<int>({b.master_index, b.coords_x, b.coords_y, b.coords_cx, b.coords_cy, b.sub_index,
                              Briks[1].sub_index}), std::vector<int>({2, 72, 700, 2, 0, 0, 1}));
  // Positions truncate; the largest float below 2^31 is an int and stays, past the range is held.
  for (const char* x : {"2147483520", "-2147483520", "3000000000"}) {
    PageTextRun far;
    far.run(std::string("BT 1 0 0 1 ") + x + " 5 Tm (" + words(100) + ") Tj ET");
    EXPECT_EQ(Briks[0].coords_x, x[0] == '3' ? 2147483647 : atoi(x)) << x;
  }
}

TEST(BrikFields, HeaderTextRepeatsAtBoxEndsAndEmptiesInTheClosingPass) {
  PageTextRun run;
  run.run("BT /F1 20 Tf (Title) Tj /F1 10 Tf (" + words(400) + ") Tj ET");
  ASSERT_EQ(sizes(run), (Sizes{400, 400, 400, 400, 400, 5})) << "the last byte always ends a chunk";
  EXPECT_STREQ(Briks[0].header_text, "Title");
  EXPECT_STREQ(Briks[1].header_text, "Title");
  EXPECT_STREQ(Briks[2].header_text, "");
  EXPECT_STREQ(global_headlines, "Title Title ");
}

TEST(BrikFlush, The1010thBrikFlushesOnTheSpot) {
  PageTextRun run;
  std::string content;
  for (int k = 0; k < 1015; k++) content += box(std::string(399, 'w') + " ");
  EXPECT_EQ(run.run(content), 1015);
  EXPECT_EQ(global_brik_counter, 5);
  EXPECT_EQ(master_brik_tracker, 1010);
  EXPECT_EQ(master_page_brik_start, 0);
  std::string file = run.brik_file();
  EXPECT_EQ(count_of(file, "<END_BLOCK>"), 1010);
  EXPECT_NE(find(file, "\n<block_ID>: 1009,"), -1);
  EXPECT_EQ(find(file, "\n<block_ID>: 1010,"), -1);
}

}  // namespace
