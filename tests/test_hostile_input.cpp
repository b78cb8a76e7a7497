// tests/test_hostile_input.cpp -- a few hundred hostile documents through add_one_pdf_opts: damaged
// but recognisable documents, object soups, byte mutations of the files in tests/data. Each call
// must return a page count in range and leave a brik file of whole, numbered records on pages
// that exist, with the run's settings untouched; the sanitizer build checks every access.
#include <cstdint>
#include <random>
#include <set>

#include "suite.h"

namespace {

struct Dice {  // deterministic, so a failure comes back on every run
  std::mt19937 engine;
  explicit Dice(uint32_t seed) : engine(seed) {}
  int below(int n) { return n <= 0 ? 0 : static_cast<int>(engine() % static_cast<uint32_t>(n)); }
  bool chance(int percent) { return below(100) < percent; }
  template <typename T> T pick(std::initializer_list<T> v) { return v.begin()[below(static_cast<int>(v.size()))]; }
  std::string bytes(int n) { std::string s(n, 0); for (char& c : s) c = static_cast<char>(engine()); return s; }
};

std::string number(Dice& d) {
  if (d.chance(50)) return std::to_string(d.below(600) - 300);
  return d.pick<std::string>({"2147483647", "-2147483648", "99999999999999999999", "1e308", "-", ".", "1.2.3",
                              "-0.0000001", std::to_string(static_cast<int64_t>(d.engine()) * -1000)});
}

std::string token(Dice& d) {  // an operand of any kind, damaged now and then
  switch (d.below(6)) {
    case 0: case 1: return number(d);
    case 2: return "/" + d.pick<std::string>({"F1", "F2", "Im1", "ActualText", "MCID", "", d.chance(5) ? std::string(2000, 'N') : "X"});
    case 3: {
      std::string s = "(";
      for (int k = d.chance(2) ? 20000 : d.pick({0, 5, 200}); k > 0; k--)
        s += d.chance(15) ? d.pick<std::string>({"\\n", "\\(", "\\)", "\\\\", "\\101", "\\777", "\\", "(", "\xE9"})
                          : std::string(1, static_cast<char>(32 + d.below(95)));
      return s + (d.chance(90) ? ")" : "");
    }
    case 4: {
      std::string s = "<";
      for (int k = d.chance(2) ? 48000 : d.pick({0, 1, 3, 8, 100}); k > 0; k--) s += "0123456789abcdefABCDEF \n"[d.below(24)];
      return s + (d.chance(90) ? ">" : "");
    }
    default: return "<</ActualText " + (d.chance(50) ? std::string("(x)") : "<FEFF0041>") + " /MCID " + number(d) + ">>";
  }
}

std::string content(Dice& d) {
  std::string s;
  if (d.chance(30)) {  // a grid of cells, the shape the table pass looks for, with odd spacings
    int rows = d.pick({1, 30, 120}), cols = d.pick({1, 5, 60}), dx = d.pick({80, 3, 0}), dy = d.pick({14, 2, -3});
    s += "BT /F1 12 Tf\n";
    for (int r = 0; r < rows; r++)
      for (int c = 0; c < cols; c++)
        s += "1 0 0 1 " + std::to_string(50 + c * dx) + " " + std::to_string(700 - r * dy) + " Tm (" +
             std::string(d.pick({1, 120}), '7') + ") Tj\n";
    s += "ET\n";
  }
  for (int k = d.pick({0, 50, 300}); k > 0; k--) {
    for (int m = d.below(4); m > 0; m--) s += token(d) + " ";
    s += d.pick<std::string>({"BT", "ET", "Tf", "Tm", "Td", "TD", "T*", "Tj", "TJ", "'", "\"", "cm", "Do", "BDC",
                              "EMC", "[", "]", "q", "Q", "BI", "ID"}) + "\n";
  }
  return s;
}

std::string font_data(Dice& d) {  // a CMap, or the clear text of a Type 1 program
  std::string s = d.chance(50) ? "begincmap\n" : "/Encoding 256 array\n";
  for (int k = d.pick({1, 150, 3000}); k > 0; k--) {
    switch (d.below(3)) {
      case 0: s += number(d) + " beginbfchar\n" + token(d) + " <00660069>\nendbfchar\n"; break;
      case 1: s += "1 beginbfrange\n<" + std::to_string(d.below(9999)) + "> <FFFF> " +
                   d.pick<std::string>({"<0041>", "[<0041> <> <0042>]", "["}) + "\nendbfrange\n"; break;
      default: s += "dup " + number(d) + " /" + d.pick<std::string>({"A", "fi", "g123", std::string(300, 'x')}) + " put\n";
    }
  }
  return s;
}

// A catalog, a page tree (flat, a chain, a cycle), fonts of every kind with maps, widths and
// Differences, an image and metadata; some objects in an object stream. `pages` gets the most
// pages the tree can give.
std::string structured(Dice& d, int* pages) {
  PdfWriter w;
  std::vector<std::pair<int, std::string>> plain;
  *pages = d.pick({0, 1, 3, 40, 1000});
  std::string fonts;
  for (int f = d.below(5), n = 100; f > 0; f--, n += 10) {
    w.add_stream(n + 1, "", font_data(d), d.chance(80));
    plain.push_back({n, "<</Type/Font/Subtype/" + d.pick<std::string>({"Type1", "TrueType", "Type0", "Type3"}) +
                            "/BaseFont/" + d.pick<std::string>({"Helvetica-Bold", "ABC+Times-Italic", std::string(500, 'X')}) +
                            "/ToUnicode " + std::to_string(n + 1) + " 0 R/FirstChar " + number(d) + "/Widths[" + number(d) +
                            " 600]/Encoding<</Differences[" + number(d) + "/A/fi/g0123 " + number(d) + "/space]>>" +
                            "/FontDescriptor<</FontFile " + std::to_string(n + 1) + " 0 R>>/DescendantFonts[" +
                            std::to_string(n) + " 0 R]>>"});
    fonts += "/F" + std::to_string(fonts.size() % 3) + " " + std::to_string(n) + " 0 R ";
  }
  w.add_stream(90, "/Subtype/Image/Width " + number(d) + "/Height 9", d.bytes(d.pick({0, 3000})), d.chance(70));
  w.add_stream(91, "", content(d), d.chance(95));
  std::string kids;
  for (int p = 0; p < *pages; p++) {
    kids += std::to_string(10000 + p) + " 0 R ";
    plain.push_back({10000 + p, "<</Type/Page/Parent 2 0 R/Resources<</Font<<" + fonts +
                                    ">>/XObject<</Im1 90 0 R>>>>/Contents " + (p < 20 ? "[91 0 R 91 0 R]" : "91 0 R") + ">>"});
  }
  int tree = d.below(3);
  if (tree == 0) plain.push_back({2, "<</Type/Pages/Kids[" + kids + "]/Count " + number(d) + ">>"});
  if (tree == 1) {  // a chain a thousand nodes deep
    for (int k = 0; k < 1000; k++)
      plain.push_back({k ? 50000 + k : 2, "<</Type/Pages/Kids[" + std::to_string(50001 + k) + " 0 R 10000 0 R]>>"});
  }
  if (tree == 2) plain.push_back({2, "<</Type/Pages/Kids[2 0 R " + kids.substr(0, 200) + "]/Count 3>>"});
  if (tree != 0) *pages = 5000;  // a chain or a cycle may list a page many times
  plain.push_back({1, "<</Type/Catalog/Pages 2 0 R/Metadata 5 0 R>>"});
  w.add_stream(5, "/Type/Metadata", "<xmp:CreateDate>" + token(d) + "</xmp:CreateDate><dc:creator>" +
                                        std::string(d.pick({1, 5000}), 'A'), d.chance(30));
  if (d.chance(40)) {
    size_t take = std::min(plain.size(), static_cast<size_t>(d.pick({1, 50, 500})));
    w.add_object_stream(7, {plain.begin(), plain.begin() + take}, d.chance(90));
    plain.erase(plain.begin(), plain.begin() + take);
  }
  for (const auto& o : plain) w.add(o.first, o.second);
  return w.build(d.pick({Xref::sound, Xref::broken, Xref::missing}));
}

std::string soup(Dice& d) {
  std::string s = "%PDF-1.4\n";
  for (int k = d.pick({1, 10, 80}); k > 0; k--) {
    if (d.chance(60)) {
      s += std::to_string(d.chance(95) ? d.below(70000) - 3 : 2147483647) + " 0 obj\n";
      for (int m = d.below(40); m > 0; m--)
        s += (d.chance(60) ? d.pick<std::string>({"<<", ">>", "[", "]", "/Type", "/Pages", "/Page", "/Kids", "/Catalog",
                                                  "/Contents", "/Font", "/Resources", "/ToUnicode", "stream\n", "/ObjStm",
                                                  "/N", "/First", "/FlateDecode", "/Root", "0 R", "1 0 R", "2 0 R"})
                           : token(d)) + " ";
      if (d.chance(80)) s += "\nendobj\n";
    } else if (d.chance(80)) {
      std::string packed = deflate_bytes(d.chance(50) ? content(d) : font_data(d));
      if (d.chance(10)) packed.resize(d.below(static_cast<int>(packed.size())));
      s += std::to_string(1 + d.below(100)) + " 0 obj\n<</Length " + number(d) + "/Filter/FlateDecode>>\nstream\n" +
           packed + "\nendstream\nendobj\n";
    } else {
      s += d.bytes(d.below(100));
    }
  }
  return s;
}

std::string mutate(Dice& d, std::string s) {
  for (int k = d.pick({1, 5, 100}); k > 0 && !s.empty(); k--) {
    size_t at = d.below(static_cast<int>(s.size()));
    switch (d.below(5)) {
      case 0: s[at] = static_cast<char>(d.below(256)); break;
      case 1: s.erase(at, 1 + d.below(500)); break;
      case 2: s.insert(at, d.pick<std::string>({"<<", ">>", "(", ")", "\\", "999999999999", "0 obj", "endobj", "stream\n"})); break;
      case 3: s.insert(at, s.substr(d.below(static_cast<int>(s.size())), 1 + d.below(2000))); break;
      default: s.resize(at);
    }
  }
  return s;
}

// Runs one document and checks what it left; the folder holds one document's output at a time.
void run_one(const std::string& bytes, int pages = 5000) {
  static const std::string folder = make_temp_dir("hostile");
  write_file(folder + "hostile.pdf", bytes);
  int made = add_one_pdf_opts("acct", "lib", folder.c_str(), "hostile.pdf", folder.c_str(), "briks.txt", 400, "", 0,
                              1, 1, 600, 2, 1, 1, "", 50, (folder + "run.log").c_str(), 60);
  int most = std::min(pages, GLOBAL_MAX_PAGES);
  EXPECT_TRUE(made >= 0 && made <= most) << made;
  std::string file = read_file(folder + "briks.txt");
  std::vector<std::string> ids = brik_fields(file, "block_ID"), on = brik_fields(file, "master_index");
  for (size_t k = 0; k < ids.size(); k++) {
    EXPECT_EQ(ids[k], std::to_string(k)) << "records numbered in order";
    EXPECT_TRUE(atoi(on[k].c_str()) >= 1 && atoi(on[k].c_str()) <= most) << "page " << on[k];
  }
  EXPECT_EQ(file.size(), file.empty() ? 0 : file.rfind("<END_BLOCK>\n") + 12) << "no broken record at the end";
  EXPECT_LE(made, static_cast<int>(std::set<std::string>(on.begin(), on.end()).size()));
  EXPECT_EQ(GLOBAL_BRIK_SIZE * 1000 + MAX_CHUNK_SIZE, 400600) << "the run's settings are untouched";
  EXPECT_EQ(log_stream, stdout);
  for (const char* f : {"briks.txt", "run.log", "hostile.pdf"}) remove((folder + f).c_str());
}

TEST(HostileInput, StructuredDocumentsWithDamage) {
  Dice d(20261121);
  for (int k = 0; k < 80; k++) {
    int pages = 0;
    std::string doc = structured(d, &pages);
    bool mutated = d.chance(40);
    run_one(mutated ? mutate(d, doc) : doc, mutated ? 5000 : pages);  // a mutation may add pages
  }
}

TEST(HostileInput, ObjectSoups) {
  Dice d(20261122);
  for (int k = 0; k < 60; k++) run_one(soup(d));
}

TEST(HostileInput, MutatedTestData) {
  Dice d(20261123);
  std::vector<std::string> originals;
  for (const char* f : {"table_office.pdf", "text_poster_ps.pdf"})
    originals.push_back(read_file(std::string(PDFBRIKS_TEST_DATA) + "/" + f));
  for (int k = 0; k < 120; k++) run_one(mutate(d, originals[d.below(static_cast<int>(originals.size()))]));
}

}  // namespace
