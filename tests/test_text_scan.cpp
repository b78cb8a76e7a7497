// tests/test_text_scan.cpp -- the content stream scan of text_processor_page: which BT...ET are
// boxes, streams without boxes, the cm and image placements between boxes, Tf outside boxes, the
// font and size handed on to the next stream, the box limit; and the backward number readers and
// the vertical distance test they feed.
#include "suite.h"

namespace {

TEST(ContentScan, WhichBytesMakeATextBox) {
  struct { std::string content, expected; const char* why; } rows[] = {
      {"BT\n(Hello) Tj\nET", "Hello", "BT followed by a line end"}, {"BT-(Hello) Tj ET", "Hello", "BT followed by a minus"},
      {"BT(Hi) Tj ET BT (Yo) Tj ET", "Yo", "BT followed by ( is not a box start"},
      {"BT (MARKET) Tj ET BT (ok) Tj ET", "ok", "ET inside a word ends the box; the open string is lost"},
      {"ET BT (a1) Tj ET", "a1", "an ET with no BT does nothing"}, {"(Hello) Tj", "Hello", "no BT: one box"},
      {"BT (open) Tj", "open", "a BT with no ET gives no box: the stream is read whole"},
      {"(x) Tj BT", "x", "BT as the last bytes is no box"},
      {"(Early) Tj" + std::string(10000, ' ') + "(Late) Tj", "Early", "without boxes the first 10000 bytes are read"},
      {std::string(9997, ' ') + "(x) Tj", "x", "an operator behind the first 10000 bytes still shows the string"}};
  for (auto& r : rows) {
    PageTextRun run;
    run.run(r.content);
    EXPECT_EQ(run.joined(), r.expected) << r.why;
  }
  PageTextRun run;
  flate_dst_tmp_buffer = nullptr;
  EXPECT_EQ(text_processor_page(-1, 0) + global_brik_counter, 0) << "a failed inflation gives nothing";
}

TEST(ContentScan, ImageNamesArePlacedAtTheLastCm) {
  struct { const char* content; const char* name; float x, y; int placed; const char* why; } rows[] = {
      {"q 2 0 0 3 100 200 cm /Im0 Do Q", "/Im0", 100, 200, 1, "e and f of the cm"},
      {"q 1 0 0 1 5 6 cm /Im0 Do Q q 1 0 0 1 7 8 cm /Im0 Do Q", "/Im0", 7, 8, 1, "named twice: the second wins"},
      {"q 1 0 0 1 5 6 cm /Im12 Do Q", "/Im1", 5, 6, 1, "a prefix of the bytes matches"},
      {"BT 1 0 0 1 5 6 cm /Im0 Do ET", "/Im0", 0, 0, 0, "inside a box a name is not looked at"},
      {"5 6 cm /Im0 Do", "/Im0", 0, 0, 1, "a cm with two numbers gives 0, 0"},
      {"q 1 0 0 1 5 6 cm /Im", "/Im0", 0, 0, 0, "a name cut by the end of the stream does not match"}};
  for (auto& r : rows) {
    PageTextRun run;
    Pages[0].image_count = 1;
    snprintf(Pages[0].image_name[0], IMAGE_NAME_SIZE, "%s", r.name);
    run.run(r.content);
    EXPECT_FLOAT_EQ(Pages[0].image_x[0], r.x) << r.why;
    EXPECT_FLOAT_EQ(Pages[0].image_y[0], r.y) << r.why;
    EXPECT_EQ(Pages[0].image_placed[0], r.placed) << r.why;
  }
}

TEST(ContentScan, FontAndSizeInForce) {
  struct { int font_page; std::vector<std::string> streams; const char* text; int cmap; const char* why; } fonts[] = {
      {0, {"/F1 12 Tf BT (A) Tj ET"}, "B", 0, "a Tf outside a box holds for the boxes"},
      {0, {"BT /F1 12 Tf ET", "BT (A) Tj ET"}, "B", 0, "the font runs on to the next stream"},
      {3, {"BT /F1 12 Tf (A) Tj ET"}, "A", -1, "a font of another page is not taken"}};
  for (auto& r : fonts) {
    PageTextRun run;
    add_test_font("/F1", r.font_page, {{'A', 'B'}});
    for (const std::string& stream : r.streams) run.run(stream);
    EXPECT_EQ(run.joined() + " " + std::to_string(GLOBAL_PAGE_CMAP), r.text + (" " + std::to_string(r.cmap))) << r.why;
  }
  struct { const char* content; int size; const char* why; } rows[] = {
      {"/F1 12 Tf BT ET", 12, "outside a box"}, {"/F1 0 Tf BT ET", 0, "outside a box a size of 0 stays 0"},
      {"BT /F1 0 Tf ET", 1, "inside a box a size of 0 becomes 1"}, {"BT /F1 9.5 Tf ET", 9, "the fraction is dropped"},
      {"BT /F1 12Tf ET", 10, "a size that nothing closes is not read"},
      {"BT 2 0 0 2 0 0 Tm ET", 20, "the scale folds into the size"},
      {"BT 72 720 Tm ET", 0, "a Tm with too few numbers sets the scale to 0"}};
  for (auto& r : rows) {
    PageTextRun run;
    run.run(r.content);
    EXPECT_EQ(GLOBAL_FONT_SIZE, r.size) << r.why;
  }
}

TEST(ContentScan, StreamsCutAtEveryByteStayInsideTheirBytes) {
  // Each prefix ends at an awkward place: inside a string, an octal escape, a hex string, an
  // operator name, an image name. The runner gives exactly the stream's bytes, so the sanitizer
  // build sees any read past them.
  const std::string full =
      "q 1 0 0 1 5 6 cm /Im0 Do Q /F1 12 Tf BT /F1 12 Tf 1 0 0 1 72 700 Tm (a\\101\\b\\1) Tj "
      "[(A) -200 <0041> 300 (B)] TJ 0 -14 Td T* (q) ' (r) \" /P<</MCID 3>>BDC <</ActualText(x)>>BDC (y) Tj EMC ET";
  for (size_t n = 0; n <= full.size(); n++) {
    PageTextRun run;
    Pages[0].image_count = 1;
    snprintf(Pages[0].image_name[0], IMAGE_NAME_SIZE, "/Im0");
    EXPECT_EQ(run.run(full.substr(0, n)), global_brik_counter);
    EXPECT_LE(run.joined().size(), n);
  }
}

TEST(ContentScan, PastTheBoxLimitBoxesAreLeftOutAndLogged) {
  PageTextRun run;
  std::string content;
  for (int k = 0; k < 10001; k++) content += "BT ET\n";
  LogCapture log(39);
  run.run(content + "BT (late) Tj ET\n");
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - unusual - exceeded max text box count -  10000 \n"), -1);
  EXPECT_NE(find(log.text(), "exceeded max text box count -  10002 \n"), -1);
  EXPECT_EQ(run.joined(), "");
}

TEST(TextStateReader, TmCmAndTdOperands) {
  struct { std::string window; bool td; float scale, x, y; const char* why; } rows[] = {
      {"1 0 0 1 72 720 ", false, 1, 72, 720, "plain matrix"}, {"2 0 0 -2 72 720 ", false, 2, 72, 720, "sign of d dropped"},
      {"72 720 ", false, 0, 0, 0, "two numbers only: all 0"},
      {"BT /F1 12 Tf 1 0 0 1 10.5 -20", false, 1, 10.5f, -20, "open token at the end counts"},
      {"q 1 0 0 1 5 6 cm 1 0 0 3 7 8", false, 3, 7, 8, "only the last three numbers matter"},
      {"1 0 0 1 12Q3 9", false, 1, 123, 9, "letters are skipped without ending the token"},
      {"1 0 0 1 1.2.3 4", false, 1, 1.2f, 4, "a second dot stays in the token; parsing stops there"},
      {"0 0 4 - 5", false, 4, 0, 5, "a lone minus is a number worth 0"}, {"0 0 4 5-6 7", false, 4, 56, 7, "5-6 reads 56"},
      {std::string("1 0 0 1 5 6\0 7 8 9", 17), false, 1, 5, 6, "a zero byte ends the window"},
      {"-. .5 7.", false, 0, 0.5f, 7, "a bare sign and dot, a leading dot, a trailing dot: as atof reads them"},
      {"0 -14 ", true, 0, 0, -14, "move down one line"}, {"ET BT 100 200", true, 0, 100, 200, "operands at the end"},
      {"14 ", true, 0, 0, 0, "one number: no move"}, {"", true, 0, 0, 0, "empty window"}};
  for (auto& r : rows) {
    std::string w = r.window;
    TextState* s = r.td ? get_text_state_from_td(&w[0], static_cast<int>(w.size()))
                        : get_text_state(&w[0], static_cast<int>(w.size()));
    EXPECT_FLOAT_EQ(s->scale, r.scale) << r.why;
    EXPECT_FLOAT_EQ(s->x, r.x) << r.why;
    EXPECT_FLOAT_EQ(s->y, r.y) << r.why;
  }
  char longer[] = "1 0 0 1 5 6 7 8 9";
  EXPECT_FLOAT_EQ(get_text_state(longer, 11)->y, 6) << "the length ends the window";
}

// Operands are read exactly as strtod reads them, narrowed to float, also where the short-number
// path gives way to the general one (15 and 16 digits, long fractions, signs of zero).
TEST(TextStateReader, NumbersAsStrtodReadsThem) {
  const char* tokens[] = {"123456789012345", "1234567890123456", "0.000000000000001", "99999999999999.9",
                          "0.1", "-0", "-0.0", "3.4028236e", "16777217", "-.5", "1.", "0.30000000000000004",
                          "9007199254740993", "1.5.2", "000000000000000012.5"};
  for (const char* t : tokens) {
    std::string w = std::string("0 ") + t;
    float want = static_cast<float>(strtod(t, nullptr));
    float got = get_text_state_from_td(&w[0], static_cast<int>(w.size()))->y;
    EXPECT_EQ(memcmp(&got, &want, sizeof got), 0) << t << ": " << got << " against " << want;
  }
}

TEST(TextDistance, OnlyTheVerticalGapCounts) {
  struct { float x1, y1, x2, y2; int size, expected; const char* why; } rows[] = {
      {10, 100.5f, 10, 0, 10, 2, "gap above 100"}, {10, 100, 10, 0, 10, 1, "exactly 100 is not above 100"},
      {10, 6, 10, 0, 10, 1, "gap of 6 is above 5"}, {10, 4, 10, 0, 3, 1, "gap of 4 above a size of 3"},
      {10, 4, 10, 0, 10, 0, "gap of 4 at size 10"}, {10, 5, 10, 0, 10, 0, "strict: 5 is not above 5"},
      {0, 0, 500, 300, 10, 0, "pen at the origin never reports"}, {0, 1, 500, 300, 10, 2, "only x at 0 is not the origin"},
      {900, 50, 0, 50, 10, 0, "horizontal gap alone gives 0"}};
  for (auto& r : rows) EXPECT_EQ(evaluate_text_distance(r.x1, r.y1, r.x2, r.y2, r.size, 1), r.expected) << r.why;
}

}  // namespace
