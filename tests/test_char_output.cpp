// tests/test_char_output.cpp -- one output code to bytes: the hex-string and literal-string
// handlers with their deliberate differences, the encoding forms, packed codes, and the
// accent folds of WinAnsi and MacRoman.
#include <gtest/gtest.h>

#include <string>

#include "fonts/fonts.h"
#include "run/run_state.h"

namespace {

struct EncodingGuard {
  int saved = GLOBAL_ENCODING;
  explicit EncodingGuard(int e) { GLOBAL_ENCODING = e; }
  ~EncodingGuard() { GLOBAL_ENCODING = saved; }
};

std::string hex_text(int code, int esc = 0) { return char_special_handler(code, esc); }
std::string lit_text(int code) { return char_special_handler_string(code, 0); }

TEST(CharOutput, BothHandlersAgree) {
  EncodingGuard utf8(2);
  struct Row { int code; std::string want; const char* why; } rows[] = {
      {-1, "", "no character"}, {-2, "", "unknown escape"}, {0, "", "code 0"},
      {3, " ", "code 3 is a space"}, {9, " ", "tab becomes a space"}, {12, "", "form feed"},
      {32, " ", "space"}, {65, "A", "ASCII"}, {127, "\x7f", "127 passes"}, {128, "", "128 drops"},
      {129, "\xC2\x81", "first code by encoding"}, {233, "\xC3\xA9", "e acute"},
      {160, "\xC2\xA0", "mapped 160 is a no-break space"},
      {8212, "-", "em dash"}, {8217, "'", "right quote"},
      {8364, "\xE2\x82\xAC", "euro, three bytes"}, {65536, "\xF0\x90\x80\x80", "four bytes"},
      {0xD800, "\xED\xA0\x80", "surrogates encode like any other value"},
      {64256, "ff", "ligature ff"}, {64257, "fi", "ligature fi"}, {64258, "fl", "ligature fl"},
      {64259, "ffi", "ligature ffi"}, {6684774, "ff", "hex ff"}, {6684777, "fi", "hex fi"},
      {6684780, "fl", "hex fl"},
      {1102105, "fi", "two packed bytes"}, {1102102105, "ffi", "three packed bytes"},
      {1065000, "A", "packed byte 0 adds nothing"}, {1065233, "A\xE9", "packed bytes stay raw"},
      {1999999, "\xE7\xE7", "packed values keep their low eight bits"},
      {2000000, "", "above both packed ranges"}, {1000000000 - 1, "", "between the ranges"},
      {109065066, "", "short 12-digit packing falls outside the ranges"},
      {1010203, "\x0a\xcb", "all-small 12-digit packing unpacks to two wrong bytes"}};
  for (const Row& r : rows) {
    EXPECT_EQ(hex_text(r.code), r.want) << r.code << ": " << r.why;
    EXPECT_EQ(lit_text(r.code), r.want) << r.code << ": " << r.why;
  }
}

TEST(CharOutput, HexAndLiteralDiffer) {
  EncodingGuard utf8(2);
  struct Row { int code; std::string hex; std::string lit; const char* why; } rows[] = {
      {10, "", "\n", "line feed kept in literal strings only"},
      {13, "", "\r", "carriage return kept in literal strings only"},
      {31, "", " ", "31 is a space in literal strings only"},
      {92, "", "\\", "backslash kept in literal strings only"},
      {8211, "\xE2\x80\x93", "-", "en dash folds in literal strings only"},
      {8216, "'", "\xE2\x80\x98", "left quote folds in hex strings only"},
      {8220, "\"", "\xE2\x80\x9C", "double quotes fold in hex strings only"},
      {8221, "\"", "\xE2\x80\x9D", "right double quote"}};
  for (const Row& r : rows) {
    EXPECT_EQ(hex_text(r.code), r.hex) << r.code << ": " << r.why;
    EXPECT_EQ(lit_text(r.code), r.lit) << r.code << ": " << r.why;
  }
}

TEST(CharOutput, EscapedHexCodes) {
  struct Row { int code; std::string want; const char* why; } rows[] = {
      {10, "\n", "line feed"}, {13, "\r", "carriage return"}, {9, "\t", "tab"},
      {65, "", "a letter after a mapped backslash gives nothing"}, {92, "", "a second backslash"},
      {64257, "", "even ligatures"}};
  for (const Row& r : rows) EXPECT_EQ(hex_text(r.code, 1), r.want) << r.why;
}

TEST(CharOutput, EncodingForms) {
  {
    EncodingGuard one_byte(1);
    EXPECT_EQ(hex_text(233), "\xE9") << "one raw byte";
    EXPECT_EQ(lit_text(253), "\xFD") << "253 is the last raw byte";
    EXPECT_EQ(lit_text(254), "") << "254 and above give nothing";
    EXPECT_EQ(hex_text(8364), "") << "no one-byte form";
    EXPECT_EQ(lit_text(8212), "-") << "rows outside the encoding step hold";
    EXPECT_EQ(hex_text(1102105), "fi") << "packed codes do not depend on the encoding";
  }
  {
    EncodingGuard other(3);
    EXPECT_EQ(lit_text(233), "") << "an unknown setting gives nothing";
    EXPECT_EQ(lit_text(65), "A") << "ASCII does not depend on it";
  }
}

TEST(CharOutput, Variances) {
  struct Row { int code; int kind; int want; const char* why; } rows[] = {
      {232, 9, 101, "WinAnsi e grave"}, {233, 9, 101, "WinAnsi e acute"},
      {200, 9, 69, "WinAnsi E grave"}, {201, 9, 69, "WinAnsi E acute"},
      {247, 9, 99, "WinAnsi 247 folds to c as the table says"}, {199, 9, 67, "WinAnsi C cedilla"},
      {231, 9, 231, "WinAnsi c cedilla is not in the table"},
      {142, 1, 101, "MacRoman e acute"}, {143, 1, 101, "MacRoman e grave"},
      {131, 1, 69, "MacRoman E acute"}, {233, 1, 69, "MacRoman 233"},
      {133, 1, 99, "MacRoman 133 folds to c"}, {130, 1, 67, "MacRoman C cedilla"},
      {141, 1, 141, "MacRoman c cedilla passes"}, {142, 9, 142, "kind 9 does not know 142"},
      {232, 1, 232, "kind 1 does not know 232"}, {233, 0, 233, "other kinds pass"},
      {233, -99, 233, "Type3 passes"}};
  for (const Row& r : rows) {
    EXPECT_EQ(standard_encoding_variances_handler(r.code, r.kind), r.want) << r.why;
  }
}

}  // namespace
