// tests/test_hostile_input.cpp -- a few hundred hostile documents through add_one_pdf_opts: well
// formed documents with random damage, object soups, and byte-level mutations of the test data.
// The only expectation is that every call returns; the sanitizer build reports what goes wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "pdf_writer.h"
#include "pdfbriks.h"

using namespace pdftest;

namespace {

constexpr uint32_t HOSTILE_SEED = 20261121;   // fixed, so a failure comes back on every run
constexpr int STRUCTURED_DOCS = 80;           // damaged but recognisable documents
constexpr int SOUP_DOCS = 60;                 // random objects and tokens
constexpr int MUTATED_DOCS = 120;             // byte mutations of the files in tests/data
constexpr int MANY_PAGES = 1000;              // now and then a long document; kept short of the
                                              // thousands, which take seconds each under the sanitizers

// Deterministic random choices; every helper draws from the one engine.
struct Dice {
  std::mt19937 engine{HOSTILE_SEED};
  int below(int n) { return n <= 0 ? 0 : static_cast<int>(engine() % static_cast<uint32_t>(n)); }
  int range(int lo, int hi) { return lo + below(hi - lo + 1); }
  bool chance(int percent) { return below(100) < percent; }
  template <typename T>
  const T& pick(const std::vector<T>& v) { return v[below(static_cast<int>(v.size()))]; }
  std::string bytes(int n) {
    std::string s(n, '\0');
    for (char& c : s) c = static_cast<char>(engine() & 0xFF);
    return s;
  }
};

// ---- tokens ----

std::string number(Dice& d) {
  static const std::vector<std::string> odd = {
      "0", "-1", "2147483647", "-2147483648", "4294967296", "99999999999999999999", "1e308",
      "-", ".", "--3", "1.2.3", "+5", "999999999999.5", "-0.0000001", "3.40282347e+39"};
  switch (d.below(4)) {
    case 0: return std::to_string(d.range(-5, 300));
    case 1: return d.pick(odd);
    case 2: return std::to_string(d.range(-10000, 10000)) + "." + std::to_string(d.below(1000));
    default: return std::to_string(static_cast<int64_t>(d.engine()) * (d.chance(50) ? 1 : -1000));
  }
}

std::string literal(Dice& d) {
  if (d.chance(2)) return "(" + std::string(d.pick(std::vector<int>{3000, 20000}), 'A') + ")";
  static const std::vector<std::string> pieces = {
      "\\n", "\\r", "\\t", "\\(", "\\)", "\\\\", "\\0", "\\101", "\\777", "\\9", "\\", "(", ")",
      "\\\n", "abc", " ", "\xE9", "\x00", "\\x"};
  std::string s = "(";
  int n = d.pick(std::vector<int>{0, 1, 5, 20, 200});
  for (int k = 0; k < n; k++) {
    if (d.chance(15)) s += d.pick(pieces);
    else s += static_cast<char>(d.range(32, 126));
  }
  if (d.chance(90)) s += ")";
  return s;
}

std::string hex_string(Dice& d) {
  if (d.chance(2)) {
    std::string s = "<";
    for (int k = d.pick(std::vector<int>{2000, 12000}); k > 0; k--) s += "0041";
    return s + ">";
  }
  static const char digits[] = "0123456789abcdefABCDEF \n";
  std::string s = "<";
  int n = d.pick(std::vector<int>{0, 1, 2, 3, 4, 7, 8, 100, 1000});
  for (int k = 0; k < n; k++) s += d.chance(97) ? digits[d.below(24)] : static_cast<char>(d.below(256));
  if (d.chance(90)) s += ">";
  return s;
}

std::string name(Dice& d) {
  static const std::vector<std::string> names = {"F1", "F2", "Im1", "Fx", "T1_0", "ActualText",
                                                 "MCID", "Span", "P", "Artifact", ""};
  if (d.chance(5)) return "/" + std::string(d.pick(std::vector<int>{60, 300, 2000}), 'N');
  return "/" + d.pick(names);
}

std::string operand(Dice& d, int depth = 0) {
  int c = d.below(10);
  if (c < 4) return number(d);
  if (c < 5) return name(d);
  if (c < 7) return literal(d);
  if (c < 8) return hex_string(d);
  if (c < 9 && depth < 3) {
    std::string s = "[";
    for (int k = d.below(7); k > 0; k--) s += operand(d, depth + 1) + " ";
    return s + (d.chance(90) ? "]" : "");
  }
  return "<</ActualText " + (d.chance(50) ? literal(d) : hex_string(d)) + " /MCID " + number(d) +
         (d.chance(90) ? ">>" : "");
}

// ---- content streams, CMaps, font programs ----

std::string content(Dice& d) {
  static const std::vector<std::string> ops = {
      "BT", "ET", "Tf", "Tm", "Td", "TD", "T*", "Tj", "TJ", "'", "\"", "cm", "Do", "BDC", "EMC",
      "BMC", "TL", "Tc", "Tw", "Tz", "re", "m", "l", "S", "f", "q", "Q", "gs", "BI", "ID", "EI"};
  std::string s;
  if (d.chance(30)) {
    // A grid of cells, the shape the table pass looks for, with odd spacings.
    int rows = d.pick(std::vector<int>{1, 5, 30, 80});
    int cols = d.pick(std::vector<int>{1, 3, 12, 25});
    int dx = d.pick(std::vector<int>{40, 80, 3, 0});
    int dy = d.pick(std::vector<int>{14, 2, -3});
    s += "BT /F1 12 Tf\n";
    for (int r = 0; r < rows; r++) {
      for (int c = 0; c < cols; c++) {
        s += "1 0 0 1 " + std::to_string(50 + c * dx) + " " + std::to_string(700 - r * dy) +
             " Tm (cell " + std::to_string(r) + " " + std::to_string(c) + ") Tj\n";
      }
    }
    s += "ET\n";
  }
  int n = d.pick(std::vector<int>{0, 5, 50, 200});
  for (int k = 0; k < n; k++) {
    for (int m = d.below(4); m > 0; m--) s += operand(d) + " ";
    s += d.pick(ops) + "\n";
    if (d.chance(2)) s += d.bytes(d.range(1, 30));
  }
  return s;
}

std::string cmap(Dice& d) {
  std::string s = "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
                  "1 begincodespacerange <00> <FF> endcodespacerange\n";
  for (int section = d.below(6); section > 0; section--) {
    int count = d.pick(std::vector<int>{0, 1, 5, 100, 150, 1000});
    char line[64];
    if (d.chance(50)) {
      s += number(d) + " beginbfchar\n";
      for (int k = 0; k < count; k++) {
        if (d.chance(90)) snprintf(line, sizeof line, "<%02X> ", d.below(256));
        else snprintf(line, sizeof line, "%.*s ", d.range(1, 9), hex_string(d).c_str());
        s += line;
        s += d.chance(80) ? std::string("<0041>") : d.chance(50) ? std::string("<D835DC00>") : hex_string(d);
        s += "\n";
      }
      s += "endbfchar\n";
    } else {
      s += number(d) + " beginbfrange\n";
      for (int k = 0; k < count; k++) {
        int lo = d.below(65536);
        int hi = lo + d.pick(std::vector<int>{0, 1, 10, 255, 1000, 70000, -5});
        if (hi < 0) hi = 0;
        snprintf(line, sizeof line, "<%04X> <%04X> ", lo, hi);
        s += line;
        if (d.chance(50)) {
          snprintf(line, sizeof line, "<%04X>\n", d.below(65536));
          s += line;
        } else {
          s += "[";
          for (int m = d.pick(std::vector<int>{0, 1, 3, 300}); m > 0; m--) {
            s += d.chance(70) ? std::string("<0041> ") : d.chance(50) ? std::string("<> ") : hex_string(d) + " ";
          }
          s += d.chance(90) ? "]\n" : "\n";
        }
      }
      s += "endbfrange\n";
    }
  }
  return s + "endcmap CMapName currentdict /CMap defineresource pop end end\n";
}

std::string type1_text(Dice& d) {
  std::string s = "%!PS-AdobeFont-1.0: X 001\n/Encoding 256 array\n0 1 255 {1 index exch /.notdef put} for\n";
  static const std::vector<std::string> glyphs = {"A", "quoteright", "uni0041", "g123", "", "fi"};
  for (int k = d.pick(std::vector<int>{0, 3, 300, 3000}); k > 0; k--) {
    std::string glyph = d.chance(5) ? std::string(d.pick(std::vector<int>{200, 3000}), 'x') : d.pick(glyphs);
    s += "dup " + number(d) + " /" + glyph + " put\n";
  }
  return s + "readonly def\ncurrentfile eexec\n" + d.bytes(d.below(64));
}

std::string differences(Dice& d) {
  static const std::vector<std::string> glyphs = {"A", "space", "quotedbl", "uni20AC", "fi", "ffl", "a7"};
  std::string s = "[";
  for (int k = d.pick(std::vector<int>{0, 3, 50, 600}); k > 0; k--) {
    if (d.chance(30)) s += number(d) + " ";
    else s += "/" + d.pick(glyphs) + " ";
  }
  return s + (d.chance(90) ? "]" : "");
}

std::string widths(Dice& d) {
  std::string s = "[";
  for (int k = d.pick(std::vector<int>{0, 3, 256, 3000}); k > 0; k--) s += number(d) + " ";
  return s + "]";
}

std::string xmp(Dice& d) {
  std::string s = "<?xpacket begin?><x:xmpmeta><rdf:RDF><rdf:Description><dc:title><rdf:Alt>"
                  "<rdf:li xml:lang=\"x-default\">" + literal(d) + "</rdf:li></rdf:Alt></dc:title>"
                  "<dc:creator><rdf:Seq><rdf:li>" + std::string(d.pick(std::vector<int>{1, 100, 5000}), 'A') +
                  "</rdf:li></rdf:Seq></dc:creator><xmp:CreateDate>" + number(d) +
                  "</xmp:CreateDate></rdf:Description></rdf:RDF></x:xmpmeta>";
  if (d.chance(30)) s.resize(d.below(static_cast<int>(s.size()) + 1));
  return s;
}

// ---- whole documents ----

// Catalog 1, page tree 2, info 6, fonts from 100 by tens, an image, pages from 10000 by twos.
std::string structured(Dice& d) {
  PdfWriter w;
  std::vector<std::pair<int, std::string>> plain;  // objects that may go into an object stream
  int pages = d.chance(90) ? d.pick(std::vector<int>{1, 2, 3, 10, 40, 100}) : d.below(20);
  if (d.chance(2)) pages = MANY_PAGES;

  // Fonts.
  std::string font_dict = "<<";
  int font_count = d.below(5);
  for (int f = 0; f < font_count; f++) {
    int n = 100 + 10 * f;
    static const std::vector<std::string> kinds = {"Type1", "TrueType", "Type0", "Type3", "MMType1"};
    std::string kind = d.pick(kinds);
    std::string dict = "<</Type /Font /Subtype /" + kind + " /BaseFont /" +
                       (d.chance(90) ? d.pick(std::vector<std::string>{"Helvetica-Bold", "ABCDEF+Times-Italic", "Symbol"})
                                     : std::string(500, 'X'));
    if (d.chance(60)) {
      dict += " /ToUnicode " + std::to_string(n + 1) + " 0 R";
      w.add_stream(n + 1, "", cmap(d), d.chance(90));
    }
    if (d.chance(50)) {
      dict += " /Encoding <</Type /Encoding /BaseEncoding /WinAnsiEncoding /Differences " + differences(d) + ">>";
    } else if (d.chance(50)) {
      dict += " /Encoding /" + d.pick(std::vector<std::string>{"WinAnsiEncoding", "MacRomanEncoding", "Identity-H", "Bogus"});
    }
    if (d.chance(60)) dict += " /FirstChar " + number(d) + " /LastChar " + number(d) + " /Widths " + widths(d);
    if (d.chance(50)) {
      dict += " /FontDescriptor " + std::to_string(n + 2) + " 0 R";
      plain.push_back({n + 2, "<</Type /FontDescriptor /FontName /X /Flags " + number(d) + " /FontFile " +
                                  std::to_string(n + 3) + " 0 R>>"});
      w.add_stream(n + 3, "/Length1 100 /Length2 0 /Length3 0", type1_text(d), d.chance(80));
    }
    if (kind == "Type0") {
      dict += " /DescendantFonts [" + std::to_string(n + 4) + " 0 R]";
      plain.push_back({n + 4, "<</Type /Font /Subtype /CIDFontType2 /W [1 [500 600] 3 10 250] /DW 1000>>"});
    }
    if (kind == "Type3") {
      dict += " /FontMatrix [0.001 0 0 0.001 0 0] /CharProcs <</a " + std::to_string(n + 5) + " 0 R>>";
      w.add_stream(n + 5, "", "0 0 d0 (a) Tj");
    }
    if (d.chance(95)) dict += ">>";
    plain.push_back({n, dict});
    font_dict += "/F" + std::to_string(f + 1) + " " + std::to_string(n) + " 0 R ";
  }
  font_dict += ">>";

  // An image, the shared content stream, the pages.
  w.add_stream(90, "/Type /XObject /Subtype /Image /Width " + number(d) + " /Height " + number(d) +
                       " /BitsPerComponent 8 /ColorSpace /DeviceRGB",
               d.bytes(d.pick(std::vector<int>{0, 10, 3000})), d.chance(70));
  std::string resources = "<</Font " + font_dict + " /XObject <</Im1 90 0 R>>>>";
  w.add_stream(91, "", pages <= 20 ? content(d) : "BT /F1 12 Tf 72 700 Td (page) Tj ET");
  std::vector<int> page_ids;
  for (int p = 0; p < pages; p++) {
    int id = 10000 + 2 * p;
    page_ids.push_back(id);
    int c = 91;
    if (pages <= 20) {
      c = id + 1;
      w.add_stream(c, "", content(d), d.chance(95));
    }
    std::string contents = d.chance(80) ? std::to_string(c) + " 0 R" : "[" + std::to_string(c) + " 0 R 91 0 R]";
    plain.push_back({id, "<</Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Resources " +
                             (d.chance(90) ? resources : std::to_string(d.below(20000)) + " 0 R") +
                             " /Contents " + contents + ">>"});
  }

  // The page tree: flat, a deep chain, a cycle, or levels of a small fanout.
  auto refs = [](const std::vector<int>& ids, size_t from, size_t to) {
    std::string s;
    for (size_t k = from; k < to && k < ids.size(); k++) s += std::to_string(ids[k]) + " 0 R ";
    return s;
  };
  int tree = d.below(4);
  if (tree == 0 || page_ids.empty()) {
    plain.push_back({2, "<</Type /Pages /Kids [" + refs(page_ids, 0, page_ids.size()) + "] /Count " + number(d) + ">>"});
  } else if (tree == 1) {
    int depth = d.pick(std::vector<int>{10, 100, 1000});
    int prev = 2;
    for (int k = 0; k < depth; k++) {
      int node = 50000 + k;
      plain.push_back({prev, "<</Type /Pages /Kids [" + std::to_string(node) + " 0 R " +
                                 std::to_string(page_ids[k % page_ids.size()]) + " 0 R] /Count 2>>"});
      prev = node;
    }
    plain.push_back({prev, "<</Type /Pages /Kids [2 0 R] /Count 1>>"});
  } else if (tree == 2) {
    plain.push_back({2, "<</Type /Pages /Kids [3 0 R " + refs(page_ids, 0, 50) + "] /Count 3>>"});
    plain.push_back({3, "<</Type /Pages /Kids [2 0 R 3 0 R] /Count 1>>"});
  } else {
    int fanout = d.pick(std::vector<int>{2, 3, 10});
    std::vector<int> level = page_ids;
    int next = 60000;
    while (level.size() > 1) {
      std::vector<int> up;
      for (size_t k = 0; k < level.size(); k += fanout) {
        plain.push_back({next, "<</Type /Pages /Kids [" + refs(level, k, k + fanout) + "] /Count " +
                                   std::to_string(fanout) + ">>"});
        up.push_back(next++);
      }
      level = up;
    }
    plain.push_back({2, "<</Type /Pages /Kids [" + std::to_string(level[0]) + " 0 R] /Count " + std::to_string(pages) + ">>"});
  }

  // Catalog, metadata, info.
  plain.push_back({1, std::string("<</Type /Catalog /Pages 2 0 R") + (d.chance(50) ? " /Metadata 5 0 R" : "") + ">>"});
  w.add_stream(5, "/Type /Metadata /Subtype /XML", xmp(d), d.chance(30));
  plain.push_back({6, "<</Title " + literal(d) + " /Author " + hex_string(d) + " /CreationDate (D:2020>>"});
  w.trailer_extra = "/Info 6 0 R";

  // Some plain objects go into an object stream, now and then with a damaged header.
  if (d.chance(40)) {
    size_t take = std::min(plain.size(), static_cast<size_t>(d.pick(std::vector<int>{1, 5, 50, 500})));
    std::vector<std::pair<int, std::string>> members(plain.begin(), plain.begin() + take);
    plain.erase(plain.begin(), plain.begin() + take);
    if (d.chance(20)) {
      std::string header;
      for (int k = d.below(40); k > 0; k--) header += number(d) + " ";
      w.add_stream(7, "/Type /ObjStm /N " + number(d) + " /First " + std::to_string(header.size()), header + "1 0 obj");
    } else {
      w.add_object_stream(7, members, d.chance(90));
    }
  }
  for (const auto& o : plain) w.add(o.first, o.second);
  return w.build(d.chance(50) ? Xref::sound : d.chance(50) ? Xref::broken : Xref::missing);
}

std::string soup(Dice& d) {
  static const std::vector<std::string> words = {
      "<<", ">>", "[", "]", "/Type", "/Pages", "/Page", "/Kids", "/Catalog", "/Contents", "/Font",
      "/Resources", "/ToUnicode", "/Length", "stream\n", "\nendstream", "R", "obj", "endobj", "/ObjStm",
      "/N", "/First", "/FlateDecode", "/Filter", "/Metadata", "/Differences", "/Widths", "/Count",
      "/Root", "/Parent", "/FontFile", "/Encoding", "0 R", "1 0 R", "2 0 R"};
  std::string s = "%PDF-1.4\n";
  for (int k = d.pick(std::vector<int>{1, 10, 40, 80}); k > 0; k--) {
    int c = d.below(10);
    if (c < 6) {
      int n = d.chance(95) ? d.range(-3, 70000) : d.pick(std::vector<int>{2147483647, -2147483647 - 1});
      s += std::to_string(n) + " 0 obj\n";
      for (int m = d.below(40); m > 0; m--) s += (d.chance(60) ? d.pick(words) : operand(d)) + " ";
      if (d.chance(80)) s += "\nendobj\n";
    } else if (c < 8) {
      std::string data;
      int what = d.below(3);
      data = what == 0 ? content(d) : what == 1 ? cmap(d) : type1_text(d);
      std::string packed = d.chance(90) ? deflate_bytes(data) : data;
      if (d.chance(10)) packed.resize(d.below(static_cast<int>(packed.size()) + 1));
      s += std::to_string(d.range(1, 100)) + " 0 obj\n<</Length " + number(d) + " /Filter /FlateDecode>>\nstream\n" +
           packed + "\nendstream\nendobj\n";
    } else {
      s += d.bytes(d.below(100));
    }
  }
  return s;
}

std::string mutate(Dice& d, std::string s) {
  static const std::vector<std::string> inserts = {
      "<<", ">>", "[", "]", "(", ")", "<", ">", "\\", "999999999999", "-2147483648", "0 obj", "endobj",
      "stream\n", "endstream", "/Page ", "/Kids [", "BT", "ET", "Tj", "TJ"};
  for (int k = d.pick(std::vector<int>{1, 2, 5, 20, 100}); k > 0 && !s.empty(); k--) {
    size_t at = d.below(static_cast<int>(s.size()));
    switch (d.below(6)) {
      case 0: s[at] = static_cast<char>(d.below(256)); break;
      case 1: s.erase(at, d.range(1, 500)); break;
      case 2: s.insert(at, d.pick(inserts)); break;
      case 3: s.insert(at, s.substr(d.below(static_cast<int>(s.size())), d.range(1, 2000))); break;
      case 4: s.resize(at); break;
      default: s.insert(at, std::string(d.pick(std::vector<int>{2, 100, 5000}), s[at])); break;
    }
  }
  return s;
}

// One document through the single-file entry; the brik file is removed after each, so the folder
// holds one document's output at a time.
void run_one(const std::string& folder, const std::string& bytes) {
  write_file(folder + "hostile.pdf", bytes);
  add_one_pdf_opts("acct", "lib", folder.c_str(), "hostile.pdf", folder.c_str(), "briks.txt", 400, "", 0, 1, 1,
                   600, 2, 1, 1, "", 50, (folder + "run.log").c_str(), 60);
  remove((folder + "briks.txt").c_str());
  remove((folder + "run.log").c_str());
  remove((folder + "hostile.pdf").c_str());
}

TEST(HostileInput, StructuredDocumentsWithDamage) {
  Dice d;
  std::string folder = make_temp_dir("hostile");
  for (int k = 0; k < STRUCTURED_DOCS; k++) {
    std::string doc = structured(d);
    if (d.chance(40)) doc = mutate(d, doc);
    if (d.chance(10)) doc.resize(d.below(static_cast<int>(doc.size()) + 1));
    run_one(folder, doc);
  }
  SUCCEED() << "every call returned";
}

TEST(HostileInput, ObjectSoups) {
  Dice d;
  d.engine.seed(HOSTILE_SEED + 1);
  std::string folder = make_temp_dir("hostile");
  for (int k = 0; k < SOUP_DOCS; k++) run_one(folder, soup(d));
  SUCCEED() << "every call returned";
}

TEST(HostileInput, MutatedTestData) {
  Dice d;
  d.engine.seed(HOSTILE_SEED + 2);
  std::vector<std::string> originals;
  for (const char* file : {"table_office.pdf", "text_letter_office.pdf", "text_poster_ps.pdf"}) {
    std::string bytes = read_file(std::string(PDFBRIKS_TEST_DATA) + "/" + file);
    if (!bytes.empty()) originals.push_back(bytes);
  }
  ASSERT_FALSE(originals.empty());
  std::string folder = make_temp_dir("hostile");
  for (int k = 0; k < MUTATED_DOCS; k++) run_one(folder, mutate(d, d.pick(originals)));
  SUCCEED() << "every call returned";
}

}  // namespace
