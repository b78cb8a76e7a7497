// tests/test_table_grid.cpp -- the cell capture and the end-of-call table test, driven directly:
// cells are closed with table_close_pending_cell from crafted positions, and table_reconstruct
// is run on the grid they make.
#include <memory>

#include "suite.h"

namespace {

struct Cell { float x; std::string text; };

// Owns the buffers the page text would own, a document's Briks and the run values the table
// test reads.
class TableGrid : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto* b : {&cell_buf_, &core_buf_, &out_buf_}) b->assign(CORE_TEXT_SIZE, 0);
    head_buf_.assign(PAGE_HEADLINE_SIZE, 0);
    cell_text = cell_buf_.data();
    core_text = core_buf_.data();
    core_text_out = out_buf_.data();
    page_headline = head_buf_.data();
    doc_ = std::make_unique<LoadedDoc>("%PDF-1.7\n", false);
    dir_ = make_temp_dir("table_grid");
    global_image_fp = dir_.data();
    global_write_to_filename = global_account_name = global_library_name = global_time_stamp = name_.data();
    GLOBAL_WRITE_TO_DB = 0;
    TABLE_STRATEGY = TABLE_GRID = GLOBAL_GET_HEADER_TEXT = 1;
    global_table_count = master_brik_tracker = 0;
    layout_jump_count = 12;
    reset();
  }
  void TearDown() override {
    doc_.reset();
    cell_text = core_text = core_text_out = page_headline = nullptr;
    TABLE_STRATEGY = TABLE_GRID = 1;
  }
  void reset() {
    table_grid_begin();
    cell_ready = 0;
    last_x = last_y = tm_x = tm_y = 0;
  }
  // One closing of the pending cell, as the page text does it at a jump.
  int close(const std::string& text, float x, float y) {
    strcpy(cell_text, text.c_str());
    cell_ready = 1;
    last_x = x;
    last_y = y;
    return table_close_pending_cell();
  }
  void row(float y, const std::vector<Cell>& cells) { for (const Cell& c : cells) close(c.text, c.x, y); }
  // `rows` rows of `cols` cells, columns 60 apart from x 100, rows 20 apart from `first_y`.
  void grid(int rows, int cols, const std::string& text, float first_y = 700) {
    for (int r = 0; r < rows; r++)
      for (int c = 0; c < cols; c++) close(text, 100.0f + 60 * c, first_y - 20 * r);
  }
  void newest() { close("newest", 100, 10); }  // the newest row, which the test always leaves out
  std::string table() { return Briks[global_brik_counter - 1].table.c_str(); }
  // One written row with marks: row number `r`, the cells' texts in columns A, B, ...
  static std::string marks(int r, const std::vector<std::string>& cells) {
    std::string s = " <tr>";
    for (size_t c = 0; c < cells.size(); c++) s += " <th> <" + std::string(1, 'A' + c) + std::to_string(r) + "> " + cells[c] + " </th>";
    return s + "  </tr> ";
  }

  std::vector<char> cell_buf_, core_buf_, out_buf_, head_buf_;
  std::unique_ptr<LoadedDoc> doc_;
  std::string dir_, name_ = "tables";
};

// ---- capture ----

TEST_F(TableGrid, RowsJoinWithinTwoUnitsOfTheTruncatedY) {
  struct { float y2; bool joins; const char* why; } rows[] = {
      {701.9f, true, "1.9 above the row's 700"}, {698.1f, true, "1.9 below"}, {702.0f, false, "exactly 2 is apart"},
      {698.0f, false, "exactly 2 below"}, {702.5f, false, "1.6 from the first y but 2.5 from its truncation 700"}};
  EXPECT_EQ(close("12.5", 100.7f, 700.6f), 1) << "the first cell opens row 1";
  EXPECT_EQ(std::string(grid_cells[1][0].text) + " " + std::to_string(grid_cells[1][0].x) + " " + std::to_string(row_y[1]) +
            std::to_string(cells_total) + cell_text + std::to_string(cell_ready), "12.5 100 70010") << "truncated";
  for (auto& r : rows) {
    reset();
    close("a", 100, 700.9f);
    EXPECT_EQ(close("b", 160, r.y2), r.joins ? 0 : 1) << r.why;
    EXPECT_EQ(grid_rows[1].cell_count, r.joins ? 2 : 1) << r.why;
    if (r.joins) { EXPECT_EQ(grid_cells[1][1].y, 700) << "a joined cell takes the row's y"; }
  }
  reset();
  close("a", 100, 700);
  close("b", 100, 703);
  EXPECT_EQ(close("c", 160, 701.5f), 0);  // 1.5 from both rows
  EXPECT_EQ(grid_rows[1].cell_count, 2) << "the first matching row wins";
}

TEST_F(TableGrid, CellsThatAreNotStored) {
  struct { std::string text; int ready; bool stored; const char* why; } rows[] = {
      {std::string(100, '7'), 1, true, "100 bytes is the longest stored cell"},
      {std::string(101, '7'), 1, false, "101 bytes is never stored"},
      {"   ", 1, false, "blanks only"}, {"", 1, false, "nothing pending"}, {"12", 0, false, "not ready"}};
  for (auto& r : rows) {
    reset();
    strcpy(cell_text, r.text.c_str());
    cell_ready = r.ready;
    last_x = 100;
    last_y = 500;
    table_close_pending_cell();
    EXPECT_EQ(cells_total, r.stored ? 1 : 0) << r.why;
    EXPECT_EQ(std::string(cell_text), r.stored ? "" : r.text) << r.why << ": left pending";
  }
  reset();
  close("1", 100, 700);
  close(std::string(101, 'a'), 100, 680);
  close(std::string(cell_text) + "5", 100, 660);
  EXPECT_EQ(cells_total, 1) << "a long cell keeps growing: capture is over for the call";
  EXPECT_EQ(strlen(cell_text), 102u);
  reset();
  close("  ", 100, 700);
  close(std::string(cell_text) + "42", 100, 700);
  EXPECT_STREQ(grid_cells[1][0].text, "  42") << "a blank cell leads the next one";
}

TEST_F(TableGrid, RowZeroFooterAndRowNinetyNine) {
  EXPECT_EQ(close("foot", 100, 1.5f) + close("foot", 100, -1.9f), 0);
  EXPECT_EQ(grid_rows[0].cell_count, 2) << "row 0 takes fragments near y 0";
  EXPECT_EQ(close("up", 100, 2.0f), 1);
  reset();
  for (int r = 0; r < 30; r++) close("x", 100, 700.0f - 10 * r);
  EXPECT_EQ(close("footer", 300, 701), 0) << "a far footer joins an early row";
  reset();
  for (int r = 0; r < 99; r++) close("r", 100, 1000.0f + 10 * r);
  close("second", 160, 1980);
  EXPECT_EQ(close("over", 100, 5000), 1);
  EXPECT_EQ(grid_row, 99);
  EXPECT_EQ(row_y[99], 5000);
  EXPECT_EQ(grid_rows[99].cell_count, 1) << "row 99 is overwritten";
  EXPECT_EQ(cells_total, 101);
}

TEST_F(TableGrid, CellsPastFiftyAreCountedNotStored) {
  strcpy(grid_cells[2][0].text, "untouched");
  LogCapture log(9);
  for (int c = 0; c < 52; c++) close(std::to_string(c), 100.0f + c, 700);
  EXPECT_EQ(grid_rows[1].cell_count, 52);
  EXPECT_STREQ(grid_cells[1][49].text, "49");
  EXPECT_STREQ(grid_cells[2][0].text, "untouched");
  EXPECT_EQ(log.text(), "") << "capture reports nothing, even at the deepest level";
}

// ---- the gate, the newest row, the mode and the content ----

TEST_F(TableGrid, GateNewestRowAndMode) {
  struct { int rows, cols, strategy, jumps, cells, made; const char* why; } rows[] = {
      {6, 5, 1, 12, -1, 1, "rows 1-5 of 5 and the newest row 6"}, {6, 5, 0, 12, -1, 0, "strategy 0"},
      {6, 5, -1, 12, -1, 0, "negative strategy"}, {6, 5, 3, 12, -1, 1, "other positive: strict"},
      {6, 5, 1, 11, -1, 0, "11 jumps"}, {6, 5, 1, 12, 19, 0, "19 cells"}, {6, 5, 1, 12, 20, 1, "20 cells"},
      {5, 5, 1, 12, 100, 0, "4 rows counted: strict fails"}, {5, 5, 2, 12, 100, 1, "loose passes"},
      {3, 5, 2, 12, 100, 0, "2 rows: loose fails too"}, {8, 3, 1, 12, -1, 0, "3 columns: strict fails"},
      {8, 3, 2, 12, -1, 1, "3 columns: loose"}, {7, 4, 1, 12, -1, 1, "4 columns"}, {7, 10, 1, 12, -1, 1, "10"},
      {7, 11, 1, 12, -1, 0, "11: strict fails"}, {7, 14, 2, 12, -1, 1, "14: loose"}, {7, 15, 2, 12, -1, 0, "15"}};
  for (auto& r : rows) {
    reset();
    grid(r.rows, r.cols, "123456");
    TABLE_STRATEGY = r.strategy;
    layout_jump_count = r.jumps;
    if (r.cells >= 0) cells_total = r.cells;
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
  }
}

TEST_F(TableGrid, ModeTieAndWideRows) {
  grid(5, 5, "123456");
  grid(5, 4, "123456", 500);
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_EQ(find(table(), "<th> <E"), -1) << "a tie takes the smaller count: columns stop at D";
  EXPECT_NE(find(table(), "<th> <D6> 123456 </th>"), -1);
  reset();
  grid(8, 22, "1");  // more rows than any other count, but too wide to be the mode
  grid(5, 4, "123456", 500);
  for (int c = 0; c < 120; c++) close("9", 100.0f + c, 300);  // past storage and histogram
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_NE(find(table(), "<th> <D9> 123456 </th>"), -1);
}

TEST_F(TableGrid, ContentTest) {
  struct { int total, data; char d; int strategy, made; const char* why; } rows[] = {
      {100, 100, '1', 1, 0, "100 bytes fail the strict test"}, {101, 15, '1', 1, 0, "15/101 is below 0.15"},
      {101, 16, '1', 1, 1, "16/101 is above"}, {101, 16, 'x', 1, 1, "x counts as data"},
      {101, 16, 'X', 1, 1, "X too"}, {101, 16, '.', 1, 0, "a point does not"},
      {26, 0, '1', 2, 1, "loose: more than 25 bytes, no ratio"}, {25, 25, '1', 2, 0, "loose: 25 are too few"}};
  for (auto& r : rows) {
    reset();
    std::string all = std::string(r.data, r.d) + std::string(r.total - r.data, 'a');
    for (int i = 0, at = 0; i < 25; i++) {  // 25 cells of the mode rows holding the bytes
      int len = r.total / 25 + (i < r.total % 25 ? 1 : 0);
      close(all.substr(at, len), 100.0f + 60 * (i % 5), 700.0f - 20 * (i / 5));
      at += len;
    }
    close("999999999999", 100, 10);  // the newest row's digits don't count
    TABLE_STRATEGY = r.strategy;
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
  }
}

// ---- writing the table ----

TEST_F(TableGrid, FullRowsWithMarks) {
  grid(5, 5, "12345");
  newest();
  ASSERT_EQ(table_reconstruct(2, 4), 1);
  std::string t = table();
  std::string row1 = marks(1, std::vector<std::string>(5, "12345"));
  EXPECT_EQ(t.substr(0, 13 + row1.size()), " <tr>  </tr> " + row1) << "row 0 is an empty short row";
  EXPECT_EQ(t.size(), 13 + 5 * row1.size() + 12);
  EXPECT_EQ(t.substr(t.size() - 19), " </tr>  </th> </tr>");
}

// Five full rows (columns end at 100, 160, 220, 280, 340), then row 6 as given, then the newest.
TEST_F(TableGrid, ShortAndLongRows) {
  struct { std::vector<Cell> cells; int marks; std::string expect, plain; const char* why; } rows[] = {
      {{{101, "a"}, {221, "b"}, {339, "c"}}, 1, marks(6, {"a", "", "b", "", "c"}), "", "short: cell, empty, cell, empty, cell"},
      {{{339, "a"}, {101, "b"}}, 1, marks(6, {"", "", "", "", "a", "b"}), "", "a cell is never moved back"},
      {{{130, "a"}}, 1, marks(6, {"a"}), "", "a tie goes to the lower column"},
      {{{160, "a"}, {280, "b"}}, 1, marks(6, {"", "a", "", "b"}), "", "no fill right of the last cell"},
      {{{101, "a"}, {221, "b"}}, 0, "a\t \tb\t\r\n", "", "short without marks: blank and tab"},
      {{{100, "a"}, {110, "b"}, {160, "c"}, {220, "d"}, {280, "e"}, {340, "f"}}, 1, marks(6, {"ab", "c", "d", "e"}),
       "a b c d e f ", "long: neighbours join; the last cell is in the plain text only"},
      {{{100, "a"}, {105, "b"}, {160, "c"}, {170, "d"}, {220, "e"}, {280, "f"}, {340, "g"}}, 1, marks(6, {"ab", "c", "d", "e"}),
       "a b c d e f g ", "d is measured against the row's cell 1 (105), not c (160)"},
      {{{100, "a"}, {110, "b"}, {160, "c"}, {220, "d"}, {280, "e"}, {340, "f"}}, 0, "ab\tc\td\te\t\r\n", "a b c d e f ",
       "long without marks: tabs"}};
  for (auto& r : rows) {
    reset();
    TABLE_GRID = r.marks;
    grid(5, 5, "12345");
    row(400, r.cells);
    newest();
    ASSERT_EQ(table_reconstruct(0, 1), 1) << r.why;
    std::string t = table();
    EXPECT_EQ(t.substr(r.marks ? t.find(" <tr> <th> <A6>") : 2 + 5 * 27, r.expect.size()), r.expect) << r.why;
    std::string plain = Briks[global_brik_counter - 1].text.c_str();
    EXPECT_EQ(plain.substr(plain.size() - r.plain.size()), r.plain) << r.why;
  }
}

TEST_F(TableGrid, ColumnPositionsAreTruncatedMeans) {
  // Column 1 ends at 150 four times and 154 once: mean 150.8, kept as 150. A cell at 125 is then
  // 25 from column 1 and 26 from column 0 (99), so it goes to column 1.
  for (int k = 0; k < 5; k++)
    row(700.0f - 20 * k, {{99, "111111"}, {k == 4 ? 154.0f : 150.0f, "222222"}, {200, "333333"}, {250, "444444"}});
  row(400, {{125, "a"}});
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_NE(find(table(), marks(6, {"", "a"})), -1);
}

// ---- the table brik ----

TEST_F(TableGrid, BrikFields) {
  strcpy(Briks[0].external_files, "junk.png");
  strcpy(page_headline, "Annual Report ");
  strcpy(core_text, "text that the briks took already");
  tm_x = 72.9f;
  tm_y = -15.5f;
  global_table_count = 41;
  grid(5, 4, "1.2345");
  newest();
  ASSERT_EQ(table_reconstruct(3, 7), 1);
  EXPECT_EQ(global_brik_counter, 1);
  EXPECT_EQ(global_table_count, 42);
  const BrikRecord& b = Briks[0];
  EXPECT_STREQ(b.content_type, "table");
  EXPECT_STREQ(b.file_type, "pdf");
  EXPECT_EQ(std::vector<int>({b.master_index, b.coords_cx, b.sub_index, b.coords_cy, b.coords_x, b.coords_y}),
            std::vector<int>({3, 3, 6, 6, 72, -15}));
  EXPECT_STREQ(b.external_files, "");
  EXPECT_STREQ(b.header_text, "Annual Report ");
  std::string plain;
  for (int i = 0; i < 20; i++) plain += "1.2345 ";
  EXPECT_EQ(std::string(b.text), plain);
  EXPECT_EQ(std::string(core_text), plain) << "core_text takes the plain text";
}

TEST_F(TableGrid, HeaderAndTextRules) {
  struct { int get_header; const char* headline; int out_len; bool header, text; const char* why; } rows[] = {
      {1, "Head ", 0, true, true, "headline shown"}, {0, "Head ", 0, false, true, "header option off"},
      {1, "", 0, false, true, "no headline"}, {1, "Head ", 48999, true, true, "a last chunk of 48999 leaves the text"},
      {1, "Head ", 49000, true, false, "a last chunk of 49000 bytes empties it"}};
  for (auto& r : rows) {
    reset();
    GLOBAL_GET_HEADER_TEXT = r.get_header;
    strcpy(page_headline, r.headline);
    memset(core_text_out, 'w', r.out_len);
    core_text_out[r.out_len] = 0;
    grid(5, 5, "12345");
    newest();
    ASSERT_EQ(table_reconstruct(0, 1), 1) << r.why;
    EXPECT_EQ(std::string(Briks[global_brik_counter - 1].header_text), r.header ? r.headline : "") << r.why;
    EXPECT_EQ(Briks[global_brik_counter - 1].text[0] != 0, r.text) << r.why;
  }
}

TEST_F(TableGrid, CellsStopAt99000AndTheTableGoesPast99500) {
  // Ten columns of 100-byte cells: about 1190 bytes a row, so 99000 is reached near row 84.
  for (int rows : {86, 99}) {
    reset();
    grid(rows, 10, std::string(100, '7'), 2100);
    newest();
    LogCapture log(9);
    EXPECT_EQ(table_reconstruct(0, 1), rows == 86 ? 1 : 0) << "a few rows past 99000 still fit under 99500";
    EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - writing table_text_out_final -  <tr>"), -1);
    EXPECT_TRUE(strlen(core_text) > 48000u && strlen(core_text) < 49000u);
    if (rows == 99) continue;
    EXPECT_TRUE(table().size() >= 99000u && table().size() < 99512u);
    EXPECT_NE(find(table(), " <tr> <th> <A<th> <B<th> <C<th> <D<th> <E<th> <F<th> <G<th> <H<th> <I<th> <J </tr> "), -1)
        << "a full row past the limit keeps only its unconditional marks";
  }
}

TEST_F(TableGrid, StrictFlush) {
  grid(5, 5, "12345");
  newest();
  global_brik_counter = 1009;
  LogCapture log(9);
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_EQ(global_brik_counter, 1010) << "1010 is not above 1010: no flush";
  EXPECT_EQ(master_brik_tracker, 0);
  ASSERT_EQ(table_reconstruct(1, 1), 1);  // the array is full: the flush goes first
  EXPECT_EQ(master_brik_tracker, 1010);
  EXPECT_EQ(global_brik_counter, 1);
  EXPECT_EQ(Briks[0].master_index, 1);
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - global_block_counter > 1000 - writing to disk now - 1010 \n"), -1);
}

}  // namespace
