// tests/test_differences.cpp -- Differences arrays into map pairs: known, unknown and g0NNN
// names, codes set by numbers, token ends, and pairs kept behind an existing map.
#include <gtest/gtest.h>

#include <string>

#include "doc_fixture.h"
#include "font_fixture.h"
#include "fonts/fonts.h"

using namespace pdftest;

namespace {

// Runs the array on font 0 after `existing` pairs; returns the map text of the new total.
std::string diff_pairs(const std::string& text, int* total = nullptr) {
  std::string copy = text;
  int n = differences_handler(&copy[0], 0);
  if (total) *total = n;
  Font_CMAP[0].cmap_count = n;
  return font_map_text(0);
}

TEST(Differences, GlyphTable) {
  EXPECT_EQ(adobe_glyph_count, 101);
  EXPECT_STREQ(glyph_names[0], "A");
  EXPECT_EQ(glyph_lookup[51], 'z');
  EXPECT_STREQ(glyph_names[89], "uni00A0");
  EXPECT_EQ(glyph_lookup[89], 32);
  EXPECT_STREQ(glyph_names[100], "f_l");
  EXPECT_EQ(glyph_lookup[100], 64258);
}

TEST(Differences, Arrays) {
  LoadedDoc doc("", false);
  struct Row { std::string text; std::string pairs; const char* why; } rows[] = {
      {"[32 /space /exclam 65 /A]", "32>32 65>65", "unknown glyph keeps its code, no pair"},
      {"[65/A/B/C]", "65>65 66>66 67>67", "a slash ends a token"},
      {"[40 /g0123]", "40>123", "g0 names give their number"},
      {"[40 /g01 /g0 /xyz /g099]", "40>1 43>99", "g0 alone has no pair but takes its code"},
      {"[40 /G0123]", "", "G0 is not recognised"},
      {"[/1 /A]", "1>65", "a name that begins with a digit is a number"},
      {"[65 /a1 /B]", "66>66", "digits inside a name keep it a name"},
      {"[65 /Space /space]", "66>32", "names are matched with case"},
      {"[65 /B\xE9]", "65>66", "bytes above 127 are left out of a name"},
      {"[65 /f_f_i /fi /quotedblleft /bullet /uni00A0]", "65>64259 66>64257 67>34 68>42 69>32",
       "ligatures and foldings"},
      {"/space /A", "", "no [ means no pairs"},
      {"[65 /A 70]", "65>65", "a number before ] is read, then nothing follows"},
      {"[65\n/A\r/B 70 /C]", "65>65 66>66 70>67", "line ends end tokens"},
      {"[65 /A 70", "65>65", "a number at the very end is not read"},
      {"[2147483646 /A /B /C /D 66 /E]", "2147483646>65 2147483647>66 66>69",
       "names past the largest code drop until a number sets the code again"}};
  for (const Row& r : rows) {
    Font_CMAP[0].cmap_count = 0;
    EXPECT_EQ(diff_pairs(r.text), r.pairs) << r.text << ": " << r.why;
  }
}

TEST(Differences, PairsGoBehindTheMap) {
  LoadedDoc doc("", false);
  set_font_map(0, {{65, 0x263A}});
  int total = 0;
  EXPECT_EQ(diff_pairs("[65 /A /B]", &total), "65>9786 65>65 66>66");
  EXPECT_EQ(total, 3);
  EXPECT_EQ(cmap_get_char(65, 0), 0x263A) << "the earlier pair wins";
  Font_CMAP[0].cmap_count = 3;
  std::string none = "no array";
  EXPECT_EQ(differences_handler(&none[0], 0), 3) << "no pairs: the count as it was";
}

TEST(Differences, FullMapDropsPairs) {
  LoadedDoc doc("", false);
  Font_CMAP[0].cmap_count = FONT_MAP_SIZE - 1;
  std::string text = "[65 /A /B /C]";
  EXPECT_EQ(differences_handler(&text[0], 0), FONT_MAP_SIZE);
  EXPECT_EQ(Font_CMAP[0].cmap_in[FONT_MAP_SIZE - 1], 65);
}

TEST(Differences, LogsKnownGlyphs) {
  LoadedDoc doc("", false);
  LogCapture log(9);
  std::string text = "[65 /A /exclam]";
  differences_handler(&text[0], 0);
  std::string out = log.text();
  EXPECT_NE(find(out, "DEBUG: pdf_parser - found Differences - Match Glyph-A-65-0-65-0 \n"), -1);
  EXPECT_EQ(find(out, "exclam"), -1);
}

}  // namespace
