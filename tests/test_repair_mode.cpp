// tests/test_repair_mode.cpp -- one crafted document per repair rule, each parsed through the
// single-file entry with the repair mode off (the standard reading) and on (the repaired one).
#include "suite.h"

namespace {

using Objects = std::vector<std::pair<int, std::string>>;

const std::string kPage = "<</Type/Page/Parent 2 0 R/Resources<</Font<</F1 3 0 R>>>>/Contents 11 0 R>>";

std::string bt(const std::string& ops) { return "BT /F1 12 Tf 72 700 Td " + ops + " ET\n"; }

std::string raw_stream(const std::string& dict, const std::string& data) {
  return "<<" + dict + "/Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream";
}

// Catalog 1, pages 2, font 3 (Helvetica), page 10 with content 11; then `objects` take the place
// of those with their numbers or are added.
PdfWriter doc(const std::string& content, const Objects& objects = {}) {
  PdfWriter w;
  w.add(1, "<</Type/Catalog/Pages 2 0 R>>").add(2, "<</Type/Pages/Kids[10 0 R]/Count 1>>");
  w.add(3, "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>");
  w.add(10, kPage).add_stream(11, "", content);
  for (const auto& o : objects) w.set(o.first, o.second);
  return w;
}

// The document with its catalog only among the members of object stream 20.
std::string in_stream(const std::string& content, const Objects& members) {
  PdfWriter w = doc(content);
  w.objects.erase(w.objects.begin());
  return w.add_object_stream(20, members).build();
}

std::string hex_of(const std::string& bytes) {
  std::string out;
  char two[3];
  for (unsigned char c : bytes) out += (snprintf(two, sizeof two, "%02X", c), two);
  return out + ">";
}

// All text briks of the document, their texts joined by "|"; the mode is set for the call.
std::string text_of(const std::string& bytes, int repair) {
  std::string in = make_temp_dir("repair_in"), work = make_temp_dir("repair_work");
  write_file(in + "doc.pdf", bytes);
  set_repair_mode(repair);
  add_one_pdf_opts("acct", "lib", in.c_str(), "doc.pdf", work.c_str(), "briks.txt", 60, "", 0, 1, 1, 600, 2,
                   1, 1, "", 50, "", 0);
  set_repair_mode(0);
  std::string file = read_file(work + "briks.txt"), out;
  std::vector<std::string> types = brik_fields(file, "content_type"), texts = brik_fields(file, "text");
  for (size_t k = 0; k < texts.size(); k++)
    if (types[k] == "text") out += (out.empty() ? "" : "|") + texts[k];
  return out;
}

TEST(RepairMode, EachRuleOffAndOn) {
  std::string widths, kids, long_page;
  for (int k = 0; k < 49; k++) widths += "500.0 ";
  for (int p = 0; p < 2001; p++) kids += std::to_string(100 + p) + " 0 R ";
  for (int k = 0; k < 12; k++) long_page += "(Long line of text number " + std::to_string(k) + " on page one) Tj 0 -14 Td ";
  Objects tree_2001 = {{3, "<</Type/Font/Subtype/Type1/BaseFont/Xyz/Encoding<</Differences[65/B]>>>>"},
                       {2, "<</Type/Pages/Kids[" + kids + "]/Count 2001>>"}};
  for (int p = 0; p < 2001; p++) tree_2001.push_back({100 + p, kPage});
  PdfWriter catalog_late = doc(bt("(Shown) Tj"));
  catalog_late.objects.insert(catalog_late.objects.begin(), {9, "9 0 obj\n<</Title(Catalog of parts)>>\nendobj\n"});
  // off_has: in the text with the mode off and not with it on ("": no text with it off).
  // on_has: in the text with the mode on (and, when off_has is "", not with it off).
  struct { const char* rule; std::string pdf; const char* off_has; const char* on_has; } rows[] = {
      {"word gap after a long string", doc(bt("(Hello) Tj 40 0 Td (world) Tj")).build(), "Helloworld", "Hello world"},
      {"widths as numbers", doc(bt("(Hel) Tj 18 0 Td (lo) Tj 20 0 Td (x) Tj"), {{3, "<</Type/Font/Subtype/Type1/BaseFont"
       "/Xyz/FirstChar 72/LastChar 120/Widths[" + widths + "]>>"}}).build(), "Hellox", "Hello x"},
      {"catalog by its type", catalog_late.build(), "", "Shown"},
      {"dictionary closed once in an object stream",
       in_stream(bt("(Streamed) Tj"), {{1, "<</Type/Catalog/Names<</X<41>>>/Pages 2 0 R>>"}}), "", "Streamed"},
      {"object stream read from /First",
       in_stream(bt("(First) Tj"), {{7, "/AName"}, {1, "<</Pages 2 0 R/Type/Catalog>>"}}), "", "First"},
      {"ET inside a string", doc(bt("(BETTER DAYS) Tj")).build(), "", "BETTER DAYS"},
      {"backslash glyph in a hex string",
       doc(bt("<005C00410042> Tj"), {{3, "<</Type/Font/Subtype/Type0/BaseFont/Xyz/ToUnicode 5 0 R>>"},
                                     {5, raw_stream("", "begincmap\n1 beginbfrange\n<0000> <00FF> <0000>\nendbfrange\nendcmap")}})
           .build(), "", "\\AB"},
      {"uncompressed content", doc("", {{11, raw_stream("", bt("(Plain) Tj"))}}).build(), "", "Plain"},
      {"ASCIIHex and Flate chain", doc("", {{11, raw_stream("/Filter[/ASCIIHexDecode/FlateDecode]",
                                                            hex_of(deflate_bytes(bt("(Chained) Tj"))))}}).build(),
       "", "Chained"},
      {"Form XObject text",
       doc("/Fm1 Do\n", {{10, "<</Type/Page/Parent 2 0 R/Resources<</Font<</F1 3 0 R>>/XObject<</Fm1 20 0 R>>>>/Contents 11 0 R>>"},
                         {20, raw_stream("/Type/XObject/Subtype/Form/BBox[0 0 500 500]/Resources<</Font<</F1 3 0 R>>>>",
                                         bt("(Inside the form) Tj"))}}).build(), "", "Inside the form"},
      {"Type3 codes", doc(bt("(AB) Tj"), {{3, "<</Type/Font/Subtype/Type3/FontMatrix[0.001 0 0 0.001 0 0]"
                                              "/Encoding<</Differences[1/x]>>/FirstChar 65/LastChar 66/Widths[500 500]>>"}})
                          .build(), "", "AB"},
      {"inherited resources",
       doc(bt("(A) Tj"), {tree_2001[0], {10, "<</Type/Page/Parent 2 0 R/Contents 11 0 R>>"},
                          {2, "<</Type/Pages/Kids[10 0 R]/Count 1/Resources<</Font<</F1 3 0 R>>>>>>"}}).build(), "A", "B"},
      {"font past its page list", doc(bt("(A " + std::string(110, 'x') + ") Tj"), tree_2001).build(), "A xxx", "B xxx"},
      {"short tail of a stream", simple_text_pdf({bt(long_page), bt("(Tail words) Tj")}).build(), "", "Tail words"}};
  for (const auto& row : rows) {
    std::string off = text_of(row.pdf, 0), on = text_of(row.pdf, 1);
    EXPECT_NE(on.find(row.on_has), std::string::npos) << row.rule << ": on gave " << on;
    const char* gone = row.off_has[0] ? row.off_has : row.on_has;  // in one reading only
    EXPECT_EQ((row.off_has[0] ? on : off).find(gone), std::string::npos) << row.rule << ": gave " << off << " / " << on;
    if (row.off_has[0]) { EXPECT_NE(off.find(row.off_has), std::string::npos) << row.rule << ": off gave " << off; }
  }
}

}  // namespace
