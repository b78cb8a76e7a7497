// tests/test_cmap_reader.cpp -- ToUnicode streams into a font's map: bfchar and bfrange
// sections, arrays, packed destinations, the two readers' differences, the pair caps and the
// 3/32 extension from record 0.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "doc_fixture.h"
#include "font_fixture.h"
#include "fonts/fonts.h"
#include "objects/objects.h"

using namespace pdftest;

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

std::string wrap_char(const std::string& body) {
  return "/CIDInit begincmap\n1 beginbfchar\n" + body + "\nendbfchar\nendcmap\n";
}
std::string wrap_range(const std::string& body) {
  return "/CIDInit begincmap\n1 beginbfrange\n" + body + "\nendbfrange\nendcmap\n";
}

TEST(CmapReader, Sections) {
  LoadedDoc doc("", false);
  struct Row { std::string cmap; std::string pairs; const char* why; } rows[] = {
      {wrap_char("<0041> <0042>"), "65>66", "one bfchar pair"},
      {wrap_char("<01> <0041>\n<02> <0042>"), "1>65 2>66", "one-byte codes"},
      {wrap_char("<0003> <00660069>"), "3>1102105", "packed destination for fi"},
      {wrap_char("<0003> <004100>"), "3>0", "six digits give 0"},
      {wrap_char("<0003> <D83DDE00>"), "3>0", "a surrogate pair gives 0"},
      {wrap_range("<0041> <0043> <0061>"), "65>97 66>98 67>99", "plain range"},
      {wrap_range("<0041> <0041> <0061>"), "65>97", "equal first and last code: one pair"},
      {wrap_range("<0043> <0041> <0061>"), "", "last below first adds nothing"},
      {wrap_range("<0041> <0042> <00660069>"), "65>1102105 66>1102106", "k moves the packed last byte"},
      {wrap_range("<0041> <0043> [<0058> <0059> <005A>]"), "65>88 66>89 67>90", "array of outputs"},
      {wrap_range("<0041> <0049> [<0058> <0059>]"), "65>88 66>89", "the array alone decides the count"},
      {wrap_range("<0041> <0042> [<0058> <0059>]\n<0061> <0062> [<0078> <0079>]"),
       "65>88 66>89 97>88 98>89 99>120 100>121",
       "a second array counts on behind the first and takes its outputs from the front"},
      {"1 beginbfrange\n<0050> <0051> <0070>\nendbfrange\n1 beginbfchar\n<0050> <0020>\nendbfchar\n",
       "80>32 80>112 81>113", "bfchar pairs stand ahead of bfrange pairs"},
      {"no sections here", "", "no sections: empty map"},
      {"1 beginbfchar\n<0041> <0042>", "", "a section left open is not counted"},
      {"x beginbfchar\n<0041> <0042>endbfchar\n", "", "the > in front of endbfchar is lost"}};
  for (const Row& r : rows) {
    EXPECT_EQ(flate_map(r.cmap), r.pairs) << r.why;
    EXPECT_EQ(buffer_map(r.cmap), r.pairs) << r.why << " (from buffer)";
  }
}

TEST(CmapReader, ReadersDiffer) {
  LoadedDoc doc("", false);
  // <00 41> is two tokens when inflated: 00 ends at the blank, and the empty token at > toggles.
  std::string split = wrap_char("<00 41> <0042>\n<0043> <0044>");
  EXPECT_EQ(flate_map(split), "0>66 66>68 67>69");
  EXPECT_EQ(buffer_map(split), "65>66 67>68") << "blanks are skipped inside a token";
  // An empty token: nothing appended but the flag toggles (inflated); 0 appended (buffer).
  std::string empty = wrap_char("<> <0041> <0042>");
  EXPECT_EQ(flate_map(empty), "65>66 66>67") << "0041 became an output: the triples are out of step";
  EXPECT_EQ(buffer_map(empty), "0>65");
  // An array longer than the values so far plus one is not closed by its ] when inflated.
  std::string long_array = wrap_range("<0041> <0044> [<0058> <0059> <005A> <0057>]");
  EXPECT_EQ(flate_map(long_array), "");
  EXPECT_EQ(buffer_map(long_array), "65>88 66>89 67>90 68>87");
}

TEST(CmapReader, PairCaps) {
  LoadedDoc doc("", false);
  std::string cmap;  // four sections of 250 pairs: a section is read up to 5,000 bytes
  for (int s = 0; s < 4; s++) {
    cmap += "250 beginbfchar\n";
    for (int i = 0; i < 250; i++) {
      char line[40];
      snprintf(line, sizeof line, "<%04X> <%04X>\n", s * 250 + i, s * 250 + i + 1);
      cmap += line;
    }
    cmap += "endbfchar\n";
  }
  LogCapture log(9);
  flate_map(cmap);
  EXPECT_EQ(Font_CMAP[1].cmap_count, 1000) << "1000 pairs stay under the inflated cap";
  buffer_map(cmap);
  EXPECT_EQ(Font_CMAP[1].cmap_count, 891) << "the buffer reader stops above 890";
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - exceed max encodings - unusual"), -1);
  std::string one_section = "1 beginbfchar\n" + std::string(6000, ' ') + "<0041> <0042>\nendbfchar\n";
  EXPECT_EQ(flate_map(one_section), "") << "bytes past 5,000 of a section are not read";
  flate_map(wrap_range("<0000> <FFFF> <0000>"));
  EXPECT_EQ(Font_CMAP[1].cmap_count, FONT_MAP_SIZE) << "a large range stops at the map's end";
}

TEST(CmapReader, ThreeThirtyTwoExtension) {
  LoadedDoc doc("", false);
  set_font_map(0, {});
  for (int i = 0; i < 150; i++) {
    Font_CMAP[0].cmap_in[i] = i + 3;
    Font_CMAP[0].cmap_out[i] = i + 32;
  }
  Font_CMAP[0].cmap_count = 140;
  std::string only = wrap_char("<0003> <0020>");
  flate_map(only, 2);
  EXPECT_EQ(Font_CMAP[2].cmap_count, 146) << "one pair plus 145 copied from record 0";
  EXPECT_EQ(cmap_get_char(60, 2), 89);
  buffer_map(only, 2);
  EXPECT_EQ(Font_CMAP[2].cmap_count, 1) << "the buffer reader does not extend";
}

TEST(CmapReader, LookupAfterRereading) {
  LoadedDoc doc("", false);
  std::string big = "1 beginbfrange\n<0000> <00FF> <0100>\nendbfrange\n";
  flate_map(big, 3);
  EXPECT_EQ(cmap_get_char(0x41, 3), 0x141);
  flate_map(wrap_range("<0000> <00FF> <0200>"), 3);
  EXPECT_EQ(cmap_get_char(0x41, 3), 0x241) << "a map read again is looked up afresh";
}

}  // namespace
