// tests/test_text_decoding.cpp -- text box decoding: strings and arrays, word gaps and kerning,
// the operator after a string, escapes and octal, hex strings, ActualText and MCID, Td, TD, T*
// and Tm, fonts inside boxes, and the headline text.
#include "suite.h"

namespace {

struct Font { const char* name; std::vector<std::pair<long, long>> map; std::vector<std::pair<int, int>> widths; int kind, bold; };

// Each row: a content stream, optionally one font record, the text of its briks.
struct Row { const char* content; const char* expected; const char* why; std::vector<Font> fonts = {}; };

void expect_rows(const std::vector<Row>& rows) {
  for (const Row& r : rows) {
    PageTextRun run;
    for (const Font& f : r.fonts) add_test_font(f.name, 0, f.map, f.widths, f.kind, f.bold);
    run.run(r.content);
    EXPECT_EQ(run.joined(), r.expected) << r.why << "\n  content: " << r.content;
  }
}

TEST(BoxDecoding, WordGapsKerningAndTheOperatorAfterTheString) {
  expect_rows({
      {"BT (Hello) Tj 0 -14 Td (World) Tj ET", "Hello World", "a move of 14 down is a gap"},
      {"BT (Hello) Tj 0 -4 Td (World) Tj ET", "HelloWorld", "a move of 4 at size 10 is not"},
      {"BT /F1 3 Tf (Hello) Tj 0 -4 Td (World) Tj ET", "Hello World", "a move of 4 at size 3 is"},
      {"BT (abcdef) Tj 100 0 Td (b) Tj ET", "abcdefb", "a jump along the line after a long string: no blank"},
      {"BT (ab) Tj 100 0 Td (c) Tj ET", "ab c", "after a short string a jump of more than 5 gives one"},
      {"BT 1 0 0 1 0 700 Tm (A) Tj 1 0 0 1 0 500 Tm (B) Tj ET", "A B", "Tm to another line"},
      {"BT (A) Tj T* (B) Tj ET", "A  B", "T* adds a blank, and its line drop is a gap too"},
      {"BT (A) ' (B) \" ET", "A B ", "the quote operators add a blank behind their text"},
      {"BT /F1 12 Tf (ab) Tj 21.6 0 Td <0041> Tj ET", "ab A", "12 x 0.8 in double is just below the float gap 9.6"},
      {"BT /F1 6 Tf 1 0 0 1.1 0 0 Tm 1 0 0 1.1 1.6500001 0 Tm [(A)] TJ (b) Tj ET", " Ab",
       "6 x 0.5 x 1.1 x 500 / 1000 in double is just below the float gap of 1.6500001"},
      {"BT (Hi)  Tj ET", "Hi", "Tj three bytes behind the )"}, {"BT (Hi)   Tj ET", "", "four bytes behind: lost"},
      {"BT (Hi)    ' ET", "Hi ", "a quote up to five bytes behind"}, {"BT (Hi) Td ET", "", "no show operator: no text"},
      {"BT [(A)]TJ ET", "A", "array with no blank"}, {"BT [(A)]    TJ ET", "", "four blanks: the array's text waits"},
      {"BT [(A)]    TJ (B) Tj ET", "AB", "the waiting array text joins the next string"},
      {"BT <0041> ET", "", "a hex string without an operator is dropped"},
      {"BT [(A) -200 (B)] TJ ET", "A B", "below -155 is a word space"},
      {"BT [(A) -155 (B)] TJ ET", "AB", "-155 alone is not, for literal strings"},
      {"BT [(A) -150 (B)] TJ ET", "AB", "width 500: 400 is more than 150"},
      {"BT [<0041> -155 <0042>] TJ ET", "A B", "for hex strings -155 is enough"},
      {"BT [<0041> -154 <0042>] TJ ET", "AB", "-154 is not"}, {"BT [(A) -200.9 (B)] TJ ET", "A B", "fraction dropped"},
      {"BT [(A) 300 (B)] TJ ET", "AB", "a positive number pulls the pen back"},
      {"BT [(A) -200] TJ ET", "A", "a number right before ] is never applied"},
      {"BT /F1 500000000 Tf [(A)] TJ ET", "A", "five times the size, past the int range, is compared at ["},
      {"BT /F1 10 Tf [(A) -150 (B)] TJ ET", "A B", "180 x 0.8 = 144 <= 150: the last character's width",
       {{"/F1", {}, {{'A', 180}}, 0, 0}}}});
}

TEST(BoxDecoding, EscapesFontMapsAndMarkedContent) {
  expect_rows({
      {"BT (a\\)b) Tj ET", "a)b", "an escaped parenthesis"}, {"BT (a(b)c)Tj ET", "ab", "no nesting: the first ) ends"},
      {"BT (\\1010) Tj ET", "A0", "exactly three octal digits"}, {"BT (a\\nb) Tj ET", "a\nb", "escaped n"},
      {"BT (a\\tb) Tj ET", "a b", "escaped t shows as a blank"}, {"BT (a\\\\b) Tj ET", "a\\b", "double backslash"},
      {"BT (x\\qy) Tj ET", "xy", "an unknown escape shows nothing"},
      {"BT (\\1) Tj ET", "", "a lone digit before ) takes the ) and the next byte as digits; the ) still ends"},
      {"BT /F1 10 Tf (ab) Tj ET", "xb", "a mapped code, and an unmapped one", {{"/F1", {{'a', 'x'}}, {}, 0, 0}}},
      {"BT /T3 10 Tf (ab) Tj ET", "x", "a Type3 font drops unmapped codes", {{"/T3", {{'a', 'x'}}, {}, -99, 0}}},
      {"BT /F1 10 Tf (\\336) Tj ET", "fi", "kind 1: 222 is the fi ligature", {{"/F1", {}, {}, 1, 0}}},
      {"BT (a\\240b) Tj ET", "a b", "an unmapped 160 is a blank"},
      {"BT /F1 10 Tf (caf\\351) Tj ET", "cafe", "WinAnsi 233 folds to e", {{"/F1", {}, {}, 9, 0}}},
      {"BT /Span<</ActualText(word)>>BDC (X) Tj EMC (Y) Tj ET", "wordY", "the payload replaces glyphs up to EMC"},
      {"BT /P<</MCID 0>>BDC (Hi) Tj EMC ET", "Hi", "an MCID decodes to nothing and drops nothing"},
      {"BT <0041> Tj /P /MC0 BDC (X) Tj EMC ET", "A", "a shown hex string makes the next BDC drop glyphs"},
      {"BT /Span<</ActualText(word)>>BDC [(X)] TJ EMC ET", "wordX", "an array inside the span is kept"}});
}

TEST(BoxDecoding, PenAndMoves) {
  PageTextRun run;
  run.run("BT /F1 12 Tf 2 0 0 2 0 0 Tm (Hello) Tj ET");
  EXPECT_FLOAT_EQ(tml_x, 5 * 500 * 12 * 2 / 1000.0f) << "width, size and scale";
  EXPECT_FLOAT_EQ(last_x, tml_x);
  run.run("BT /F1 2147483647 Tf (A) Tj ET");
  EXPECT_FLOAT_EQ(tml_x, 500 * 2147483647.0f / 1000.0f) << "past the int range the pen still moves right";
  run.run("BT 2 0 0 2 10 700 Tm 0 -14 Td ET");
  EXPECT_FLOAT_EQ(tm_y, 700 - 28) << "Td moves in scaled units";
  EXPECT_FLOAT_EQ(tm_x, 10);
  run.run("BT (ab) Tj 5 Td ET");
  EXPECT_FLOAT_EQ(tm_x + tml_x, 0) << "a Td with one number does not move, the pen goes back to the line start";
  struct { const char* content; float y; const char* why; } rows[] = {
      {"BT 1 0 0 1 10 700 Tm 0 -14 TD ET", 686, "TD is read like Td"},
      {"BT 1 0 0 1 10 700 Tm 0 -14 Tdx ET", 700, "Td followed by a letter is not Td"},
      {"BT 1 0 0 1 0 700 Tm (T* ) Tj ET", 700, "T* in a string is not seen"}, {"1 0 0 1 0 700 Tm T*", 700, "nor at the end"}};
  for (auto& r : rows) {
    run.run(r.content);
    EXPECT_FLOAT_EQ(tm_y, r.y) << r.why;
  }
  PageTextRun third;
  third.run("BT 1 0 0 1 10 700 Tm (a) Tj 1 0 0 1 300 700 Tm (b) Tj [(c) -500 (d)] TJ 200 0 Td (e) Tj ET");
  EXPECT_EQ(layout_jump_count, 4) << "first Tm, the Tm along the line, the -500 kerning and the Td of 200";
}

TEST(BoxDecoding, HeadlineText) {
  struct { const char* content; int bold, get_header; const char* header; const char* why; } rows[] = {
      {"BT /F1 20 Tf (Big) Tj /F1 10 Tf (small) Tj ET", 0, 1, "Big", "size 20 is a headline, size 10 is not"},
      {"BT /F1 10 Tf (Bold) Tj ET", 1, 1, "Bold", "a bold font is a headline at any size"},
      {"BT /F1 20 Tf 1 0 0 1 0 700 Tm (A) Tj 0 -30 Td (B) Tj ET", 0, 1, " A  B", "a new line of large type starts with a blank"},
      {"BT /F1 20 Tf (Big) Tj ET", 0, 0, "", "header text off"}};
  for (auto& r : rows) {
    PageTextRun run;
    add_test_font("/F1", 0, {}, {}, 0, r.bold);
    GLOBAL_GET_HEADER_TEXT = r.get_header;
    run.run(r.content);
    ASSERT_EQ(global_brik_counter, 1) << r.why;
    EXPECT_STREQ(Briks[0].header_text, r.header) << r.why;
    if (&r == &rows[0]) { EXPECT_EQ(std::string(global_headlines) + "|" + Briks[0].text.c_str(), "Big |Bigsmall"); }
  }
}

}  // namespace
