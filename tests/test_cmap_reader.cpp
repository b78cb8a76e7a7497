// tests/test_cmap_reader.cpp -- a font's map from its three sources: ToUnicode streams (bfchar
// and bfrange sections, arrays, packed destinations, the two readers' differences, the pair
// caps), Differences arrays, and the dup lines of an embedded Type 1 program.
#include "suite.h"

namespace {

// Reads `cmap` through process_cmap (as an inflated stream) into font `font`.
std::string flate_map(const std::string& cmap, int font = 1) {
  flate_dst_tmp_buffer = static_cast<unsigned char*>(malloc(cmap.size() + 1));
  memcpy(flate_dst_tmp_buffer, cmap.data(), cmap.size());
  process_cmap(static_cast<int>(cmap.size()), font);
  EXPECT_EQ(flate_dst_tmp_buffer, nullptr) << "process_cmap releases the buffer";
  return font_map_text(font);
}

// Reads `cmap` through process_cmap_buffer_alt, standing at offset 100 of the open document.
std::string buffer_map(const std::string& cmap, int font = 1) {
  memcpy(buffer + 100, cmap.data(), cmap.size());
  process_cmap_buffer_alt(100, 100 + static_cast<int>(cmap.size()), font);
  return font_map_text(font);
}

std::string chars(const std::string& body) { return "begincmap\n1 beginbfchar\n" + body + "\nendbfchar\nendcmap\n"; }
std::string ranges(const std::string& body) { return "begincmap\n1 beginbfrange\n" + body + "\nendbfrange\nendcmap\n"; }

TEST(CmapReader, Sections) {
  LoadedDoc doc("", false);
  struct { std::string cmap, pairs; const char* why; } rows[] = {
      {chars("<0041> <0042>"), "65>66", "one bfchar pair"}, {chars("<01> <0041>\n<02> <0042>"), "1>65 2>66", "one-byte codes"},
      {chars("<0003> <00660069>"), "3>1102105", "packed destination for fi"}, {chars("<0003> <004100>"), "3>0", "six digits"},
      {chars("<0003> <D83DDE00>"), "3>0", "a surrogate pair gives 0"},
      {ranges("<0041> <0043> <0061>"), "65>97 66>98 67>99", "plain range"},
      {ranges("<0041> <0041> <0061>"), "65>97", "equal first and last: one pair"},
      {ranges("<0043> <0041> <0061>"), "", "last below first adds nothing"},
      {ranges("<0041> <0042> <00660069>"), "65>1102105 66>1102106", "k moves the packed last byte"},
      {ranges("<0041> <0043> [<0058> <0059> <005A>]"), "65>88 66>89 67>90", "array of outputs"},
      {ranges("<0041> <0049> [<0058> <0059>]"), "65>88 66>89", "the array alone decides the count"},
      {ranges("<0041> <0042> [<0058> <0059>]\n<0061> <0062> [<0078> <0079>]"), "65>88 66>89 97>88 98>89 99>120 100>121",
       "a second array counts on behind the first and takes its outputs from the front"},
      {"1 beginbfrange\n<0050> <0051> <0070>\nendbfrange\n1 beginbfchar\n<0050> <0020>\nendbfchar\n",
       "80>32 80>112 81>113", "bfchar pairs stand ahead of bfrange pairs"},
      {"no sections here", "", "no sections"}, {"1 beginbfchar\n<0041> <0042>", "", "a section left open is not counted"},
      {"x beginbfchar\n<0041> <0042>endbfchar\n", "", "the > in front of endbfchar is lost"}};
  for (auto& r : rows) {
    EXPECT_EQ(flate_map(r.cmap), r.pairs) << r.why;
    EXPECT_EQ(buffer_map(r.cmap), r.pairs) << r.why << " (from buffer)";
  }
}

TEST(CmapReader, ReadersDiffer) {
  LoadedDoc doc("", false);
  struct { std::string cmap, flate, buffer; const char* why; } rows[] = {
      {chars("<00 41> <0042>\n<0043> <0044>"), "0>66 66>68 67>69", "65>66 67>68", "a blank ends a token when inflated"},
      {chars("<> <0041> <0042>"), "65>66 66>67", "0>65", "an empty token toggles (inflated) or appends 0 (buffer)"},
      {ranges("<0041> <0044> [<0058> <0059> <005A> <0057>]"), "", "65>88 66>89 67>90 68>87",
       "a long array is not closed by its ] when inflated"}};
  for (auto& r : rows) {
    EXPECT_EQ(flate_map(r.cmap), r.flate) << r.why;
    EXPECT_EQ(buffer_map(r.cmap), r.buffer) << r.why;
  }
}

TEST(CmapReader, PairCapsAndLookUpAfterRereading) {
  LoadedDoc doc("", false);
  std::string cmap;  // four sections of 250 pairs: a section is read up to 5,000 bytes
  for (int s = 0; s < 4; s++) {
    cmap += "250 beginbfchar\n";
    char line[40];
    for (int i = 0; i < 250; i++) cmap += (snprintf(line, sizeof line, "<%04X> <%04X>\n", s * 250 + i, s * 250 + i + 1), line);
    cmap += "endbfchar\n";
  }
  LogCapture log(9);
  flate_map(cmap);
  EXPECT_EQ(Font_CMAP[1].cmap_count, 1000) << "1000 pairs stay under the inflated cap";
  buffer_map(cmap);
  EXPECT_EQ(Font_CMAP[1].cmap_count, 891) << "the buffer reader stops above 890";
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - exceed max encodings - unusual"), -1);
  EXPECT_EQ(flate_map("1 beginbfchar\n" + std::string(6000, ' ') + "<0041> <0042>\nendbfchar\n"), "")
      << "bytes past 5,000 of a section are not read";
  flate_map(ranges("<0000> <FFFF> <0000>"));
  EXPECT_EQ(Font_CMAP[1].cmap_count, FONT_MAP_SIZE) << "a large range stops at the map's end";
  flate_map(ranges("<0000> <00FF> <0200>"), 1);
  EXPECT_EQ(cmap_get_char(0x41, 1), 0x241) << "a map read again is looked up afresh";
  buffer_map(chars("<0003> <0020>"));
  EXPECT_EQ(Font_CMAP[1].cmap_count, 1) << "the 3/32 extension (see the font pass) is the inflated reader's alone";
}

// Runs `handler` on `text` for font 0 after `start` pairs; the map text of the new total.
std::string pairs_of(int (*handler)(char*, int), const std::string& text, int start = 0, int* total = nullptr) {
  Font_CMAP[0].cmap_count = start;
  std::string copy = text;
  int n = handler(&copy[0], 0);
  if (total) *total = n;
  Font_CMAP[0].cmap_count = n;
  return font_map_text(0);
}

TEST(Differences, Arrays) {
  LoadedDoc doc("", false);
  struct { std::string text, pairs; const char* why; } rows[] = {
      {"[32 /space /exclam 65 /A]", "32>32 65>65", "unknown glyph keeps its code, no pair"},
      {"[65/A/B/C]", "65>65 66>66 67>67", "a slash ends a token"}, {"[40 /g0123]", "40>123", "g0 names give their number"},
      {"[40 /g01 /g0 /xyz /g099]", "40>1 43>99", "g0 alone has no pair but takes its code"},
      {"[40 /G0123]", "", "G0 is not recognised"}, {"[/1 /A]", "1>65", "a name that begins with a digit is a number"},
      {"[65 /a1 /B]", "66>66", "digits inside a name keep it a name"}, {"[65 /Space /space]", "66>32", "case counts"},
      {"[65 /B\xE9]", "65>66", "bytes above 127 are left out of a name"},
      {"[65 /f_f_i /fi /quotedblleft /bullet /uni00A0 /z /f_l]", "65>64259 66>64257 67>34 68>42 69>32 70>122 71>64258",
       "ligatures, foldings and the table's ends"},
      {"/space /A", "", "no [ means no pairs"}, {"[65 /A 70]", "65>65", "a number before ] is read, then nothing"},
      {"[65\n/A\r/B 70 /C]", "65>65 66>66 70>67", "line ends end tokens"}, {"[65 /A 70", "65>65", "a number at the end"},
      {"[2147483646 /A /B /C /D 66 /E]", "2147483646>65 2147483647>66 66>69",
       "names past the largest code drop until a number sets the code again"}};
  for (auto& r : rows) EXPECT_EQ(pairs_of(differences_handler, r.text), r.pairs) << r.text << ": " << r.why;
}

TEST(Differences, PairsGoBehindTheMapAndStopAtItsEnd) {
  LoadedDoc doc("", false);
  set_font_map(0, {{65, 0x263A}});
  int total = 0;
  LogCapture log(9);
  EXPECT_EQ(pairs_of(differences_handler, "[65 /A /exclam /B]", 1, &total), "65>9786 65>65 67>66");
  EXPECT_EQ(cmap_get_char(65, 0), 0x263A) << "the earlier pair wins";
  EXPECT_EQ(log.text(), "DEBUG: pdf_parser - found Differences - Match Glyph-A-65-1-65-0 \n"
                        "DEBUG: pdf_parser - found Differences - Match Glyph-B-66-2-67-0 \n");
  pairs_of(differences_handler, "no array", 3, &total);
  EXPECT_EQ(total, 3) << "no pairs: the count as it was";
  pairs_of(differences_handler, "[65 /A /B /C]", FONT_MAP_SIZE - 1, &total);
  EXPECT_EQ(total, FONT_MAP_SIZE);
  EXPECT_EQ(Font_CMAP[0].cmap_in[FONT_MAP_SIZE - 1], 65);
}

TEST(FontfileScan, DupLines) {
  LoadedDoc doc("", false);
  struct { std::string text, pairs; const char* why; } rows[] = {
      {"/Encoding 256 array\ndup 32 /space put\ndup 65 /A put\nreadonly def\n", "32>32 65>65", "the usual dup lines"},
      {"/Encoding StandardEncoding def\n", "", "no dup"}, {"dup 65 /A put\n/Encoding 256 array\n", "", "dup before Encoding"},
      {"/Encoding\ndup 65 /exclam put\ndup 66 /B put\n", "66>66", "unknown glyph uses its entry"},
      {"/Encoding\ndup 65 /A put\n/B 0 12 /C ", "65>65 0>66 12>67", "later keys count with the last number read"},
      {"/Encoding\ndup 65 /A put\ndup 66 /B", "65>65", "a name at the very end is not looked up"},
      {"/Encoding\ndup 46 /.notdef put\ndup 97 /a1 put\n", "1>97", ".notdef reads notdef; a1 reads a with code 1"},
      {"/Encoding\ndup /A put\n", "0>65", "an entry with no number uses code 0"}};
  for (auto& r : rows) EXPECT_EQ(pairs_of(fontfile_handler, r.text), r.pairs) << r.why;
  int total = -5;
  pairs_of(fontfile_handler, "dup 65 /A put\n", 7, &total);
  EXPECT_EQ(total, 7) << "the count stays without an Encoding";
  set_font_map(0, {{1, 2}});
  EXPECT_EQ(pairs_of(fontfile_handler, "/Encoding\ndup 65 /A put\n", 1), "1>2 65>65") << "pairs go behind";
  std::string many = "/Encoding\n";
  for (int i = 0; i < 700; i++) many += "dup " + std::to_string(i) + " /A put\n";
  pairs_of(fontfile_handler, many, 0, &total);
  EXPECT_EQ(total, 500) << "entries past 500 add no pair";
}

}  // namespace
