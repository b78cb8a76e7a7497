// tests/test_text_state.cpp -- the backward number readers and the vertical distance test.
#include <gtest/gtest.h>

#include <string>

#include "text/text.h"

namespace {

struct WindowRow {
  const char* window;
  float scale, x, y;
  const char* why;
};

TEST(TextStateReader, TmAndCmOperands) {
  const WindowRow rows[] = {
      {"1 0 0 1 72 720 ", 1, 72, 720, "plain matrix"},
      {"2 0 0 -2 72 720 ", 2, 72, 720, "the sign of d is dropped"},
      {"72 720 ", 0, 0, 0, "two numbers only: all 0"},
      {"BT /F1 12 Tf 1 0 0 1 10.5 -20", 1, 10.5f, -20, "open token at the end counts"},
      {"q 1 0 0 1 5 6 cm 1 0 0 3 7 8", 3, 7, 8, "only the last three numbers matter"},
      {"1 0 0 1 12Q3 9", 1, 123, 9, "letters are skipped without ending the token"},
      {"1 0 0 1 1.2.3 4", 1, 1.2f, 4, "a second dot stays in the token; parsing stops there"},
      {"0 0 4 - 5", 4, 0, 5, "a lone minus is a number worth 0"},
      {"0 0 4 5-6 7", 4, 56, 7, "a minus inside a token is skipped: 5-6 reads as 56"},
      {"-. .5 7.", 0, 0.5f, 7, "a bare sign and dot, a leading dot, a trailing dot: as atof reads them"},
  };
  for (const WindowRow& row : rows) {
    std::string w = row.window;
    TextState* r = get_text_state(w.data(), static_cast<int>(w.size()));
    EXPECT_FLOAT_EQ(r->scale, row.scale) << row.why;
    EXPECT_FLOAT_EQ(r->x, row.x) << row.why;
    EXPECT_FLOAT_EQ(r->y, row.y) << row.why;
  }
}

TEST(TextStateReader, ZeroByteAndLengthEndTheWindow) {
  char with_zero[] = "1 0 0 1 5 6\0 7 8 9";
  TextState* r = get_text_state(with_zero, sizeof with_zero - 1);
  EXPECT_FLOAT_EQ(r->x, 5);
  EXPECT_FLOAT_EQ(r->y, 6);
  char longer[] = "1 0 0 1 5 6 7 8 9";
  r = get_text_state(longer, 11);  // "1 0 0 1 5 6"
  EXPECT_FLOAT_EQ(r->x, 5);
  EXPECT_FLOAT_EQ(r->y, 6);
}

TEST(TextStateReader, TdOperands) {
  const WindowRow rows[] = {
      {"0 -14 ", 0, 0, -14, "move down one line"},
      {"ET BT 100 200", 0, 100, 200, "operands touching the end"},
      {"14 ", 0, 0, 0, "one number: no move"},
      {"", 0, 0, 0, "empty window"},
  };
  for (const WindowRow& row : rows) {
    std::string w = row.window;
    TextState* r = get_text_state_from_td(w.data(), static_cast<int>(w.size()));
    EXPECT_FLOAT_EQ(r->scale, 0) << row.why;
    EXPECT_FLOAT_EQ(r->x, row.x) << row.why;
    EXPECT_FLOAT_EQ(r->y, row.y) << row.why;
  }
}

TEST(TextDistance, OnlyTheVerticalGapCounts) {
  struct Row {
    float x1, y1, x2, y2;
    int size;
    float scale;
    int expected;
    const char* why;
  } rows[] = {
      {10, 100.5f, 10, 0, 10, 1, 2, "gap above 100"},
      {10, 100, 10, 0, 10, 1, 1, "gap of exactly 100 is not above 100"},
      {10, 6, 10, 0, 10, 1, 1, "gap of 6 is above 5"},
      {10, 4, 10, 0, 3, 1, 1, "gap of 4 above a size of 3"},
      {10, 4, 10, 0, 10, 1, 0, "gap of 4 at size 10"},
      {10, 5, 10, 0, 10, 1, 0, "strict: a gap of 5 is not above 5"},
      {0, 0, 500, 300, 10, 1, 0, "pen at the origin never reports"},
      {0, 1, 500, 300, 10, 1, 2, "only x at 0 is not the origin"},
      {900, 50, 0, 50, 10, 1, 0, "horizontal gap alone gives 0"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(evaluate_text_distance(row.x1, row.y1, row.x2, row.y2, row.size, row.scale), row.expected)
        << row.why;
  }
}

}  // namespace
