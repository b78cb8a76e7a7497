// tests/test_fontfile_scan.cpp -- the dup lines of an embedded Type 1 program into map pairs.
#include <gtest/gtest.h>

#include <string>

#include "doc_fixture.h"
#include "font_fixture.h"
#include "fonts/fonts.h"

using namespace pdftest;

namespace {

std::string scan_pairs(const std::string& text, int start_count = 0, int* total = nullptr) {
  Font_CMAP[0].cmap_count = start_count;
  std::string copy = text;
  int n = fontfile_handler(&copy[0], 0);
  if (total) *total = n;
  Font_CMAP[0].cmap_count = n;
  return font_map_text(0);
}

TEST(FontfileScan, DupLines) {
  LoadedDoc doc("", false);
  struct Row { std::string text; std::string pairs; const char* why; } rows[] = {
      {"/Encoding 256 array\ndup 32 /space put\ndup 65 /A put\nreadonly def\n", "32>32 65>65",
       "the usual dup lines"},
      {"/Encoding StandardEncoding def\n", "", "no dup: no pairs"},
      {"dup 65 /A put\n/Encoding 256 array\n", "", "a dup before Encoding does not count"},
      {"/Encoding\ndup 65 /exclam put\ndup 66 /B put\n", "66>66", "unknown glyph uses its entry"},
      {"/Encoding\ndup 65 /A put\n/B ", "65>65 0>66", "after dup every name counts; no number reads 0"},
      {"/Encoding\ndup 65 /A put\n/B 0 12 /C ", "65>65 0>66 12>67",
       "later keys count with the last number read for their entry"},
      {"/Encoding\ndup 65 /A put\ndup 66 /B", "65>65", "a name at the very end is not looked up"},
      {"/Encoding\ndup 46 /.notdef put\ndup 97 /a1 put\n", "1>97",
       ".notdef reads notdef; a1 reads a, and its digit becomes the code"},
      {"/Encoding\ndup /A put\n", "0>65", "an entry with no number uses code 0"},
      {"", "", "empty clear text"}};
  for (const Row& r : rows) EXPECT_EQ(scan_pairs(r.text), r.pairs) << r.why;
}

TEST(FontfileScan, CountStaysWithoutEncoding) {
  LoadedDoc doc("", false);
  int total = -5;
  scan_pairs("dup 65 /A put\n", 7, &total);
  EXPECT_EQ(total, 7);
  set_font_map(0, {{1, 2}});
  EXPECT_EQ(scan_pairs("/Encoding\ndup 65 /A put\n", 1, &total), "1>2 65>65") << "pairs go behind";
}

TEST(FontfileScan, ManyEntriesStayInBounds) {
  LoadedDoc doc("", false);
  std::string text = "/Encoding\n";
  for (int i = 0; i < 700; i++) text += "dup " + std::to_string(i) + " /A put\n";
  int total = 0;
  scan_pairs(text, 0, &total);
  EXPECT_EQ(total, 500) << "entries past 500 add no pair";
}

}  // namespace
