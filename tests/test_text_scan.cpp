// tests/test_text_scan.cpp -- the content stream scan of text_processor_page: which BT...ET are
// boxes, streams without boxes, the cm and image placements between boxes, Tf outside boxes,
// the font and size handed on to the next stream, and the box limit.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "page_text_run.h"
#include "run/run_state.h"
#include "text/text.h"

using namespace pdftest;

namespace {

struct ScanRow {
  const char* content;
  const char* expected;
  const char* why;
};

TEST(ContentScan, WhichBytesMakeATextBox) {
  const ScanRow rows[] = {
      {"BT (Hello) Tj ET", "Hello", "a plain box"},
      {"BT\n(Hello) Tj\nET", "Hello", "BT followed by a line end"},
      {"BT-(Hello) Tj ET", "Hello", "BT followed by a minus"},
      {"BT(Hi) Tj ET BT (Yo) Tj ET", "Yo", "BT followed by ( is not a box start; the stream has one box"},
      {"BT (MARKET) Tj ET BT (ok) Tj ET", "ok", "ET inside a word ends the box; the open string is lost"},
      {"ET BT (a1) Tj ET", "a1", "an ET with no BT does nothing"},
      {"(Hello) Tj", "Hello", "a stream without BT is one box"},
      {"BT (open) Tj", "open", "a BT with no ET gives no box, so the stream is read whole as one"},
  };
  for (const ScanRow& row : rows) {
    PageTextRun run;
    run.run(row.content);
    EXPECT_EQ(run.joined(), row.expected) << row.why;
  }
}

TEST(ContentScan, BtAsTheLastBytesIsNoBox) {
  PageTextRun run;
  run.run("(x) Tj BT");
  EXPECT_EQ(run.joined(), "x");
}

TEST(ContentScan, StreamWithoutBoxesIsReadOverItsFirst10000Bytes) {
  PageTextRun run;
  std::string early = "(Early) Tj" + std::string(10000, ' ') + "(Late) Tj";
  run.run(early);
  EXPECT_EQ(run.joined(), "Early");
}

TEST(ContentScan, OperatorBehindTheFirst10000BytesStillShowsTheString) {
  // ")" is the last byte read (9999); its Tj stands at 10001, past the lowered length.
  PageTextRun run;
  run.run(std::string(9997, ' ') + "(x) Tj");
  EXPECT_EQ(run.joined(), "x");
}

TEST(ContentScan, FailedInflationGivesNothing) {
  PageTextRun run;
  flate_dst_tmp_buffer = nullptr;
  EXPECT_EQ(text_processor_page(-1, 0), 0);
  EXPECT_EQ(global_brik_counter, 0);
}

TEST(ContentScan, ImageNamesArePlacedAtTheLastCm) {
  struct Row {
    const char* content;
    const char* name;
    float x, y;
    int placed;
    const char* why;
  } rows[] = {
      {"q 2 0 0 3 100 200 cm /Im0 Do Q", "/Im0", 100, 200, 1, "e and f of the cm"},
      {"q 1 0 0 1 5 6 cm /Im0 Do Q q 1 0 0 1 7 8 cm /Im0 Do Q", "/Im0", 7, 8, 1, "named twice: the second wins"},
      {"q 1 0 0 1 5 6 cm /Im12 Do Q", "/Im1", 5, 6, 1, "a prefix of the bytes matches"},
      {"BT 1 0 0 1 5 6 cm /Im0 Do ET", "/Im0", 0, 0, 0, "inside a box a name is not looked at"},
      {"5 6 cm /Im0 Do", "/Im0", 0, 0, 1, "a cm with two numbers gives 0, 0"},
      {"q 1 0 0 1 5 6 cm /Im", "/Im0", 0, 0, 0, "a name cut by the end of the stream does not match"},
  };
  for (const auto& row : rows) {
    PageTextRun run;
    Pages[0].image_count = 1;
    snprintf(Pages[0].image_name[0], IMAGE_NAME_SIZE, "%s", row.name);
    run.run(row.content);
    EXPECT_FLOAT_EQ(Pages[0].image_x[0], row.x) << row.why;
    EXPECT_FLOAT_EQ(Pages[0].image_y[0], row.y) << row.why;
    EXPECT_EQ(Pages[0].image_placed[0], row.placed) << row.why;
  }
}

TEST(ContentScan, TfOutsideABoxHoldsForTheBoxes) {
  PageTextRun run;
  add_test_font("/F1", 0, {{'A', 'B'}});
  run.run("/F1 12 Tf BT (A) Tj ET");
  EXPECT_EQ(run.joined(), "B");
  EXPECT_EQ(GLOBAL_PAGE_CMAP, 0);
  EXPECT_EQ(GLOBAL_FONT_SIZE, 12);
}

TEST(ContentScan, FontOfAnotherPageIsNotTaken) {
  PageTextRun run;
  add_test_font("/F1", 3, {{'A', 'B'}});
  run.run("BT /F1 12 Tf (A) Tj ET", 0);
  EXPECT_EQ(run.joined(), "A");
  EXPECT_EQ(GLOBAL_PAGE_CMAP, -1);
}

TEST(ContentScan, SizeHandedOnToTheNextStream) {
  const struct {
    const char* content;
    int size;
    const char* why;
  } rows[] = {
      {"/F1 0 Tf BT ET", 0, "outside a box a size of 0 stays 0"},
      {"BT /F1 0 Tf ET", 1, "inside a box a size of 0 becomes 1"},
      {"BT /F1 9.5 Tf ET", 9, "the fraction is dropped"},
      {"BT /F1 12Tf ET", 10, "a size that nothing closes is not read"},
      {"BT 2 0 0 2 0 0 Tm ET", 20, "the scale folds into the size"},
      {"BT 72 720 Tm ET", 0, "a Tm with too few numbers sets the scale to 0"},
  };
  for (const auto& row : rows) {
    PageTextRun run;
    run.run(row.content);
    EXPECT_EQ(GLOBAL_FONT_SIZE, row.size) << row.why;
  }
}

TEST(ContentScan, FontRunsOnFromStreamToStream) {
  PageTextRun run;
  add_test_font("/F1", 0, {{'A', 'C'}});
  run.run("BT /F1 12 Tf ET");
  run.run("BT (A) Tj ET");
  EXPECT_EQ(run.joined(), "C");
}

TEST(ContentScan, StreamsCutAtEveryByteStayInsideTheirBytes) {
  // Each prefix of a stream rich in operators ends at an awkward place: inside a string, an
  // octal escape, a hex string, an operator name, an image name. Nothing may be read past it.
  const std::string full =
      "q 1 0 0 1 5 6 cm /Im0 Do Q /F1 12 Tf BT /F1 12 Tf 1 0 0 1 72 700 Tm (a\\101\\b\\1) Tj "
      "[(A) -200 <0041> 300 (B)] TJ 0 -14 Td T* (q) ' (r) \" /P<</MCID 3>>BDC <</ActualText(x)>>BDC "
      "(y) Tj EMC ET";
  for (size_t n = 0; n <= full.size(); n++) {
    PageTextRun run;
    Pages[0].image_count = 1;
    snprintf(Pages[0].image_name[0], IMAGE_NAME_SIZE, "/Im0");
    run.run(full.substr(0, n));
  }
  PageTextRun run;
  run.run("");
  EXPECT_EQ(global_brik_counter, 0);
}

TEST(ContentScan, PastTheBoxLimitBoxesAreLeftOutAndLogged) {
  PageTextRun run;
  std::string content;
  for (int k = 0; k < 10001; k++) content += "BT ET\n";
  content += "BT (late) Tj ET\n";
  LogCapture log(39);
  run.run(content);
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - unusual - exceeded max text box count -  10000 \n"), -1);
  EXPECT_NE(find(log.text(), "exceeded max text box count -  10002 \n"), -1);
  EXPECT_EQ(run.joined(), "");
}

}  // namespace
