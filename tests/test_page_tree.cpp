// tests/test_page_tree.cpp -- the page tree walk: levels, kids lists, the page cap and its
// warnings.
#include "suite.h"

namespace {

std::string refs(int first, int count) {
  std::string s;
  for (int k = 0; k < count; k++) s += std::to_string(first + k) + " 0 R ";
  return s;
}

const std::string kCatalog = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n";

// Loads the bytes, takes object 1 as the catalog and walks the tree.
struct WalkedTree {
  explicit WalkedTree(const std::string& bytes) : doc(bytes) {
    get_obj(1);
    catalog = global_tmp_obj;  // the walk reads the catalog's record
    result = catalog_to_page_handler(catalog.dict_start, catalog.dict_stop);
    for (int p = 0; p < global_page_count && p < GLOBAL_MAX_PAGES; p++) pages.push_back(Pages[p].page_obj);
  }
  LoadedDoc doc;
  int result = 0;
  std::vector<int> pages;
};

TEST(PageTree, TreesGiveDocumentOrderAndKidsListQuirks) {
  std::vector<int> want;
  for (int k = 0; k < 64; k++) want.push_back(10 + 2 * k);
  for (int fanout : {0, 3, 2}) {  // flat; four levels; pages at level 6
    WalkedTree t(simple_text_pdf(std::vector<std::string>(64, text_lines_content({"x"})), fanout).build());
    EXPECT_EQ(t.result, 0);
    EXPECT_EQ(t.pages, want) << "fanout " << fanout;
  }
  const std::string pages = "10 0 obj<</Type/Page>>endobj\n11 0 obj<</Type/Page>>endobj\n";
  struct { std::string tree; std::vector<int> want; const char* why; } rows[] = {
      {"<</Type/Pages/Kids[10 0 R 0 0 R 11 0 R]>>", {10}, "0 0 R ends the list"},
      {"<</Type/Pages/Kids[10 0 R 12 0 R 11 0 R]>>", {10, 11}, "a missing kid is passed over"},
      {"<</Type/Pages/Kids[10 0 R 20 0 R]>>endobj\n20 0 obj<</Type/Font/BaseFont/X>>", {10, 20}, "a font is stored as a page"},
      {"<</Type/Pages/Kids[10 0 R 21 0 R]>>endobj\n21 0 obj<</Type/Page/PagesX 1>>", {10}, "/PagesX: a node without kids"},
      {"<</KidsX[11 0 R]/Kids[10 0 R]>>", {11}, "Kids is hit first in KidsX"},
      // Level 4's list has one entry (node 103), so level 5 copies one kid of 103's three.
      {"<</Kids[100 0 R]/Type/Pages>>endobj\n100 0 obj<</Type/Pages/Kids[101 0 R]>>endobj\n101 0 obj<</Type/Pages/Kids"
       "[102 0 R]>>endobj\n102 0 obj<</Type/Pages/Kids[103 0 R]>>endobj\n103 0 obj<</Type/Pages/Kids[10 0 R 11 0 R 12 0 R]>>",
       {10}, "level five copies as many as level four"}};
  for (auto& r : rows) EXPECT_EQ(WalkedTree(kCatalog + "2 0 obj" + r.tree + "endobj\n" + pages).pages, r.want) << r.why;
}

// A tree whose pages (numbers from 10000) hang at level `depth`: a chain of single-kid nodes 100,
// 101, ... above them. The level 3 node also lists 5000 missing kids, so that its count, which
// bounds the copy of level 5, is large; missing kids are passed over.
std::string deep_tree(int depth, int pages) {
  std::string s = kCatalog + "2 0 obj<</Type/Pages/Kids[" + (depth == 1 ? refs(10000, pages) : "100 0 R ") + "]>>endobj\n";
  for (int level = 1; level < depth; level++) {
    std::string kids = level == depth - 1 ? refs(10000, pages) : refs(100 + level, 1);
    for (int k = 0; level == 3 && depth >= 5 && k < 5000; k++) kids += "99999 0 R ";
    s += std::to_string(99 + level) + " 0 obj<</Type/Pages/Kids[" + kids + "]>>endobj\n";
  }
  for (int k = 0; k < pages; k++) s += std::to_string(10000 + k) + " 0 obj<</Type/Page>>endobj\n";
  return s;
}

// Each line appears at its limit and not one level above.
void expect_line_at_limit(const std::string& bytes, const std::string& line, int limit, int times) {
  for (int level : {limit, limit + 1}) {
    LogCapture log(level);
    WalkedTree t(bytes);
    EXPECT_EQ(count_of(log.text(), line), level == limit ? times : 0) << line << " at level " << level;
  }
}

TEST(PageTree, PageCapPerLevel) {
  struct { int depth, count; const char* line; int limit; } rows[] = {
      {1, 5000, "WARNING:  pdf_parser - too many pages - exceeded GLOBAL_MAX_PAGES = 5000 \n", 39},
      {2, 5000, "WARNING:  pdf_parser - too many pages - exceeded cap of GLOBAL_MAX_PAGES = 5000 \n", 39},
      {3, 5000, "WARNING:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES = 5000 \n", 39},
      {4, 5000, "WARNING: pdf_parser -             too many pages - exceeded           cap - GLOBAL_MAX_PAGES =            5000 \n", 39},
      {5, 5001, "DEBUG:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES = 5000 \n", 9},
      {6, 5001, "DEBUG: pdf_parser - too many pages - exceeded cap \n", 9}};
  for (auto& r : rows) {
    std::string bytes = deep_tree(r.depth, 5002);
    expect_line_at_limit(bytes, r.line, r.limit, r.depth <= 4 ? 2 : 1);  // once per page past the cap
    WalkedTree t(bytes);
    EXPECT_EQ(global_page_count, r.count) << "depth " << r.depth;
    EXPECT_EQ(t.pages.back(), 10000 + GLOBAL_MAX_PAGES - 1);
    EXPECT_EQ(Pages[GLOBAL_MAX_PAGES].page_obj, 0) << "the spare entry is never written";
  }
}

TEST(PageTree, CountMismatchMissingRootAndDeepLevels) {
  std::string mismatch = kCatalog + "2 0 obj<</Type/Pages/Count 10/Kids[" + refs(10, 9) + "]>>endobj\n";
  for (int n = 10; n < 19; n++) mismatch += std::to_string(n) + " 0 obj<</Type/Page>>endobj\n";
  expect_line_at_limit(mismatch, "DEBUG: pdf_parser - page count - 10- pages_found - 9 \n"
                                 "DEBUG: pdf_parser - potential error - page_count not the same as global_page_count - 10 - 9 \n", 10, 1);
  int saved = debug_mode;
  struct { std::string bytes; int debug, result; std::string log; } rows[] = {
      {"%PDF-1.7\n1 0 obj<</Type/Catalog>>endobj\n", 0, 0, "WARNING: pdf_parser - pdf could not find page_root_obj - exiting. \n"
       "WARNING: pdf_parser - could not find page_root_obj - exiting - -1 \n"},
      {"%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 7 0 R>>endobj\n", 3, -1, "WARNING: pdf_parser - could not find page_root_obj - "
       "exiting - 7 \nWARNING: pdf_parser - could not find /Page root str - exiting. \n"}};
  for (auto& r : rows) {
    LogCapture log(39);
    debug_mode = r.debug;
    EXPECT_EQ(WalkedTree(r.bytes).result, r.result);
    EXPECT_EQ(log.text(), r.log);
    expect_line_at_limit(r.bytes, r.log.substr(0, 40), 39, 1);
  }
  debug_mode = saved;
  {
    LogCapture log(9);
    EXPECT_EQ(WalkedTree(deep_tree(6, 2)).pages, (std::vector<int>{10000, 10001}));
    EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - catalog_to_page handler - need 6th loop - unusual nested loop "
                               "-more pages- handlingDEBUG:  pdf_parser - dict found- very unlikely nesting pattern -"), -1);
    EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - unusual case- found Pages deep nested loop - Found last page - "
                               "<</Type/Page> \n"), -1);
  }
  LogCapture log(50);
  EXPECT_TRUE(WalkedTree(deep_tree(7, 2)).pages.empty()) << "pages below six levels are lost";
  EXPECT_EQ(log.text(), "DEBUG:  pdf_parser - unusual case - did not find all pages - still more pages  nested at "
                        "layer 7 - not currently handled - 105 \n") << "written at every level, with the node's number";
}

}  // namespace
