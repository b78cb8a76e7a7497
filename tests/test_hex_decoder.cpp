// tests/test_hex_decoder.cpp -- from codes to bytes: hex digit groups (packed two- and three-
// character forms), one output code to bytes in hex and literal strings with their deliberate
// differences and encodings, the accent folds, and whole hex strings decoded through font maps:
// fallbacks, Type3, escapes, tail groups, ActualText and MCID markers, widths and the pen.
#include "suite.h"

namespace {

int hex_of(const std::string& digits) {
  std::vector<int64_t> a(digits.begin(), digits.end());
  a.push_back(0);
  return get_hex(a.data(), static_cast<int>(digits.size()));
}

TEST(HexDigits, DigitsAndGroups) {
  struct { int c, want; } digits[] = {{'0', 0}, {'9', 9}, {'A', 10}, {'f', 15}, {'F', 15}, {'G', 0}, {'/', 0}, {-5, 0}};
  for (auto& r : digits) EXPECT_EQ(get_hex_one_digit(r.c), r.want) << r.c;
  struct { std::string digits; int want; const char* why; } rows[] = {
      {"41", 0x41, "two digits"}, {"ff", 255, "lower case"}, {"FFFF", 65535, "largest group"},
      {"0G41", 0x41, "a bad digit counts as 0"}, {"00410042", 1065066, "two packed characters 1AAABBB"},
      {"00410000", 1065000, "second byte 0"}, {"01410042", 0, "8 digits not zero-padded"},
      {"004100420043", 1065066067, "three packed characters"}, {"000900410042", 109065066, "a byte below 10 takes two places"},
      {"000100020003", 1010203, "all bytes below 10: seven digits"}, {"104100420043", 0, "12 digits not zero-padded"},
      {"414", 0, "three digits"}, {"", 0, "empty"}, {"004100", 0, "six digits"}, {"D800DC00", 0, "a surrogate pair"}};
  for (auto& r : rows) EXPECT_EQ(hex_of(r.digits), r.want) << r.digits << ": " << r.why;
  LogCapture log(9);
  hex_of("104100420043"), hex_of("004100420043");
  std::string line = "DEBUG: pdf_parser - found a long 12 digit hex - special encoding applied.\n";
  EXPECT_EQ(log.text(), line + line) << "one line per 12-digit call";
}

struct EncodingGuard {
  int saved = GLOBAL_ENCODING;
  explicit EncodingGuard(int e) { GLOBAL_ENCODING = e; }
  ~EncodingGuard() { GLOBAL_ENCODING = saved; }
};

std::string hex_text(int code, int esc = 0) { return char_special_handler(code, esc); }
std::string lit_text(int code) { return char_special_handler_string(code, 0); }

TEST(CharOutput, HexAndLiteralHandlers) {
  EncodingGuard utf8(2);
  struct { int code; std::string hex, lit; const char* why; } rows[] = {
      {-1, "", "", "no character"}, {0, "", "", "code 0"}, {3, " ", " ", "code 3 is a space"}, {9, " ", " ", "tab"},
      {12, "", "", "form feed"}, {65, "A", "A", "ASCII"}, {127, "\x7f", "\x7f", "127 passes"}, {128, "", "", "128 drops"},
      {129, "\xC2\x81", "\xC2\x81", "first code by encoding"}, {8212, "-", "-", "em dash"}, {8217, "'", "'", "right quote"},
      {8364, "\xE2\x82\xAC", "\xE2\x82\xAC", "three bytes"}, {65536, "\xF0\x90\x80\x80", "\xF0\x90\x80\x80", "four bytes"},
      {64256, "ff", "ff", "ligature ff"}, {64257, "fi", "fi", "fi"}, {64258, "fl", "fl", "fl"}, {64259, "ffi", "ffi", "ffi"},
      {160, "\xC2\xA0", "\xC2\xA0", "mapped 160"}, {233, "\xC3\xA9", "\xC3\xA9", "e acute"}, {0xD800, "\xED\xA0\x80", "\xED\xA0\x80", "surrogate"}, {6684774, "ff", "ff", "hex ff"},
      {6684777, "fi", "fi", "hex fi"}, {6684780, "fl", "fl", "hex fl"}, {1102102105, "ffi", "ffi", "three packed bytes"},
      {1065000, "A", "A", "packed byte 0 adds nothing"}, {1065233, "A\xE9", "A\xE9", "packed bytes stay raw"},
      {1999999, "\xE7\xE7", "\xE7\xE7", "packed values keep their low eight bits"}, {2000000, "", "", "above the ranges"},
      {999999999, "", "", "between the ranges"}, {1010203, "\x0a\xcb", "\x0a\xcb", "all-small packing: two wrong bytes"},
      {10, "", "\n", "line feed kept in literal strings only"}, {13, "", "\r", "carriage return"},
      {31, "", " ", "31 is a space in literal strings only"}, {92, "", "\\", "backslash"},
      {8211, "\xE2\x80\x93", "-", "en dash folds in literal strings only"},
      {8216, "'", "\xE2\x80\x98", "left quote folds in hex strings only"}, {8220, "\"", "\xE2\x80\x9C", "double quotes"},
      {8221, "\"", "\xE2\x80\x9D", "right double quote"}};
  for (auto& r : rows) {
    EXPECT_EQ(hex_text(r.code), r.hex) << r.code << ": " << r.why;
    EXPECT_EQ(lit_text(r.code), r.lit) << r.code << ": " << r.why;
  }
  struct { int code; std::string want; } escaped[] = {{10, "\n"}, {13, "\r"}, {9, "\t"}, {65, ""}, {92, ""}, {64257, ""}};
  for (auto& r : escaped) EXPECT_EQ(hex_text(r.code, 1), r.want) << "after a mapped backslash: " << r.code;
}

TEST(CharOutput, EncodingFormsAndFolds) {
  struct { int encoding; bool hex; int code; std::string want; const char* why; } forms[] = {
      {1, true, 233, "\xE9", "one byte"}, {1, false, 253, "\xFD", "253 is the last raw byte"}, {1, false, 254, "", ""},
      {1, true, 8364, "", "no one-byte form"}, {1, false, 8212, "-", "rows outside the encoding step hold"},
      {1, true, 1102105, "fi", "packed codes do not depend on the encoding"},
      {3, false, 233, "", "an unknown setting gives nothing"}, {3, false, 65, "A", ""}};
  for (auto& r : forms) {
    EncodingGuard encoding(r.encoding);
    EXPECT_EQ(r.hex ? hex_text(r.code) : lit_text(r.code), r.want) << r.code << " at " << r.encoding << ": " << r.why;
  }
  struct { int code, kind, want; } rows[] = {
      {232, 9, 101}, {233, 9, 101}, {200, 9, 69}, {201, 9, 69}, {247, 9, 99}, {199, 9, 67}, {231, 9, 231},
      {142, 1, 101}, {143, 1, 101}, {131, 1, 69}, {233, 1, 69}, {133, 1, 99}, {130, 1, 67}, {141, 1, 141},
      {142, 9, 142}, {232, 1, 232}, {233, 0, 233}, {233, -99, 233}};
  for (auto& r : rows) EXPECT_EQ(standard_encoding_variances_handler(r.code, r.kind), r.want) << r.code << "/" << r.kind;
}

struct Decoded { std::string text; float advance; int flag; };

// Decodes `hex` at size 10 and scale 1 (a width of 500 advances 5); `length` -1 is the text's own.
Decoded decode(const std::string& hex, int font, int length = -1) {
  std::string copy = hex;
  tml_x = 0;
  GLOBAL_ACTUAL_TEXT_FLAG = 7;
  char* r = hex_handler_new(&copy[0], length < 0 ? static_cast<int>(hex.size()) : length, font, 10, 1.0f);
  return Decoded{r, tml_x, GLOBAL_ACTUAL_TEXT_FLAG};
}

class HexDecoder : public ::testing::Test {
 protected:
  LoadedDoc doc{"", false};
  void SetUp() override {
    GLOBAL_ENCODING = 2;
    set_font_map(0, {{0x41, 0x42}});                  // whole map of 0041
    set_font_map(1, {{0x41, 'X'}, {0x42, 'Y'}});      // one-byte pairs
    set_font_map(2, {});                              // ordinary font, no pairs
    set_font_map(3, {}, -99);                         // Type3
    set_font_map(4, {{1, 0x5C}, {2, 10}, {3, 'Q'}});  // mapped backslash
    set_font_map(5, {{0xE9, 0xE9}}, 9);               // WinAnsi with one pair
    set_font_map(6, {{0x4E2D, 'Z'}, {0x41, 'W'}});    // a code past the widths table
    set_font_map(9, {}, 1);                           // MacRoman, no pairs
    Font_CMAP[6].widths[0x41] = 2000;                // above 1500 reads 500
    Font_CMAP[2].widths[0x42] = 0;                   // 0 reads 200
  }
};

TEST_F(HexDecoder, FallbacksTailsEscapesAndMarkers) {
  struct { std::string hex; int font, length; std::string text; float advance; int flag; const char* why; } rows[] = {
      {"0041", 0, -1, "B", 5, 0, "whole group mapped"},
      {"0041", 2, -1, "A", 5, 0, "unmapped high byte of a font is dropped; low byte stands"},
      {"0042", 2, -1, "B", 2, 0, "width 0 reads 200"}, {"0041", -1, -1, "A", 10, 0, "no font: both bytes, 500 each"},
      {"4142", 1, -1, "XY", 10, 0, "two mapped single bytes"}, {"0041", 3, -1, "", 0, 0, "Type3: unmapped gives nothing"},
      {"00A0", 3, -1, " ", 5, 0, "Type3: A0 is a space"}, {"00A0", 2, -1, "\xC2\xA0", 5, 0, "else a no-break space"},
      {"00E9", 5, -1, "\xC3\xA9", 5, 0, "a mapped whole group is not folded"},
      {"00E8", 5, -1, "e", 5, 0, "an unmapped low byte is folded under WinAnsi"},
      {"008E", 9, -1, "e", 5, 0, "and under MacRoman"}, {"00DE", 9, -1, "\xC3\x9E", 5, 0, "MacRoman 222: no ligature"},
      {"E800", 5, -1, "", 5, 0, "the zero low byte adds nothing"}, {"4E2D", 6, -1, "Z", 2, 0, "past the widths: 200"},
      {"0041", 6, -1, "W", 5, 0, "a width above 1500 reads 500"},
      {"FEFF", -1, -1, "\xC3\xBE\xC3\xBF", 10, 0, "no font, codes above 127 by encoding"},
      {"41", -1, -1, "A", 10, 0, "two digits become 0041"}, {"414", -1, -1, "A@", 10, 0, "three become 4140"},
      {"4", -1, -1, "", 10, 0, "one digit becomes 0004"}, {"004142", 1, -1, "XY", 10, 0, "whole group and tail group"},
      {"41", -1, 5, "", 10, 0, "tail read from the length argument: past the end reads 0"},
      {"00010002", 4, -1, "\n", 5, 0, "mapped backslash then 10 gives a line feed"},
      {"00010003", 4, -1, "", 5, 0, "mapped backslash then another code gives nothing"},
      {"000100010003", 4, -1, "Q", 10, 0, "a second backslash clears the escape"},
      {"/MCID0", -1, -1, "", 0, 0, "MCID with one digit is swallowed"}, {"/MCID123", -1, -1, "", 0, 0, "up to three"},
      {"/MCID1234", -1, -1, "", 10, 0, "the fourth digit is group 0004"},
      {"/ActualText", -1, -1, "", 0, 0, "exactly 11 characters: flag stays 0"},
      {"/ActualTextword", -1, -1, "word", 0, 1, "lower-case payload as it stands"},
      {"/ActualTextfeff0041", -1, -1, "feff", 0, 1, "lower-case hex digits read as letters"},
      {"/ActualTextazb", -1, -1, "a", 0, 1, "z ends the letters"},
      {"/ActualTextFEFF0041", -1, -1, "\xC3\xBE\xC3\xBF" "A", 20, 1, "upper-case payload decoded as groups"},
      {"ActualText0041", -1, -1, "A", 10, 0, "without the slash skips 10"}};
  for (auto& r : rows) {
    Decoded d = decode(r.hex, r.font, r.length);
    EXPECT_EQ(d.text, r.text) << r.hex << " font " << r.font << ": " << r.why;
    EXPECT_FLOAT_EQ(d.advance, r.advance) << r.hex << " font " << r.font << ": " << r.why;
    EXPECT_EQ(d.flag, r.flag) << r.hex << ": " << r.why;
  }
}

TEST_F(HexDecoder, LongStringsStayInBounds) {
  std::string hex;
  for (int i = 0; i < 12000; i++) hex += "0041";
  EXPECT_EQ(decode(hex, -1).text.size(), 10000u) << "groups past 10,000 are dropped";
  set_font_map(8, {{0xFF, 65536}});  // each byte of FFFF gives four bytes of text
  std::string wide;
  for (int i = 0; i < 9000; i++) wide += "FFFF";
  EXPECT_EQ(decode(wide, 8).text.size(), 49996u) << "at most 49,999 bytes, whole characters only";
}

TEST_F(HexDecoder, MapLookUpTakesTheFirstPairWithinTheCount) {
  FontRecord& f = Font_CMAP[7];
  for (int i = 0; i < 300; i++) f.cmap_in[i] = 100 + (i % 150), f.cmap_out[i] = 1000 + i;
  f.cmap_count = 300;
  EXPECT_EQ(cmap_get_char(249, 7), 1149);
  EXPECT_EQ(cmap_get_char(250, 7), -1);
  f.cmap_in[300] = 250, f.cmap_out[300] = 7, f.cmap_count = 301;
  EXPECT_EQ(cmap_get_char(250, 7), 7) << "a pair appended behind is seen";
  f.cmap_count = 100;
  EXPECT_EQ(cmap_get_char(249, 7), -1) << "a shrunk map forgets later pairs";
  f.cmap_count = -1;
  EXPECT_EQ(cmap_get_char(100, 7) + cmap_get_char(100, -1), -2) << "negative count; no font";
}

}  // namespace
