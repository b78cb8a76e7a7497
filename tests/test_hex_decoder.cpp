// tests/test_hex_decoder.cpp -- hex strings to text: whole look-up, one-byte fallback, Type3,
// escapes, tail groups, the ActualText and MCID markers, widths and the pen.
#include <gtest/gtest.h>

#include <string>

#include "doc_fixture.h"
#include "font_fixture.h"
#include "fonts/fonts.h"
#include "run/run_state.h"
#include "text/text.h"

using namespace pdftest;

namespace {

struct Decoded {
  std::string text;
  float advance;
  int flag;
};

// Decodes `hex` at size 10 and scale 1 (a width of 500 advances 5), with `length` -1 meaning
// the text's own length.
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
    set_font_map(0, {{0x41, 0x42}});                      // whole map of 0041
    set_font_map(1, {{0x41, 'X'}, {0x42, 'Y'}});          // one-byte pairs
    set_font_map(2, {});                                  // ordinary font, no pairs
    set_font_map(3, {}, -99);                             // Type3
    set_font_map(4, {{1, 0x5C}, {2, 10}, {3, 'Q'}});      // mapped backslash
    set_font_map(5, {{0xE9, 0xE9}}, 9);                   // WinAnsi with one pair
    set_font_map(6, {{0x4E2D, 'Z'}, {0x41, 'W'}});        // a code past the widths table
    Font_CMAP[6].widths[0x41] = 2000;                    // above 1500 reads 500
    Font_CMAP[2].widths[0x42] = 0;                       // 0 reads 200
  }
};

TEST_F(HexDecoder, Fallbacks) {
  struct Row { std::string hex; int font; std::string text; float advance; const char* why; } rows[] = {
      {"0041", 0, "B", 5, "whole group mapped"},
      {"0041", 2, "A", 5, "unmapped high byte of a font is dropped; low byte stands"},
      {"0042", 2, "B", 2, "width 0 reads 200"},
      {"0041", -1, "A", 10, "no font: both bytes stand, 500 each"},
      {"4142", 1, "XY", 10, "two mapped single bytes"},
      {"0041", 3, "", 0, "Type3: unmapped codes give nothing and take no room"},
      {"00A0", 3, " ", 5, "Type3: the last resort turns A0 into a space"},
      {"00A0", 2, "\xC2\xA0", 5, "ordinary font: A0 is a no-break space"},
      {"00E9", 5, "\xC3\xA9", 5, "a mapped whole group is not folded"},
      {"00E8", 5, "e", 5, "an unmapped low byte is folded under WinAnsi"},
      {"E800", 5, "", 5, "unmapped high byte of a font is dropped, the zero low byte adds nothing"},
      {"4E2D", 6, "Z", 2, "a code past the widths table reads width 200"},
      {"0041", 6, "W", 5, "a width above 1500 reads 500"},
      {"FEFF", -1, "\xC3\xBE\xC3\xBF", 10, "no font, codes above 127 by encoding"}};
  for (const Row& r : rows) {
    Decoded d = decode(r.hex, r.font);
    EXPECT_EQ(d.text, r.text) << r.hex << " font " << r.font << ": " << r.why;
    EXPECT_FLOAT_EQ(d.advance, r.advance) << r.hex << " font " << r.font << ": " << r.why;
    EXPECT_EQ(d.flag, 0) << "flag cleared on entry";
  }
}

TEST_F(HexDecoder, TailGroupsAndEscapes) {
  struct Row { std::string hex; int font; int length; std::string text; float advance; const char* why; } rows[] = {
      {"41", -1, -1, "A", 10, "two digits become 0041"},
      {"414", -1, -1, "A@", 10, "three digits become 4140"},
      {"4", -1, -1, "", 10, "one digit becomes 0004"},
      {"004142", 1, -1, "XY", 10, "whole group 0041 and the tail group 0042"},
      {"41", -1, 5, "", 10, "tail read from the length argument: past the end reads 0"},
      {"00010002", 4, -1, "\n", 5, "mapped backslash then 10 gives a line feed"},
      {"00010003", 4, -1, "", 5, "mapped backslash then another code gives nothing, pen moves"},
      {"000100010003", 4, -1, "Q", 10, "a second backslash clears the escape"}};
  for (const Row& r : rows) {
    Decoded d = decode(r.hex, r.font, r.length);
    EXPECT_EQ(d.text, r.text) << r.hex << ": " << r.why;
    EXPECT_FLOAT_EQ(d.advance, r.advance) << r.hex << ": " << r.why;
  }
}

TEST_F(HexDecoder, Markers) {
  struct Row { std::string hex; std::string text; float advance; int flag; const char* why; } rows[] = {
      {"/MCID0", "", 0, 0, "MCID with one digit is swallowed"},
      {"/MCID123", "", 0, 0, "up to three digits are swallowed"},
      {"/MCID1234", "", 10, 0, "the fourth digit is group 0004"},
      {"/ActualText", "", 0, 0, "exactly 11 characters: edge case, flag stays 0"},
      {"/ActualTextword", "word", 0, 1, "lower-case payload returned as it stands"},
      {"/ActualTextfeff0041", "feff", 0, 1, "lower-case hex digits read as letters"},
      {"/ActualTextazb", "a", 0, 1, "z ends the letters"},
      {"/ActualTextFEFF0041", "\xC3\xBE\xC3\xBF" "A", 20, 1, "upper-case payload decoded as groups"},
      {"ActualText0041", "A", 10, 0, "Act without the slash skips 10"}};
  for (const Row& r : rows) {
    Decoded d = decode(r.hex, -1);
    EXPECT_EQ(d.text, r.text) << r.hex << ": " << r.why;
    EXPECT_FLOAT_EQ(d.advance, r.advance) << r.hex << ": " << r.why;
    EXPECT_EQ(d.flag, r.flag) << r.hex << ": " << r.why;
  }
}

TEST_F(HexDecoder, LongStringsStayInBounds) {
  std::string hex;
  for (int i = 0; i < 12000; i++) hex += "0041";
  Decoded d = decode(hex, -1);
  EXPECT_EQ(d.text.size(), 10000u) << "groups past 10,000 are dropped";
  set_font_map(8, {{0xFF, 65536}});  // each byte of FFFF gives four bytes of text
  std::string wide;
  for (int i = 0; i < 9000; i++) wide += "FFFF";
  d = decode(wide, 8);
  EXPECT_EQ(d.text.size(), 49996u) << "at most 49,999 bytes, whole characters only";
}

TEST_F(HexDecoder, MatchesLinearScanOnLargeMaps) {
  // Font 7: 300 pairs with repeated codes; the first pair of a code must win, also after the
  // map grows behind its count.
  FontRecord& f = Font_CMAP[7];
  for (int i = 0; i < 300; i++) {
    f.cmap_in[i] = 100 + (i % 150);
    f.cmap_out[i] = 1000 + i;
  }
  f.cmap_count = 300;
  EXPECT_EQ(cmap_get_char(100, 7), 1000);
  EXPECT_EQ(cmap_get_char(249, 7), 1149);
  EXPECT_EQ(cmap_get_char(250, 7), -1);
  f.cmap_in[300] = 250;
  f.cmap_out[300] = 7;
  f.cmap_count = 301;
  EXPECT_EQ(cmap_get_char(250, 7), 7) << "a pair appended behind is seen";
  f.cmap_count = 100;
  EXPECT_EQ(cmap_get_char(249, 7), -1) << "a shrunk map forgets later pairs";
  f.cmap_count = -1;
  EXPECT_EQ(cmap_get_char(100, 7), -1) << "negative count";
  EXPECT_EQ(cmap_get_char(100, -1), -1) << "no font";
}

}  // namespace
