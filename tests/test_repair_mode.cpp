// tests/test_repair_mode.cpp -- one crafted document per repair rule, each parsed through the
// single-file entry with the repair mode off (the standard reading) and on (the repaired one).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "doc_fixture.h"
#include "pdf_writer.h"
#include "pdfbriks.h"

using namespace pdftest;

namespace {

const std::string kFont = "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>";
const std::string kPage = "<</Type/Page/Parent 2 0 R/Resources<</Font<</F1 3 0 R>>>>/Contents 11 0 R>>";

// Catalog 1, pages 2, font 3, page 10 with content 11; `edit` may change or add objects.
std::string doc(const std::string& content, const std::string& font = kFont, const std::string& page = kPage,
                std::function<void(PdfWriter&)> edit = nullptr) {
  PdfWriter w;
  w.add(1, "<</Type/Catalog/Pages 2 0 R>>").add(2, "<</Type/Pages/Kids[10 0 R]/Count 1>>").add(3, font);
  w.add(10, page).add_stream(11, "", content);
  if (edit) edit(w);
  return w.build();
}

std::string bt(const std::string& ops) { return "BT /F1 12 Tf 72 700 Td " + ops + " ET\n"; }

// The document with its objects (number, body) replaced or added.
std::function<void(PdfWriter&)> with(std::vector<std::pair<int, std::string>> objects) {
  return [objects](PdfWriter& w) {
    for (const auto& o : objects) {
      bool replaced = false;
      for (auto& e : w.objects) {
        if (e.first == o.first) {
          e.second = std::to_string(o.first) + " 0 obj\n" + o.second + "\nendobj\n";
          replaced = true;
        }
      }
      if (!replaced) w.add(o.first, o.second);
    }
  };
}

std::string raw_stream(const std::string& dict, const std::string& data) {
  return "<<" + dict + "/Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream";
}

std::string hex_of(const std::string& bytes) {
  static const char* digits = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : bytes) out += std::string(1, digits[c >> 4]) + digits[c & 15];
  return out + ">";
}

const std::string kToUnicode = raw_stream("", "begincmap\n1 begincodespacerange\n<0000> <FFFF>\n"
                                              "endcodespacerange\n1 beginbfrange\n<0000> <00FF> <0000>\n"
                                              "endbfrange\nendcmap");

std::string long_page() {
  std::string ops;
  for (int k = 0; k < 12; k++) ops += "(Long line of text number " + std::to_string(k) + " on page one) Tj 0 -14 Td ";
  return bt(ops);
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
  const std::string type = "<content_type>: text,", open = "\n<text>: ", close = ",\n<header_text>: ";
  for (size_t at = file.find(type); at != std::string::npos; at = file.find(type, at + 1)) {
    size_t s = file.find(open, at) + open.size();
    out += (out.empty() ? "" : "|") + file.substr(s, file.find(close, s) - s);
  }
  return out;
}

struct Row {
  const char* rule;
  std::string pdf;
  const char* off_has;  // in the text with the mode off, and not with it on; "" for no text
  const char* on_has;   // in the text with the mode on (and, when off_has is "", not with it off)
};

std::string widths_font() {
  std::string w;
  for (int k = 0; k < 49; k++) w += "500.0 ";
  return "<</Type/Font/Subtype/Type1/BaseFont/Xyz/FirstChar 72/LastChar 120/Widths[" + w + "]>>";
}

std::vector<Row> rows() {
  std::vector<std::pair<int, std::string>> tree_2001;
  std::string kids;
  for (int p = 0; p < 2001; p++) kids += std::to_string(100 + p) + " 0 R ";
  tree_2001.push_back({2, "<</Type/Pages/Kids[" + kids + "]/Count 2001>>"});
  for (int p = 0; p < 2001; p++) tree_2001.push_back({100 + p, kPage});
  const std::string b_for_a = "<</Type/Font/Subtype/Type1/BaseFont/Xyz/Encoding<</Differences[65/B]>>>>";
  const std::string form_page =
      "<</Type/Page/Parent 2 0 R/Resources<</Font<</F1 3 0 R>>/XObject<</Fm1 20 0 R>>>>/Contents 11 0 R>>";
  auto in_stream = [](std::vector<std::pair<int, std::string>> members) {
    return [members](PdfWriter& w) {
      w.objects.erase(w.objects.begin());  // the catalog lives in the object stream only
      w.add_object_stream(20, members);
    };
  };
  return {
      {"word gap after a long string", doc(bt("(Hello) Tj 40 0 Td (world) Tj")), "Helloworld", "Hello world"},
      {"widths as numbers", doc(bt("(Hel) Tj 18 0 Td (lo) Tj 20 0 Td (x) Tj"), widths_font()), "Hellox", "Hello x"},
      {"catalog by its type", doc(bt("(Shown) Tj"), kFont, kPage, [](PdfWriter& w) {
         w.objects.insert(w.objects.begin(), {9, "9 0 obj\n<</Title(Catalog of parts)>>\nendobj\n"});
       }), "", "Shown"},
      {"dictionary closed once in an object stream",
       doc(bt("(Streamed) Tj"), kFont, kPage, in_stream({{1, "<</Type/Catalog/Names<</X<41>>>/Pages 2 0 R>>"}})),
       "", "Streamed"},
      {"object stream read from /First",
       doc(bt("(First) Tj"), kFont, kPage, in_stream({{7, "/AName"}, {1, "<</Pages 2 0 R/Type/Catalog>>"}})), "",
       "First"},
      {"ET inside a string", doc(bt("(BETTER DAYS) Tj")), "", "BETTER DAYS"},
      {"backslash glyph in a hex string",
       doc(bt("<005C00410042> Tj"), "<</Type/Font/Subtype/Type0/BaseFont/Xyz/ToUnicode 5 0 R>>", kPage,
           with({{5, kToUnicode}})),
       "", "\\AB"},
      {"uncompressed content", doc("", kFont, kPage, with({{11, raw_stream("", bt("(Plain) Tj"))}})), "", "Plain"},
      {"ASCIIHex and Flate chain",
       doc("", kFont, kPage, with({{11, raw_stream("/Filter[/ASCIIHexDecode/FlateDecode]",
                                                   hex_of(deflate_bytes(bt("(Chained) Tj"))))}})),
       "", "Chained"},
      {"Form XObject text",
       doc("/Fm1 Do\n", kFont, form_page,
           with({{20, raw_stream("/Type/XObject/Subtype/Form/BBox[0 0 500 500]/Resources<</Font<</F1 3 0 R>>>>",
                                 bt("(Inside the form) Tj"))}})),
       "", "Inside the form"},
      {"Type3 codes", doc(bt("(AB) Tj"), "<</Type/Font/Subtype/Type3/FontMatrix[0.001 0 0 0.001 0 0]"
                                         "/Encoding<</Differences[1/x]>>/FirstChar 65/LastChar 66/Widths[500 500]>>"),
       "", "AB"},
      {"inherited resources",
       doc(bt("(A) Tj"), b_for_a, "<</Type/Page/Parent 2 0 R/Contents 11 0 R>>",
           with({{2, "<</Type/Pages/Kids[10 0 R]/Count 1/Resources<</Font<</F1 3 0 R>>>>>>"}})),
       "A", "B"},
      {"font past its page list", doc(bt("(A " + std::string(110, 'x') + ") Tj"), b_for_a, kPage, with(tree_2001)),
       "A xxx", "B xxx"},
      {"short tail of a stream", simple_text_pdf({long_page(), bt("(Tail words) Tj")}).build(), "", "Tail words"},
  };
}

TEST(RepairMode, EachRuleOffAndOn) {
  for (const Row& row : rows()) {
    std::string off = text_of(row.pdf, 0), on = text_of(row.pdf, 1);
    EXPECT_NE(on.find(row.on_has), std::string::npos) << row.rule << ": on gave " << on;
    if (row.off_has[0] != 0) {
      EXPECT_NE(off.find(row.off_has), std::string::npos) << row.rule << ": off gave " << off;
      EXPECT_EQ(on.find(row.off_has), std::string::npos) << row.rule << ": on gave " << on;
    } else {
      EXPECT_EQ(off.find(row.on_has), std::string::npos) << row.rule << ": off gave " << off;
    }
  }
}

}  // namespace
