// tests/test_font_pass.cpp -- the font pass on crafted fonts: encoding kinds and flags, the
// width sources, ToUnicode (inflated and not), Differences inline and referenced, the Type0
// 3/32 map, the embedded Type 1 scan, a missing font object.
#include "suite.h"

namespace {

// One page (object 10) whose Font dictionary lists `fonts` as /F0, /F1, ... in order, so that
// font record k is /Fk; `objects` are added as they stand. Runs both passes.
struct FontRun {
  LoadedDoc doc;
  static std::string build(const std::vector<int>& fonts, const PdfWriter& extra) {
    PdfWriter w = extra;
    std::string list;
    for (size_t k = 0; k < fonts.size(); k++) list += "/F" + std::to_string(k) + " " + std::to_string(fonts[k]) + " 0 R ";
    w.add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    w.add(2, "<< /Type /Pages /Kids [10 0 R] /Count 1 >>");
    w.add(10, "<< /Type /Page /Parent 2 0 R /Resources << /Font << " + list + ">> >> /Contents 11 0 R >>");
    return w.build();
  }
  FontRun(const std::vector<int>& fonts, const PdfWriter& extra) : doc(build(fonts, extra)) {
    Pages[0].page_obj = 10;
    global_page_count = 1;
    page_resource_handler(0);
    font_encoding_cmap_handler(0);
  }
};

const std::string kToUnicode =
    "/CIDInit /ProcSet findresource begin\n12 dict begin\nbegincmap\n"
    "1 begincodespacerange\n<0000> <FFFF>\nendcodespacerange\n"
    "2 beginbfchar\n<0003> <0020>\n<0024> <00660069>\nendbfchar\n"
    "2 beginbfrange\n<0041> <0043> <0061>\n<0050> <0052> [<0058> <0059> <005A>]\nendbfrange\n"
    "endcmap\n";

TEST(FontPass, EncodingKindsFlagsAndWidths) {
  std::string ninety_five;
  for (int i = 0; i < 95; i++) ninety_five += std::to_string(100 + i) + " ";
  PdfWriter w;
  w.add(3, "<< /Type /Font /Subtype /Type1 /BaseFont /Times-Roman /Encoding /WinAnsiEncoding >>");
  w.add(4, "<< /Type /Font /Subtype /Type1 /BaseFont /ABCDEF+Times-Bold /Encoding /MacRomanEncoding >>");
  w.add(5, "<< /Type /Font /Subtype /Type3 /CharProcs 9 0 R /FirstChar 32 /LastChar 126 /Widths [" + ninety_five + "] >>");
  w.add(6, "<< /Type /Font /Subtype /Type3 /Encoding /WinAnsiEncoding /FirstChar 65 /LastChar 66 /Widths 20 0 R >>");
  w.add(20, "[600 277.8]");
  w.add(7, "<< /Type /Font /Subtype /TrueType /BaseFont /Arial-ItalicMT >>");
  w.add(8, "<< /Type /Font /LastChar 66 /Widths [700 700] >>");
  w.add(9, "<< /Type /Font /FirstChar 2147483647 /LastChar 2147483647 /Widths [700 800] >>");
  w.add(30, "<< /Type /Font /FirstChar " + std::to_string(FONT_WIDTHS_SIZE - 1) + " /LastChar 2 /Widths [700 800] >>");
  w.add(31, "<< /Type /Font /BaseFont /ArialMT >>").add(32, "<< /Type /Font /BaseFont /Symbol >>");
  FontRun run({3, 4, 5, 6, 7, 8, 9, 30, 31, 32}, w);
  struct { int font, kind, bold, italic; } kinds[] = {
      {0, 9, 0, 0}, {1, 1, 1, 0}, {2, -99, 0, 0}, {3, 9, 0, 0}, {4, 0, 0, 1}};  // Type3 naming WinAnsi ends as 9
  for (auto& r : kinds)
    EXPECT_EQ(std::vector<int>({Font_CMAP[r.font].encoding_kind, Font_CMAP[r.font].bold, Font_CMAP[r.font].italic}),
              std::vector<int>({r.kind, r.bold, r.italic})) << "font " << r.font;
  struct { int font, code; long width; const char* why; } rows[] = {
      {0, 32, 250, "Times-Roman space"}, {0, 122, 444, "Times-Roman z"}, {0, 123, 0, "standard tables stop at z"},
      {0, 10, 0, "below the space is 0"}, {2, 31, 0, "below FirstChar is 0"}, {2, 32, 100, "first number at FirstChar"},
      {2, 126, 194, "95th number at 126"}, {2, 127, 0, "above the array is left alone"}, {3, 65, 600, "indirect array"},
      {3, 66, 2778, "a decimal width reads its digits only"}, {4, 65, 500, "Arial-ItalicMT is no ArialMT: default width"},
      {4, 499, 500, "default up to 499"}, {4, 500, 0, "500 and above untouched"}, {8, 105, 222, "ArialMT i"},
      {5, 65, 0, "Widths without FirstChar writes nothing"}, {9, 71, 603, "Symbol G"},
      {6, 0, 0, "FirstChar at the int limit writes nothing and wraps nowhere"}, {6, 1, 0, "nor one code further"},
      {7, FONT_WIDTHS_SIZE - 1, 700, "the table's last slot takes the first number"},
      {7, 0, 0, "the second number drops past the end"}};
  for (auto& r : rows) EXPECT_EQ(Font_CMAP[r.font].widths[r.code], r.width) << r.why;
}

TEST(FontPass, ToUnicodeAndDifferences) {
  PdfWriter w;
  w.add(3, "<< /Type /Font /Subtype /Type0 /ToUnicode 30 0 R >>").add_stream(30, "", kToUnicode, true);
  w.add(4, "<< /Type /Font /ToUnicode 31 0 R >>").add_stream(31, "", kToUnicode, false);
  w.add(5, "<< /Type /Font /Encoding << /Type /Encoding /Differences [32 /space /exclam 65 /A /g0123 /Bogus /fi] >> >>");
  w.add(6, "<< /Type /Font /Encoding 40 0 R >>");
  w.add(40, "<< /Type /Encoding /BaseEncoding /WinAnsiEncoding /Differences [97 /b /a] >>");
  w.add(7, "<< /Type /Font /ToUnicode 30 0 R /Encoding << /Differences [65 /B] >> >>");
  w.add(8, "<< /Type /Font /Subtype /Type0 /Encoding /Identity-H >>");
  LogCapture log(9);
  FontRun run({3, 4, 5, 6, 7, 8}, w);
  const std::string want = "3>32 36>1102105 65>97 66>98 67>99 80>88 81>89 82>90";
  EXPECT_EQ(font_map_text(0), want) << "Type0 with ToUnicode never gets the 3/32 map";
  EXPECT_EQ(font_map_text(1), want) << "a stream that is not deflated is read from the buffer";
  EXPECT_EQ(Font_CMAP[0].tounicode_obj, 30);
  EXPECT_NE(find(log.text(), "CMAP not in Flate - ***CALLING PROCESS_CMAP_BUFFER*** ! \n"), -1);
  EXPECT_EQ(font_map_text(2), "32>32 65>65 66>123 68>64257");
  EXPECT_EQ(font_map_text(3), "97>98 98>97") << "Differences of a referenced Encoding";
  EXPECT_EQ(font_map_text(4), want + " 65>66") << "Differences go behind the ToUnicode pairs";
  EXPECT_EQ(cmap_get_char(65, 4), 97) << "ToUnicode wins";
  EXPECT_EQ(Font_CMAP[5].cmap_count, 140) << "a name as Encoding gives no reference: Type0 map";
}

TEST(FontPass, TypeZeroMapMissingFontsAndTheExtension) {
  PdfWriter w;
  w.add(3, "<< /Type /Font /Subtype /Type0 /BaseFont /Foo >>");
  w.add(4, "<< /Type /Font /ToUnicode 30 0 R >>").add_stream(30, "", "1 beginbfchar\n<0003> <0020>\nendbfchar\n", true);
  {
    FontRun run({3, 4}, w);
    EXPECT_EQ(Font_CMAP[1].cmap_count, 146) << "one pair and 145 copied from record 0";
    EXPECT_EQ(cmap_get_char(100, 1), 129);
  }
  FontRun run({99, 3, 98}, w);
  EXPECT_EQ(Font_CMAP[0].cmap_count, 0) << "the first font, missing, has no span to go on with";
  EXPECT_EQ(Font_CMAP[1].cmap_count, 140);
  EXPECT_EQ(Font_CMAP[1].cmap_in[0] * 1000 + Font_CMAP[1].cmap_out[139], 3171);
  EXPECT_EQ(Font_CMAP[1].cmap_in[149], 152) << "entries past the count are written too";
  EXPECT_EQ(Font_CMAP[2].cmap_count, 140) << "a missing font goes on with the span before it";
  EXPECT_EQ(cmap_get_char(143, 1), -1);
}

// Font tables live in a pool per document: they grow as written, and a record the end of a
// document did not clear (past the font count) reads empty in the next one, never the old bytes.
TEST(FontPass, TablesGrowAndStartEmptyEachDocument) {
  {
    LoadedDoc doc("%PDF-1.4\n");
    for (int c = 0; c < FONT_WIDTHS_SIZE; c++) Font_CMAP[7].widths[c] = c;
    Font_CMAP[7].cmap_in[FONT_MAP_SIZE - 1] = 5;
    EXPECT_EQ(Font_CMAP[7].widths[63] + Font_CMAP[7].widths[FONT_WIDTHS_SIZE - 1], 63 + FONT_WIDTHS_SIZE - 1);
    EXPECT_EQ(Font_CMAP[7].cmap_in[FONT_MAP_SIZE - 2] + Font_CMAP[7].cmap_in[FONT_MAP_SIZE - 1], 5);
  }
  LoadedDoc doc("%PDF-1.4\n");
  Font_CMAP[8].widths[3] = 1;  // the next document's first table takes the pool's first bytes
  EXPECT_EQ(Font_CMAP[7].widths.get(63) + Font_CMAP[7].cmap_in.get(FONT_MAP_SIZE - 1), 0);
}

TEST(FontPass, EmbeddedTypeOne) {
  const std::string clear =
      "%!PS-AdobeFont-1.0: Foo\n/FontName /Foo def\n/Encoding 256 array\n"
      "0 1 255 {1 index exch /.notdef put} for\ndup 65 /A put\ndup 66 /fi put\ndup 67 /Bogus put\n"
      "readonly def\ncurrentfile eexec\n";
  // Font 3 + k, its descriptor 50 + 2k and the program 51 + 2k under the key given.
  struct { const char* subtype; const char* key; std::string length1; } fonts[] = {
      {"Type1", "FontFile", std::to_string(clear.size())}, {"TrueType", "FontFile2", std::to_string(clear.size())},
      {"Type1", "FontFile", "99 0 R"}, {"Type1", "FontFile", "30"}};
  PdfWriter w;
  for (int k = 0; k < 4; k++) {
    w.add(3 + k, std::string("<< /Type /Font /Subtype /") + fonts[k].subtype + " /FontDescriptor " + std::to_string(50 + 2 * k) + " 0 R >>");
    w.add(50 + 2 * k, std::string("<< /Type /FontDescriptor /") + fonts[k].key + " " + std::to_string(51 + 2 * k) + " 0 R >>");
    w.add_stream(51 + 2 * k, "/Length1 " + fonts[k].length1, clear + std::string("\0\0binary\xff", 10), true);
  }
  FontRun run({3, 4, 5, 6}, w);
  EXPECT_EQ(font_map_text(0), "65>65 66>64257") << "dup lines of the clear text";
  EXPECT_EQ(Font_CMAP[1].cmap_count, 0) << "FontFile2 is not scanned";
  EXPECT_EQ(Font_CMAP[2].cmap_count, 0) << "an indirect Length1 counts as 0";
  EXPECT_EQ(Font_CMAP[3].cmap_count, 0) << "Length1 ends before the Encoding";
}

}  // namespace
