// tests/test_text_decoding.cpp -- text box decoding: strings and arrays, word gaps and kerning,
// the operator after a string, escapes and octal, hex strings, ActualText and MCID, Td, TD, T*
// and Tm, fonts inside boxes, and the headline text.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "doc_fixture.h"
#include "page_text_run.h"
#include "run/run_state.h"
#include "text/text.h"
#include "text/text_page_state.h"

using namespace pdftest;

namespace {

struct Row {
  const char* content;
  const char* expected;
  const char* why;
};

void expect_rows(const Row* rows, size_t n) {
  for (size_t k = 0; k < n; k++) {
    PageTextRun run;
    run.run(rows[k].content);
    EXPECT_EQ(run.joined(), rows[k].expected) << rows[k].why << "\n  content: " << rows[k].content;
  }
}

TEST(BoxDecoding, WordGapsBetweenStrings) {
  const Row rows[] = {
      {"BT (Hello) Tj ET", "Hello", "one string, no font"},
      {"BT (Hello) Tj 0 -14 Td (World) Tj ET", "Hello World", "a move of 14 down is a gap"},
      {"BT (Hello) Tj 0 -4 Td (World) Tj ET", "HelloWorld", "a move of 4 at size 10 is not"},
      {"BT /F1 3 Tf (Hello) Tj 0 -4 Td (World) Tj ET", "Hello World", "a move of 4 at size 3 is"},
      {"BT (a) Tj (b) Tj ET", "ab", "the pen unmoved: no blank"},
      {"BT (abcdef) Tj 100 0 Td (b) Tj ET", "abcdefb", "a jump along the line after a long string gives no blank"},
      {"BT (ab) Tj 100 0 Td (c) Tj ET", "ab c", "after a short string a jump of more than 5 gives one"},
      {"BT 1 0 0 1 0 700 Tm (A) Tj 1 0 0 1 0 500 Tm (B) Tj ET", "A B", "Tm to another line"},
      {"BT (A) Tj T* (B) Tj ET", "A  B", "T* adds a blank, and its line drop of the size is a gap too"},
      {"BT (A) ' (B) ' ET", "A B ", "the quote operator adds a blank behind its text"},
      {"BT (A) \" (B) \" ET", "A B ", "so does the double quote"},
  };
  expect_rows(rows, sizeof rows / sizeof rows[0]);
}

TEST(BoxDecoding, GapFactorsAreComparedInDoublePrecision) {
  const Row rows[] = {
      {"BT /F1 12 Tf (ab) Tj 21.6 0 Td <0041> Tj ET", "ab A",
       "12 x 0.8 is 9.6 in double, just below the float gap of 21.6 - 12: the hex string owes a blank"},
      {"BT /F1 6 Tf 1 0 0 1.1 0 0 Tm 1 0 0 1.1 1.6500001 0 Tm [(A)] TJ (b) Tj ET", " Ab",
       "6 x 0.5 x 1.1 x 500 / 1000 in double is just below the float gap of 1.6500001: the array owes a blank"},
  };
  expect_rows(rows, sizeof rows / sizeof rows[0]);
}

TEST(BoxDecoding, OperatorAfterTheString) {
  const Row rows[] = {
      {"BT (Hi)Tj ET", "Hi", "Tj touching the string"},
      {"BT (Hi)  Tj ET", "Hi", "Tj starting three bytes behind the )"},
      {"BT (Hi)   Tj ET", "", "four bytes behind: the text is lost"},
      {"BT (Hi)    ' ET", "Hi ", "a quote up to five bytes behind"},
      {"BT (Hi) Td ET", "", "a string that no show operator follows is not text"},
      {"BT [(A)] TJ ET", "A", "array with one blank before TJ"},
      {"BT [(A)]TJ ET", "A", "array with no blank"},
      {"BT [(A)]    TJ ET", "", "four blanks: the array's text waits and is lost with the box"},
      {"BT [(A)]    TJ (B) Tj ET", "AB", "the waiting array text joins the next string"},
      {"BT <0041> ET", "", "a hex string without an operator is dropped"},
  };
  expect_rows(rows, sizeof rows / sizeof rows[0]);
}

TEST(BoxDecoding, KerningInArrays) {
  const Row rows[] = {
      {"BT [(A) -200 (B)] TJ ET", "A B", "below -155 is a word space"},
      {"BT [(A) -155 (B)] TJ ET", "AB", "-155 alone is not, for literal strings"},
      {"BT [(A) -150 (B)] TJ ET", "AB", "width 500: 400 is more than 150"},
      {"BT [<0041> -155 <0042>] TJ ET", "A B", "for hex strings -155 is enough"},
      {"BT [<0041> -154 <0042>] TJ ET", "AB", "-154 is not"},
      {"BT [(A) -200.9 (B)] TJ ET", "A B", "the fraction is dropped"},
      {"BT [(A) 300 (B)] TJ ET", "AB", "a positive number pulls the pen back, no blank"},
      {"BT [(A) -200] TJ ET", "A", "a number right before ] is never applied"},
  };
  expect_rows(rows, sizeof rows / sizeof rows[0]);
}

TEST(BoxDecoding, KerningUsesTheLastCharacterWidth) {
  PageTextRun run;
  add_test_font("/F1", 0, {}, {{'A', 180}});
  run.run("BT /F1 10 Tf [(A) -150 (B)] TJ ET");
  EXPECT_EQ(run.joined(), "A B");  // 180 * 0.8 = 144 <= 150
}

TEST(BoxDecoding, EscapesAndOctal) {
  const Row rows[] = {
      {"BT (a\\)b) Tj ET", "a)b", "an escaped parenthesis is a character"},
      {"BT (a(b)c)Tj ET", "ab", "parentheses do not nest: the string ends at the first )"},
      {"BT (\\101) Tj ET", "A", "octal 101 is A"},
      {"BT (\\1010) Tj ET", "A0", "exactly three digits are taken"},
      {"BT (a\\nb) Tj ET", "a\nb", "escaped n is a line feed"},
      {"BT (a\\tb) Tj ET", "a b", "escaped t is a tab, shown as a blank"},
      {"BT (a\\\\b) Tj ET", "a\\b", "a double backslash is one backslash"},
      {"BT (x\\qy) Tj ET", "xy", "an unknown escape shows nothing"},
      {"BT (\\1) Tj ET", "", "a lone digit before ) takes the ) and the next byte as digits; the ) still ends"},
  };
  expect_rows(rows, sizeof rows / sizeof rows[0]);
}

TEST(BoxDecoding, FontMapAndFallbacks) {
  {
    PageTextRun run;
    add_test_font("/F1", 0, {{'a', 'x'}});
    run.run("BT /F1 10 Tf (ab) Tj ET");
    EXPECT_EQ(run.joined(), "xb") << "a mapped code, and an unmapped one that stands for itself";
  }
  {
    PageTextRun run;
    add_test_font("/T3", 0, {{'a', 'x'}}, {}, -99);
    run.run("BT /T3 10 Tf (ab) Tj ET");
    EXPECT_EQ(run.joined(), "x") << "a Type3 font drops unmapped codes";
  }
  {
    PageTextRun run;
    add_test_font("/F1", 0, {}, {}, 1);
    run.run("BT /F1 10 Tf (\\336) Tj ET");
    EXPECT_EQ(run.joined(), "fi") << "kind 1: 222 is the fi ligature";
  }
  {
    PageTextRun run;
    run.run("BT (a\\240b) Tj ET");
    EXPECT_EQ(run.joined(), "a b") << "an unmapped 160 is a blank";
  }
  {
    PageTextRun run;
    add_test_font("/F1", 0, {}, {}, 9);
    run.run("BT /F1 10 Tf (caf\\351) Tj ET");
    EXPECT_EQ(run.joined(), "cafe") << "WinAnsi 233 folds to e";
  }
}

TEST(BoxDecoding, PenMovesByWidthSizeAndScale) {
  PageTextRun run;
  run.run("BT /F1 12 Tf 2 0 0 2 0 0 Tm (Hello) Tj ET");
  // 5 characters of width 500 at size 12, scale 2.
  EXPECT_FLOAT_EQ(tml_x, 5 * 500 * 12 * 2 / 1000.0f);
  EXPECT_FLOAT_EQ(last_x, tml_x);
}

TEST(BoxDecoding, HugeSizesMoveThePenWithoutWrapping) {
  PageTextRun run;
  run.run("BT /F1 2147483647 Tf (A) Tj ET");
  // Width 500 at the largest size: the product is past the int range, the pen still moves right.
  EXPECT_FLOAT_EQ(tml_x, 500 * 2147483647.0f / 1000.0f);
  PageTextRun second;
  second.run("BT /F1 500000000 Tf [(A)] TJ ET");
  EXPECT_EQ(second.joined(), "A") << "five times the size, past the int range, is compared at [";
}

TEST(BoxDecoding, TdMovesInScaledUnits) {
  PageTextRun run;
  run.run("BT 2 0 0 2 10 700 Tm 0 -14 Td ET");
  EXPECT_FLOAT_EQ(tm_y, 700 - 28);
  EXPECT_FLOAT_EQ(tm_x, 10);
  run.run("BT (ab) Tj 5 Td ET");
  EXPECT_FLOAT_EQ(tm_x, 0) << "a Td window with one number does not move";
  EXPECT_FLOAT_EQ(tml_x, 0) << "but the pen goes back to the line start";
  run.run("BT 1 0 0 1 10 700 Tm 0 -14 TD ET");
  EXPECT_FLOAT_EQ(tm_y, 686) << "TD is read like Td";
  run.run("BT 1 0 0 1 10 700 Tm 0 -14 Tdx ET");
  EXPECT_FLOAT_EQ(tm_y, 700) << "Td followed by a letter is not Td";
}

TEST(BoxDecoding, TStarAtTheEndOrInAStringIsNotSeen) {
  PageTextRun run;
  run.run("BT 1 0 0 1 0 700 Tm (T* ) Tj ET");
  EXPECT_FLOAT_EQ(tm_y, 700);
  run.run("1 0 0 1 0 700 Tm T*");
  EXPECT_FLOAT_EQ(tm_y, 700);
}

TEST(BoxDecoding, ActualTextReplacesTheGlyphs) {
  const Row rows[] = {
      {"BT /Span<</ActualText(word)>>BDC (X) Tj EMC ET", "word", "the payload is taken and the glyphs dropped"},
      {"BT /Span<</ActualText(word)>>BDC (X) Tj EMC (Y) Tj ET", "wordY", "after EMC glyphs count again"},
      {"BT /P<</MCID 0>>BDC (Hi) Tj EMC ET", "Hi", "an MCID decodes to nothing and drops nothing"},
      {"BT <0041> Tj /P /MC0 BDC (X) Tj EMC ET", "A", "a shown hex string makes the next BDC drop glyphs"},
      {"BT /Span<</ActualText(word)>>BDC [(X)] TJ EMC ET", "wordX", "an array inside the span is kept"},
  };
  for (const Row& row : rows) {
    PageTextRun run;
    GLOBAL_ACTUAL_TEXT_FLAG = 0;
    run.run(row.content);
    EXPECT_EQ(run.joined(), row.expected) << row.why;
  }
}

TEST(BoxDecoding, HeadlineText) {
  {
    PageTextRun run;
    run.run("BT /F1 20 Tf (Big) Tj /F1 10 Tf (small) Tj ET");
    ASSERT_EQ(global_brik_counter, 1);
    EXPECT_STREQ(Briks[0].header_text, "Big") << "size 20 is a headline, size 10 is not";
    EXPECT_STREQ(Briks[0].text, "Bigsmall");
    EXPECT_STREQ(global_headlines, "Big ");
  }
  {
    PageTextRun run;
    add_test_font("/B", 0, {}, {}, 0, 1);
    run.run("BT /B 10 Tf (Bold) Tj ET");
    EXPECT_STREQ(Briks[0].header_text, "Bold") << "a bold font is a headline at any size";
  }
  {
    PageTextRun run;
    run.run("BT /F1 20 Tf 1 0 0 1 0 700 Tm (A) Tj 0 -30 Td (B) Tj ET");
    EXPECT_STREQ(Briks[0].header_text, " A  B") << "a new line of large type starts with a blank";
  }
  {
    PageTextRun run;
    GLOBAL_GET_HEADER_TEXT = 0;
    run.run("BT /F1 20 Tf (Big) Tj ET");
    EXPECT_STREQ(Briks[0].header_text, "") << "header text off";
    GLOBAL_GET_HEADER_TEXT = 1;
  }
}

TEST(BoxDecoding, LayoutJumpsCount) {
  PageTextRun run;
  run.run("BT 1 0 0 1 10 700 Tm (a) Tj 1 0 0 1 300 700 Tm (b) Tj [(c) -600 (d)] TJ 200 0 Td (e) Tj ET");
  // First Tm, the Tm 290 along the same line, the -600 kerning and the Td of 200.
  EXPECT_EQ(layout_jump_count, 4);
}

}  // namespace
