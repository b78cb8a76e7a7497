// tests/test_page_tree.cpp -- the page tree walk: levels, kids lists, the page cap and its
// warnings; and whole documents through the document builder and the single-file entry.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

static std::string refs(const std::vector<int>& numbers) {
  std::string s;
  for (int n : numbers) s += std::to_string(n) + " 0 R ";
  return s;
}

static std::vector<int> range(int first, int count) {
  std::vector<int> v;
  for (int k = 0; k < count; k++) v.push_back(first + k);
  return v;
}

// Loads the bytes, takes object 1 as the catalog and walks the tree; returns the page numbers.
struct WalkedTree {
  explicit WalkedTree(const std::string& bytes) : doc(bytes) {
    get_obj(1);
    catalog = global_tmp_obj;
    result = catalog_to_page_handler(catalog.dict_start, catalog.dict_stop);
    for (int p = 0; p < global_page_count && p < GLOBAL_MAX_PAGES; p++) pages.push_back(Pages[p].page_obj);
  }
  LoadedDoc doc;
  int result = 0;
  std::vector<int> pages;
};

TEST(PageTree, FlatAndNestedTreesGiveDocumentOrder) {
  std::vector<std::string> contents(64, text_lines_content({"x"}));
  std::vector<int> want;
  for (int k = 0; k < 64; k++) want.push_back(10 + 2 * k);
  for (int fanout : {0, 3, 2}) {  // flat; four levels; pages at level 6
    WalkedTree t(simple_text_pdf(contents, fanout).build(Xref::sound));
    EXPECT_EQ(t.result, 0);
    EXPECT_EQ(t.pages, want) << "fanout " << fanout;
  }
}

TEST(PageTree, KidsListQuirks) {
  struct Row { std::string kids; std::string extra; std::vector<int> want; const char* why; };
  const Row rows[] = {
      {"[10 0 R 0 0 R 11 0 R]", "", {10}, "0 0 R ends the list"},
      {"[10 0 R 12 0 R 11 0 R]", "", {10, 11}, "a missing kid is passed over"},
      {"[10 0 R 20 0 R]", "20 0 obj<</Type/Font/BaseFont/X>>endobj\n", {10, 20}, "a font is stored as a page"},
      {"[10 0 R 21 0 R]", "21 0 obj<</Type/Page/PagesX 1>>endobj\n", {10}, "/PagesX makes a node without kids"},
  };
  for (const Row& r : rows) {
    std::string bytes = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids" + r.kids +
                        ">>endobj\n10 0 obj<</Type/Page>>endobj\n11 0 obj<</Type/Page>>endobj\n" + r.extra;
    WalkedTree t(bytes);
    EXPECT_EQ(t.pages, r.want) << r.why;
  }
  std::string hit_in_longer_key = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                                  "2 0 obj<</KidsX[11 0 R]/Kids[10 0 R]>>endobj\n"
                                  "10 0 obj<</Type/Page>>endobj\n11 0 obj<</Type/Page>>endobj\n";
  EXPECT_EQ(WalkedTree(hit_in_longer_key).pages, std::vector<int>{11}) << "Kids is hit first in KidsX";
}

TEST(PageTree, CountMismatchIsOnlyLogged) {
  std::string bytes = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                      "2 0 obj<</Type/Pages/Count 10/Kids[" + refs(range(10, 9)) + "]>>endobj\n";
  for (int n = 10; n < 19; n++) bytes += std::to_string(n) + " 0 obj<</Type/Page>>endobj\n";
  LogCapture log(10);
  WalkedTree t(bytes);
  EXPECT_EQ(t.pages.size(), 9u);
  EXPECT_EQ(log.text(),
            "DEBUG: pdf_parser - page count - 10- pages_found - 9 \n"
            "DEBUG: pdf_parser - potential error - page_count not the same as global_page_count - 10 - 9 \n");
}

TEST(PageTree, MissingRoot) {
  std::string no_pages = "%PDF-1.7\n1 0 obj<</Type/Catalog>>endobj\n";
  std::string lost_root = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 7 0 R>>endobj\n";
  int saved = debug_mode;
  {
    LogCapture log(39);
    debug_mode = 0;
    EXPECT_EQ(WalkedTree(no_pages).result, 0);
    EXPECT_EQ(log.text(), "WARNING: pdf_parser - pdf could not find page_root_obj - exiting. \n"
                          "WARNING: pdf_parser - could not find page_root_obj - exiting - -1 \n");
  }
  {
    LogCapture log(39);
    debug_mode = 3;
    EXPECT_EQ(WalkedTree(lost_root).result, -1);
    EXPECT_EQ(log.text(), "WARNING: pdf_parser - could not find page_root_obj - exiting - 7 \n"
                          "WARNING: pdf_parser - could not find /Page root str - exiting. \n");
  }
  debug_mode = saved;
}

// A tree whose pages (numbers from 10000) hang at level `depth`: a chain of single-kid nodes
// 100, 101, ... above them. The level 3 node also lists 5000 missing kids, so that its count,
// which bounds the copy of level 5, is large; missing kids are passed over.
static std::string deep_tree(int depth, int pages) {
  std::string s = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n";
  std::vector<int> root_kids = depth == 1 ? range(10000, pages) : std::vector<int>{100};
  s += "2 0 obj<</Type/Pages/Kids[" + refs(root_kids) + "]>>endobj\n";
  for (int level = 1; level < depth; level++) {
    int node = 100 + level - 1;
    std::string kids = level == depth - 1 ? refs(range(10000, pages)) : refs({node + 1});
    if (level == 3 && depth >= 5) kids += refs(std::vector<int>(5000, 99999));
    s += std::to_string(node) + " 0 obj<</Type/Pages/Kids[" + kids + "]>>endobj\n";
  }
  for (int k = 0; k < pages; k++) s += std::to_string(10000 + k) + " 0 obj<</Type/Page>>endobj\n";
  return s;
}

TEST(PageTree, PageCapPerLevel) {
  struct Row { int depth; int count; const char* line; int limit; };
  const Row rows[] = {
      {1, 5000, "WARNING:  pdf_parser - too many pages - exceeded GLOBAL_MAX_PAGES = 5000 \n", 39},
      {2, 5000, "WARNING:  pdf_parser - too many pages - exceeded cap of GLOBAL_MAX_PAGES = 5000 \n", 39},
      {3, 5000, "WARNING:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES = 5000 \n", 39},
      {4, 5000, "WARNING: pdf_parser -             too many pages - exceeded           cap - GLOBAL_MAX_PAGES =            5000 \n", 39},
      {5, 5001, "DEBUG:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES = 5000 \n", 9},
      {6, 5001, "DEBUG: pdf_parser - too many pages - exceeded cap \n", 9},
  };
  for (const Row& r : rows) {
    LogCapture log(r.limit);
    WalkedTree t(deep_tree(r.depth, 5002));
    EXPECT_EQ(global_page_count, r.count) << "depth " << r.depth;
    EXPECT_EQ(t.pages.back(), 10000 + GLOBAL_MAX_PAGES - 1);
    EXPECT_EQ(Pages[GLOBAL_MAX_PAGES].page_obj, 0) << "the spare entry is never written";
    std::string text = log.text();
    int lines = 0;
    for (size_t at = text.find(r.line); at != std::string::npos; at = text.find(r.line, at + 1)) lines++;
    EXPECT_EQ(lines, r.depth <= 4 ? 2 : 1) << "depth " << r.depth << ": once per page past the cap";
  }
}

TEST(PageTree, LinesAppearOnlyUpToTheirLimit) {
  struct Row { std::string bytes; const char* line; int limit; };
  std::string mismatch = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n"
                         "2 0 obj<</Type/Pages/Count 3/Kids[10 0 R]>>endobj\n10 0 obj<</Type/Page>>endobj\n";
  const Row rows[] = {
      {deep_tree(1, 5001), "WARNING:  pdf_parser - too many pages - exceeded GLOBAL_MAX_PAGES = 5000 \n", 39},
      {deep_tree(5, 5001), "DEBUG:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES", 9},
      {mismatch, "DEBUG: pdf_parser - potential error - page_count not the same as global_page_count - 3 - 1 \n", 10},
      {"%PDF-1.7\n1 0 obj<</Type/Catalog>>endobj\n", "WARNING: pdf_parser - pdf could not find page_root_obj", 39},
  };
  for (const Row& r : rows) {
    for (int level : {r.limit, r.limit + 1}) {
      LogCapture log(level);
      WalkedTree t(r.bytes);
      EXPECT_EQ(find(log.text(), r.line) != -1, level == r.limit) << r.line << " at level " << level;
    }
  }
}

TEST(PageTree, DeepLevels) {
  {
    LogCapture log(9);
    WalkedTree t(deep_tree(6, 2));
    EXPECT_EQ(t.pages, (std::vector<int>{10000, 10001}));
    std::string text = log.text();
    EXPECT_NE(find(text, "DEBUG:  pdf_parser - catalog_to_page handler - need 6th loop - unusual nested loop "
                         "-more pages- handlingDEBUG:  pdf_parser - dict found- very unlikely nesting pattern -"),
              -1);
    EXPECT_NE(find(text, "DEBUG:  pdf_parser - unusual case- found Pages deep nested loop - Found last page - "
                         "<</Type/Page> \n"),
              -1);
  }
  {
    LogCapture log(50);
    WalkedTree t(deep_tree(7, 2));
    EXPECT_TRUE(t.pages.empty()) << "pages below six levels are lost";
    EXPECT_EQ(log.text(),
              "DEBUG:  pdf_parser - unusual case - did not find all pages - still more pages  nested at "
              "layer 7 - not currently handled - 105 \n")
        << "written at every level, with the node's number";
  }
}

TEST(PageTree, LevelFiveCopiesAsManyAsLevelFour) {
  // Level 4's list has one entry (node 103), so level 5 copies one kid of 103's three.
  std::string s = "%PDF-1.7\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Kids[100 0 R]/Type/Pages>>endobj\n"
                  "100 0 obj<</Type/Pages/Kids[101 0 R]>>endobj\n101 0 obj<</Type/Pages/Kids[102 0 R]>>endobj\n"
                  "102 0 obj<</Type/Pages/Kids[103 0 R]>>endobj\n103 0 obj<</Type/Pages/Kids[10 0 R 11 0 R 12 0 R]>>endobj\n"
                  "10 0 obj<</Type/Page>>endobj\n11 0 obj<</Type/Page>>endobj\n12 0 obj<</Type/Page>>endobj\n";
  EXPECT_EQ(WalkedTree(s).pages, std::vector<int>{10});
}

// ---- whole documents ----

TEST(Documents, MultiLevelTreeWithBrokenXrefThroughTheEntry) {
  std::vector<std::string> contents(40, text_lines_content({"Hello world"}));
  std::string folder = make_temp_dir("entry");
  write_file(folder + "deep.pdf", simple_text_pdf(contents, 3).build(Xref::broken));
  std::string log_path = folder + "run.log";
  int pages = add_one_pdf_opts("acct", "lib", folder.c_str(), "deep.pdf", folder.c_str(), "briks.txt", 400, "",
                               0, 1, 1, 600, 2, 1, 1, "", 10, log_path.c_str(), 60);
  EXPECT_GE(pages, 0) << "no crash, no refusal";
  EXPECT_LE(pages, 40) << "pages that yielded briks, as the text passes cut them";
  EXPECT_NE(find(read_file(log_path), "DEBUG: pdf_parser - page count - 40- pages_found - 40 \n"), -1);
}
