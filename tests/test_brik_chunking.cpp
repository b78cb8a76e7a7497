// tests/test_brik_chunking.cpp -- cutting the text of a content stream into briks: the target
// size, the hard bound, the smart edge, sentence ends and abbreviations, multi-byte characters,
// one brik per box, the short and the long tail, the bounds that block cutting, the header text,
// the brik's fields and the flush of a full Briks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "page_text_run.h"
#include "run/run_state.h"
#include "text/text.h"

using namespace pdftest;

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

TEST(BrikCut, EdgeRulesAtSize400) {
  struct Row {
    std::string content;
    Sizes expected;
    const char* why;
  } rows[] = {
      {box(std::string(399, 'a')) + box(std::string(150, 'b')), {549},
       "399 bytes wait for the next box; with no blank the closing pass cuts at the end"},
      {box(std::string(399, 'a') + " " + std::string(150, 'b')), {400, 150},
       "a blank at byte 400 ends the chunk and stays in it"},
      {box(std::string(396, 'a') + " Dr. Smith" + std::string(150, 'z')), {401, 155},
       "no cut at the dot of Dr.; the cut comes at the blank behind it"},
      {box(std::string(393, 'a') + " Fig. 3. Next" + std::string(150, 'z')), {402, 154},
       "a digit before the dot holds the cut back to the next blank"},
      {box(std::string(399, 'a') + ". " + std::string(150, 'z')), {400, 151},
       "a dot and a blank past the size end the chunk at the dot"},
      {box(std::string(700, 'a')), {600, 100}, "no blank: the hard bound cuts at 600"},
      {box(std::string(599, 'a') + "\xE9" + std::string(150, 'b')), {602, 149},
       "a two-byte character at byte 600 is not split"},
      {box(std::string(405, 'a') + "\\n\\n" + std::string(150, 'b')), {406, 151},
       "two line ends cut at the first"},
      {box(std::string(405, 'a') + "\\n" + std::string(300, 'b')), {600, 106}, "a single line end does not"},
      {box(words(400)), {400, 400, 400, 400, 400},
       "2000 bytes in one box: one brik at its end, the rest in the closing pass"},
      {box(std::string(450, 'a') + " " + std::string(100, 'b')), {451, 100}, "smart edge: the first blank"},
      {box("     "), {}, "blanks only: no brik"},
      {box(std::string(395, 'a') + " Mrs. " + std::string(150, 'z')), {401, 150},
       "no cut at the dot of Mrs."},
      {box(std::string(397, 'a') + "Mr. " + std::string(150, 'z')), {401, 150}, "nor at the dot of Mr."},
      {box(std::string(397, 'a') + ".b. " + std::string(150, 'z')), {401, 150},
       "a dot with another dot in the five bytes before it does not end the chunk"},
      {box(std::string(598, 'a') + "1." + std::string(150, 'x')), {601, 149},
       "a digit before a dot at byte 600 holds the hard bound back by one byte"},
      {box(std::string(399, 'a') + ".") + box(std::string(300, 'b')), {400, 300},
       "a dot as the last byte at the size ends the chunk at the box's end"},
      {box(std::string(405, 'a') + "\\r\\n" + std::string(150, 'b')), {406, 151},
       "a carriage return and a line feed cut at the first"},
  };
  for (const auto& row : rows) {
    PageTextRun run;
    run.run(row.content);
    EXPECT_EQ(sizes(run), row.expected) << row.why;
  }
}

TEST(BrikCut, PlainEdgeAndOtherSizes) {
  {
    PageTextRun run;
    CHUNKING_SMART_EDGE = 0;
    run.run(box(std::string(450, 'a') + " " + std::string(100, 'b')));
    EXPECT_EQ(sizes(run), (Sizes{400, 151})) << "plain edge: the first single-byte character at 400";
    CHUNKING_SMART_EDGE = 1;
  }
  {
    PageTextRun run;
    GLOBAL_BRIK_SIZE = 100;
    MAX_CHUNK_SIZE = 150;
    run.run(box(words(100)));
    EXPECT_EQ(sizes(run), (Sizes{100, 100, 100, 100, 100})) << "brik size 100";
    run.run(box(std::string(170, 'q')) + box(std::string(10, 'r')));
    EXPECT_EQ(sizes(run).back(), 180u) << "chunk 150: a cut of 150 at the first box, and the tail of 30 joins it";
  }
}

TEST(BrikCut, OneBrikPerBoxEnd) {
  PageTextRun run;
  run.run(box(std::string(1000, 'a')) + box("b"));
  // Box 0 cuts 600 of the a's. At box 1, the 401 bytes left have no edge and are under the hard
  // bound, so nothing is cut there; the closing pass cuts them as one brik.
  ASSERT_EQ(sizes(run), (Sizes{600, 401}));
  EXPECT_EQ(Briks[0].coords_cy, 0);
  EXPECT_EQ(Briks[1].coords_cy, 2) << "the closing pass gives box_count as the box index";
}

TEST(BrikCut, ShortTail) {
  {
    PageTextRun run;
    run.run(box(std::string(399, 'a') + " " + std::string(50, 'b')));
    ASSERT_EQ(sizes(run), (Sizes{450})) << "a tail of 50 joins the last brik with no separator";
  }
  {
    PageTextRun run;
    run.run(box(words(100)));
    size_t before = global_brik_counter;
    std::string last = Briks[before - 1].text;
    run.run(box(std::string(50, 't')));
    EXPECT_EQ(static_cast<size_t>(global_brik_counter), before) << "a call that cut nothing drops its tail";
    EXPECT_EQ(Briks[before - 1].text, last);
  }
  {
    PageTextRun run;
    run.run(box(std::string(50, 't')));
    EXPECT_EQ(sizes(run), (Sizes{50})) << "with no brik waiting, a short tail is a brik of its own";
  }
}

TEST(BrikCut, JoinAtTheCoreBoundBlocksTheRestOfTheCall) {
  PageTextRun run;
  run.run(box(std::string(2100, 'a')) + box(std::string(49000, 'b')) + box("c"));
  EXPECT_EQ(sizes(run), (Sizes{600})) << "box_text 49000 and core_text 1500: nothing more is cut, the closing pass neither";
}

TEST(BrikCut, SaveOffStopsCutting) {
  PageTextRun run;
  global_brik_save_off = 1;
  run.run(box(words(100)));
  EXPECT_EQ(global_brik_counter, 0);
  global_brik_save_off = -1;
}

TEST(BrikFields, TextBrik) {
  PageTextRun run;
  run.run("BT 1 0 0 1 72.9 700.5 Tm (" + words(100) + ") Tj ET", 2);
  ASSERT_EQ(global_brik_counter, 2);
  const BrikRecord& b = Briks[0];
  EXPECT_STREQ(b.content_type, "text");
  EXPECT_STREQ(b.file_type, "PDF");
  EXPECT_EQ(b.master_index, 2);
  EXPECT_EQ(b.coords_x, 72);
  EXPECT_EQ(b.coords_y, 700);
  EXPECT_EQ(b.coords_cx, 2);
  EXPECT_EQ(b.coords_cy, 0);
  EXPECT_EQ(b.sub_index, 0);
  EXPECT_STREQ(b.table, "");
  EXPECT_STREQ(b.external_files, "");
  EXPECT_EQ(Briks[1].sub_index, 1);
}

TEST(BrikFields, PositionsTruncateUpToTheLargestFloatBelowTwoToThe31) {
  struct Row {
    const char* x;
    int expected;
    const char* why;
  } rows[] = {
      {"2147483520", 2147483520, "the largest float below 2^31 is an int and stays as it is"},
      {"-2147483520", -2147483520, "and so is its negative"},
      {"3000000000", 2147483647, "past the int range: held at its end"},
  };
  for (const auto& row : rows) {
    PageTextRun run;
    run.run(std::string("BT 1 0 0 1 ") + row.x + " 5 Tm (" + words(100) + ") Tj ET");
    ASSERT_GE(global_brik_counter, 1) << row.why;
    EXPECT_EQ(Briks[0].coords_x, row.expected) << row.why;
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
  int records = 0;
  for (size_t at = file.find("<END_BLOCK>"); at != std::string::npos; at = file.find("<END_BLOCK>", at + 1)) {
    records++;
  }
  EXPECT_EQ(records, 1010);
  EXPECT_NE(find(file, "\n<block_ID>: 1009,"), -1);
  EXPECT_EQ(find(file, "\n<block_ID>: 1010,"), -1);
}

}  // namespace
