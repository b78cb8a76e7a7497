// tests/test_table_grid.cpp -- the cell capture and the end-of-call table test, driven directly:
// cells are closed with table_close_pending_cell from crafted positions, and table_reconstruct
// is run on the grid they make.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "doc_fixture.h"
#include "pdf_writer.h"
#include "run/run_state.h"
#include "text/table_grid.h"
#include "text/text.h"
#include "text/text_page_state.h"

using namespace pdftest;

namespace {

struct Cell {
  float x;
  std::string text;
};

// Owns the buffers that the page text would own, a document's Briks, and the run values the
// table test reads; restores the pointers afterwards.
class TableGrid : public ::testing::Test {
 protected:
  void SetUp() override {
    cell_buf_.assign(CELL_TEXT_SIZE, 0);
    core_buf_.assign(CORE_TEXT_SIZE, 0);
    out_buf_.assign(CORE_TEXT_SIZE, 0);
    head_buf_.assign(PAGE_HEADLINE_SIZE, 0);
    cell_text = cell_buf_.data();
    core_text = core_buf_.data();
    core_text_out = out_buf_.data();
    page_headline = head_buf_.data();
    doc_ = std::make_unique<LoadedDoc>("%PDF-1.7\n", false);
    dir_ = make_temp_dir("table_grid") + "/";
    global_image_fp = dir_.data();
    global_write_to_filename = name_.data();
    global_account_name = name_.data();
    global_library_name = name_.data();
    global_time_stamp = name_.data();
    GLOBAL_WRITE_TO_DB = 0;
    TABLE_STRATEGY = 1;
    TABLE_GRID = 1;
    GLOBAL_GET_HEADER_TEXT = 1;
    global_table_count = 0;
    master_brik_tracker = 0;
    layout_jump_count = 12;
    cell_ready = 0;
    last_x = last_y = 0;
    tm_x = tm_y = 0;
    table_grid_begin();
  }
  void TearDown() override {
    doc_.reset();
    cell_text = core_text = core_text_out = page_headline = nullptr;
    TABLE_STRATEGY = 1;
    TABLE_GRID = 1;
  }

  // One closing of the pending cell, as the page text does it at a jump.
  int close(const std::string& text, float x, float y) {
    strcpy(cell_text, text.c_str());
    cell_ready = 1;
    last_x = x;
    last_y = y;
    return table_close_pending_cell();
  }
  void row(float y, const std::vector<Cell>& cells) {
    for (const Cell& c : cells) close(c.text, c.x, y);
  }
  // `rows` rows of `cols` cells with `text`, columns 60 apart from x 100, rows 20 apart from y 700.
  void grid(int rows, int cols, const std::string& text, float first_y = 700) {
    for (int r = 0; r < rows; r++)
      for (int c = 0; c < cols; c++) close(text, 100.0f + 60 * c, first_y - 20 * r);
  }
  // The newest row, which the test always leaves out.
  void newest() { close("newest", 100, 10); }
  std::string table_of_last_brik() { return Briks[global_brik_counter - 1].table; }

  std::vector<char> cell_buf_, core_buf_, out_buf_, head_buf_;
  std::unique_ptr<LoadedDoc> doc_;
  std::string dir_;
  std::string name_ = "tables";
};

// ======================= capture =======================

TEST_F(TableGrid, FirstCellOpensRowOne) {
  EXPECT_EQ(close("12.5", 100.7f, 700.6f), 1);
  EXPECT_EQ(grid_row, 1);
  EXPECT_EQ(row_y[1], 700);  // truncated
  EXPECT_EQ(grid_rows[1].cell_count, 1);
  EXPECT_STREQ(grid_cells[1][0].text, "12.5");
  EXPECT_EQ(grid_cells[1][0].x, 100);  // right-hand end of the cell, truncated
  EXPECT_EQ(grid_cells[1][0].y, 700);
  EXPECT_EQ(cells_total, 1);
  EXPECT_STREQ(cell_text, "");
  EXPECT_EQ(cell_ready, 0);
  EXPECT_EQ(grid_rows[0].cell_count, 0);  // row 0 normally stays empty
}

TEST_F(TableGrid, RowsJoinWithinTwoUnitsOfTheTruncatedY) {
  struct {
    float y2;
    int joins;
    const char* why;
  } rows[] = {
      {701.9f, 1, "1.9 above the row's 700"},
      {698.1f, 1, "1.9 below"},
      {702.0f, 0, "exactly 2 is apart"},
      {698.0f, 0, "exactly 2 below is apart"},
      {702.5f, 0, "1.6 from the first y but 2.5 from its truncation 700"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    close("a", 100, 700.9f);
    EXPECT_EQ(close("b", 160, r.y2), r.joins ? 0 : 1) << r.why;
    EXPECT_EQ(grid_row, r.joins ? 1 : 2) << r.why;
    EXPECT_EQ(grid_rows[1].cell_count, r.joins ? 2 : 1) << r.why;
  }
}

TEST_F(TableGrid, JoinedCellTakesTheRowsY) {
  close("a", 100, 700);
  close("b", 160, 701.5f);
  EXPECT_EQ(grid_cells[1][1].y, 700);
  EXPECT_EQ(grid_cells[1][1].x, 160);
}

TEST_F(TableGrid, FirstMatchingRowWins) {
  close("a", 100, 700);
  close("b", 100, 703);
  EXPECT_EQ(close("c", 160, 701.5f), 0);  // 1.5 from both
  EXPECT_EQ(grid_rows[1].cell_count, 2);
  EXPECT_EQ(grid_rows[2].cell_count, 1);
}

TEST_F(TableGrid, CellsThatAreNotStored) {
  struct {
    std::string text;
    int ready;
    bool stored;
    const char* why;
  } rows[] = {
      {std::string(100, '7'), 1, true, "100 bytes is the longest stored cell"},
      {std::string(101, '7'), 1, false, "101 bytes is never stored"},
      {"   ", 1, false, "blanks only"},
      {"", 1, false, "nothing pending"},
      {"12", 0, false, "the cell is not ready"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    strcpy(cell_text, r.text.c_str());
    cell_ready = r.ready;
    last_x = 100;
    last_y = 500;
    table_close_pending_cell();
    EXPECT_EQ(cells_total, r.stored ? 1 : 0) << r.why;
    EXPECT_EQ(std::string(cell_text), r.stored ? "" : r.text) << r.why << ": left pending";
    EXPECT_EQ(cell_ready, 0) << r.why;
  }
}

TEST_F(TableGrid, LongCellEndsCaptureForTheCall) {
  close("1", 100, 700);
  close(std::string(101, 'a'), 100, 680);
  strcat(cell_text, "5");  // the next fragment joins the long pending text
  cell_ready = 1;
  last_y = 660;
  table_close_pending_cell();
  EXPECT_EQ(cells_total, 1);
  EXPECT_EQ(strlen(cell_text), 102u);
}

TEST_F(TableGrid, BlankCellLeadsTheNextOne) {
  close("  ", 100, 700);
  strcat(cell_text, "42");
  cell_ready = 1;
  table_close_pending_cell();
  EXPECT_STREQ(grid_cells[1][0].text, "  42");
}

TEST_F(TableGrid, RowZeroTakesFragmentsNearYZero) {
  EXPECT_EQ(close("foot", 100, 1.5f), 0);
  EXPECT_EQ(close("foot", 100, -1.9f), 0);
  EXPECT_EQ(grid_row, 0);
  EXPECT_EQ(grid_rows[0].cell_count, 2);
  EXPECT_EQ(close("up", 100, 2.0f), 1);
}

TEST_F(TableGrid, FarAwayFooterJoinsAnEarlyRow) {
  close("head", 100, 700);
  for (int r = 1; r < 30; r++) close("x", 100, 700.0f - 10 * r);
  EXPECT_EQ(close("footer", 300, 701), 0);
  EXPECT_EQ(grid_rows[1].cell_count, 2);
}

TEST_F(TableGrid, RowNinetyNineIsOverwritten) {
  for (int r = 0; r < 99; r++) close("r", 100, 1000.0f + 10 * r);
  EXPECT_EQ(grid_row, 99);
  close("second", 160, 1980);  // joins row 99 (y 1980)
  EXPECT_EQ(grid_rows[99].cell_count, 2);
  EXPECT_EQ(close("over", 100, 5000), 1);
  EXPECT_EQ(grid_row, 99);
  EXPECT_EQ(row_y[99], 5000);
  EXPECT_EQ(grid_rows[99].cell_count, 1);
  EXPECT_STREQ(grid_cells[99][0].text, "over");
  EXPECT_EQ(cells_total, 101);
}

TEST_F(TableGrid, CellsPastFiftyAreCountedNotStored) {
  strcpy(grid_cells[2][0].text, "untouched");
  LogCapture log(9);
  for (int c = 0; c < 52; c++) close(std::to_string(c), 100.0f + c, 700);
  EXPECT_EQ(grid_rows[1].cell_count, 52);
  EXPECT_EQ(cells_total, 52);
  EXPECT_STREQ(grid_cells[1][49].text, "49");
  EXPECT_STREQ(grid_cells[2][0].text, "untouched");
  EXPECT_STREQ(cell_text, "");
  EXPECT_EQ(log.text(), "") << "capture reports nothing, even at the deepest level";
}

TEST_F(TableGrid, BeginEmptiesTheGrid) {
  grid(3, 3, "1");
  close("z", 0, 0.5f);
  table_grid_begin();
  EXPECT_EQ(grid_row, 0);
  EXPECT_EQ(cells_total, 0);
  EXPECT_EQ(row_y[0], 0);
  for (int k = 0; k < 4; k++) EXPECT_EQ(grid_rows[k].cell_count, 0);
}

// ======================= the gate, the mode and the shape =======================

TEST_F(TableGrid, Gate) {
  struct {
    int strategy, jumps, cells;
    int made;
    const char* why;
  } rows[] = {
      {1, 12, -1, 1, "a plain five-column grid"},
      {0, 12, -1, 0, "strategy 0: the grid is filled, nothing is tested"},
      {-1, 12, -1, 0, "negative strategy"},
      {3, 12, -1, 1, "any other positive strategy is the strict test"},
      {1, 11, -1, 0, "11 jumps"},
      {1, 12, 19, 0, "19 cells"},
      {1, 12, 20, 1, "20 cells"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    grid(6, 5, "12345");
    newest();
    TABLE_STRATEGY = r.strategy;
    layout_jump_count = r.jumps;
    if (r.cells >= 0) cells_total = r.cells;
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
    EXPECT_EQ(grid_rows[1].cell_count, 5) << r.why;
  }
}

TEST_F(TableGrid, NewestRowIsLeftOut) {
  struct {
    int rows, strategy, made;
    const char* why;
  } rows[] = {
      {6, 1, 1, "rows 1-6, row 6 newest: 5 rows of 5"},
      {5, 1, 0, "rows 1-5: only 4 counted, strict fails"},
      {5, 2, 1, "rows 1-5: 4 counted, loose passes"},
      {3, 2, 0, "rows 1-3: 2 counted, loose fails too"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    grid(r.rows, 5, "123456");
    TABLE_STRATEGY = r.strategy;
    cells_total = 100;  // past the gate
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
  }
}

TEST_F(TableGrid, ModeWidth) {
  struct {
    int cols, strategy, made;
  } rows[] = {
      {3, 1, 0}, {3, 2, 1}, {4, 1, 1}, {10, 1, 1}, {11, 1, 0},
      {11, 2, 1}, {14, 2, 1}, {15, 2, 0}, {15, 1, 0},
  };
  for (auto& r : rows) {
    table_grid_begin();
    grid(7, r.cols, "123456");  // seven rows, so that three columns pass the gate's 20 cells
    newest();
    TABLE_STRATEGY = r.strategy;
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.cols << " columns, strategy " << r.strategy;
  }
}

TEST_F(TableGrid, ModeTieTakesTheSmallerCount) {
  grid(5, 5, "123456");
  grid(5, 4, "123456", 500);
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  // Mode 4: the five-cell rows are long rows, whose columns stop at D.
  EXPECT_EQ(find(table_of_last_brik(), "<th> <E"), -1);
  EXPECT_NE(find(table_of_last_brik(), "<th> <D6> 123456 </th>"), -1);
}

TEST_F(TableGrid, WideRowsCountButCannotBeTheMode) {
  grid(8, 22, "1");  // 8 rows of 22: more rows than any other count
  grid(5, 4, "123456", 500);
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_NE(find(table_of_last_brik(), "<th> <D9> 123456 </th>"), -1);
}

TEST_F(TableGrid, RowOfManyFragmentsStaysInsideTheGrid) {
  grid(6, 5, "12345");
  for (int c = 0; c < 120; c++) close("9", 100.0f + c, 300);  // 120 cells: past storage and histogram
  newest();
  EXPECT_EQ(grid_rows[7].cell_count, 120);
  EXPECT_EQ(table_reconstruct(0, 1), 1);
}

// ======================= content =======================

// 25 cells of the mode rows (5 rows of 5) holding `total` bytes, the first `data` of them `d`.
static std::vector<std::string> content_cells(int total, int data, char d = '1') {
  std::string all = std::string(data, d) + std::string(total - data, 'a');
  std::vector<std::string> cells;
  int at = 0;
  for (int i = 0; i < 25; i++) {
    int len = total / 25 + (i < total % 25 ? 1 : 0);
    cells.push_back(all.substr(at, len));
    at += len;
  }
  return cells;
}

TEST_F(TableGrid, ContentTest) {
  struct {
    int total, data;
    char d;
    int strategy, made;
    const char* why;
  } rows[] = {
      {100, 100, '1', 1, 0, "100 bytes fail the strict test"},
      {101, 15, '1', 1, 0, "15/101 is below 0.15"},
      {101, 16, '1', 1, 1, "16/101 is above"},
      {101, 16, 'x', 1, 1, "x counts as data"},
      {101, 16, 'X', 1, 1, "X counts as data"},
      {101, 16, '.', 1, 0, "a point does not"},
      {26, 0, '1', 2, 1, "loose: more than 25 bytes, no ratio"},
      {25, 25, '1', 2, 0, "loose: 25 bytes are too few"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    std::vector<std::string> cells = content_cells(r.total, r.data, r.d);
    for (int k = 0; k < 5; k++)
      for (int c = 0; c < 5; c++) close(cells[k * 5 + c], 100.0f + 60 * c, 700.0f - 20 * k);
    close("999999999999", 100, 10);  // the newest row's digits don't count
    TABLE_STRATEGY = r.strategy;
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
  }
}

// ======================= writing the table =======================

TEST_F(TableGrid, FullRowsWithMarks) {
  grid(5, 5, "12345");
  newest();
  ASSERT_EQ(table_reconstruct(2, 4), 1);
  std::string t = table_of_last_brik();
  std::string row1 =
      " <tr> <th> <A1> 12345 </th> <th> <B1> 12345 </th> <th> <C1> 12345 </th> "
      "<th> <D1> 12345 </th> <th> <E1> 12345 </th>  </tr> ";
  EXPECT_EQ(t.substr(0, 13), " <tr>  </tr> ") << "row 0 is an empty short row";
  EXPECT_EQ(t.substr(13, row1.size()), row1);
  EXPECT_EQ(t.size(), 13 + 5 * row1.size() + 12);
  EXPECT_EQ(t.substr(t.size() - 19), " </tr>  </th> </tr>");
  EXPECT_EQ(find(t, "newest"), -1);
}

TEST_F(TableGrid, FullRowsWithoutMarksRunTogether) {
  TABLE_GRID = 0;
  grid(5, 5, "12345");
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  std::string five = "1234512345123451234512345";
  EXPECT_EQ(table_of_last_brik(), "\r\n" + five + "\r\n" + five + "\r\n" + five + "\r\n" + five +
                                      "\r\n" + five + "\r\n\r\n");
}

// Five full rows with columns ending at 100, 160, 220, 280, 340, then row 6 as given, then the
// newest row.
TEST_F(TableGrid, ShortRowPlacesCellsByPosition) {
  struct {
    std::vector<Cell> cells;
    int grid;
    std::string expect;
    const char* why;
  } rows[] = {
      {{{101, "a"}, {221, "b"}, {339, "c"}}, 1,
       " <tr> <th> <A6> a </th> <th> <B6>  </th> <th> <C6> b </th> <th> <D6>  </th> "
       "<th> <E6> c </th>  </tr> ",
       "cell, empty, cell, empty, cell"},
      {{{339, "a"}, {101, "b"}}, 1,
       " <tr> <th> <A6>  </th> <th> <B6>  </th> <th> <C6>  </th> <th> <D6>  </th> "
       "<th> <E6> a </th> <th> <F6> b </th>  </tr> ",
       "a cell is never moved back"},
      {{{130, "a"}}, 1, " <tr> <th> <A6> a </th>  </tr> ", "a tie goes to the lower column"},
      {{{160, "a"}, {280, "b"}}, 1,
       " <tr> <th> <A6>  </th> <th> <B6> a </th> <th> <C6>  </th> <th> <D6> b </th>  </tr> ",
       "no fill right of the last cell"},
      {{{101, "a"}, {221, "b"}}, 0, "a\t \tb\t\r\n", "without marks: blank and tab"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    TABLE_GRID = r.grid;
    grid(5, 5, "12345");
    row(400, r.cells);
    newest();
    ASSERT_EQ(table_reconstruct(0, 1), 1) << r.why;
    std::string t = table_of_last_brik();
    // Row 6 follows five full rows; without marks each of those is 25 digits and a line end.
    size_t at = r.grid ? t.find(" <tr> <th> <A6>") : 2 + 5 * 27;
    ASSERT_NE(at, std::string::npos) << r.why;
    EXPECT_EQ(t.substr(at, r.expect.size()), r.expect) << r.why;
  }
}

TEST_F(TableGrid, ColumnPositionsAreTruncatedMeans) {
  // Column 1 ends at 150, 150, 150, 150, 154: mean 150.8, kept as 150. A cell at 125 is then
  // 25 from column 1 and 26 from column 0 (99), so it goes to column 1.
  for (int k = 0; k < 5; k++) {
    float y = 700.0f - 20 * k;
    row(y, {{99, "111111"}, {k == 4 ? 154.0f : 150.0f, "222222"}, {200, "333333"},
            {250, "444444"}});
  }
  row(400, {{125, "a"}});
  newest();
  ASSERT_EQ(table_reconstruct(0, 1), 1);
  EXPECT_NE(find(table_of_last_brik(), " <tr> <th> <A6>  </th> <th> <B6> a </th>  </tr> "), -1);
}

TEST_F(TableGrid, LongRowJoinsNeighbours) {
  struct {
    std::vector<Cell> cells;
    int grid;
    std::string expect;
    std::string plain;
    const char* why;
  } rows[] = {
      {{{100, "a"}, {110, "b"}, {160, "c"}, {220, "d"}, {280, "e"}, {340, "f"}}, 1,
       " <tr> <th> <A6> ab </th> <th> <B6> c </th> <th> <C6> d </th> <th> <D6> e </th>  </tr> ",
       "a b c d e f ", "the last merged cell is in the plain text only"},
      {{{100, "a"}, {105, "b"}, {160, "c"}, {170, "d"}, {220, "e"}, {280, "f"}, {340, "g"}}, 1,
       " <tr> <th> <A6> ab </th> <th> <B6> c </th> <th> <C6> d </th> <th> <D6> e </th>  </tr> ",
       "a b c d e f g ",
       "d is measured against the row's cell 1 (105), not c (160): it starts a column"},
      {{{100, "a"}, {110, "b"}, {160, "c"}, {220, "d"}, {280, "e"}, {340, "f"}}, 0,
       "ab\tc\td\te\t\r\n", "a b c d e f ", "without marks: tabs"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    TABLE_GRID = r.grid;
    grid(5, 5, "12345");
    row(400, r.cells);
    newest();
    ASSERT_EQ(table_reconstruct(0, 1), 1) << r.why;
    std::string t = table_of_last_brik();
    std::string tail = r.grid ? t.substr(t.size() - r.expect.size() - 12)
                              : t.substr(t.size() - r.expect.size() - 2);
    EXPECT_EQ(tail.substr(0, r.expect.size()), r.expect) << r.why;
    std::string plain = Briks[global_brik_counter - 1].text;
    EXPECT_EQ(plain.substr(plain.size() - r.plain.size()), r.plain) << r.why;
  }
}

// ======================= the table brik =======================

TEST_F(TableGrid, BrikFields) {
  memset(&Briks[0], 0, sizeof(BrikRecord));
  strcpy(Briks[0].external_files, "junk.png");
  strcpy(Briks[0].header_text, "old header");
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
  EXPECT_EQ(b.master_index, 3);
  EXPECT_EQ(b.coords_cx, 3);
  EXPECT_EQ(b.sub_index, 6);
  EXPECT_EQ(b.coords_cy, 6);
  EXPECT_EQ(b.coords_x, 72);
  EXPECT_EQ(b.coords_y, -15);
  EXPECT_STREQ(b.external_files, "");
  EXPECT_STREQ(b.header_text, "Annual Report ");
  std::string plain;
  for (int i = 0; i < 20; i++) plain += "1.2345 ";
  EXPECT_EQ(std::string(b.text), plain);
  EXPECT_EQ(std::string(core_text), plain) << "core_text takes the plain text";
}

TEST_F(TableGrid, HeaderAndTextRules) {
  struct {
    int get_header;
    const char* headline;
    int out_len;
    bool header, text;
    const char* why;
  } rows[] = {
      {1, "Head ", 0, true, true, "headline shown"},
      {0, "Head ", 0, false, true, "header option off"},
      {1, "", 0, false, true, "no headline"},
      {1, "Head ", 48999, true, true, "a last chunk of 48999 bytes leaves the text"},
      {1, "Head ", 49000, true, false, "a last chunk of 49000 bytes empties it"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    GLOBAL_GET_HEADER_TEXT = r.get_header;
    strcpy(page_headline, r.headline);
    memset(core_text_out, 'w', r.out_len);
    core_text_out[r.out_len] = 0;
    grid(5, 5, "12345");
    newest();
    ASSERT_EQ(table_reconstruct(0, 1), 1) << r.why;
    const BrikRecord& b = Briks[global_brik_counter - 1];
    EXPECT_EQ(std::string(b.header_text), r.header ? r.headline : "") << r.why;
    EXPECT_EQ(b.text[0] != 0, r.text) << r.why;
  }
}

TEST_F(TableGrid, CellsStopAt99000AndTheTableGoesPast99500) {
  // Ten columns of 100-byte cells: about 1190 bytes a row, so 99000 is reached near row 84.
  struct {
    int rows;
    int made;
    const char* why;
  } rows[] = {
      {86, 1, "a few rows past 99000: marks only, still under 99500"},
      {99, 0, "too long: no brik"},
  };
  for (auto& r : rows) {
    table_grid_begin();
    int count = global_table_count;
    grid(r.rows, 10, std::string(100, '7'), 2100);
    newest();
    LogCapture log(9);
    EXPECT_EQ(table_reconstruct(0, 1), r.made) << r.why;
    EXPECT_EQ(global_table_count, count + r.made) << r.why;
    EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - writing table_text_out_final -  <tr>"), -1);
    size_t plain = strlen(core_text);
    EXPECT_LT(plain, 49000u) << r.why;
    EXPECT_GT(plain, 48000u) << r.why;
    if (r.made) {
      std::string t = table_of_last_brik();
      EXPECT_GE(t.size(), 99000u);
      EXPECT_LT(t.size(), 99512u);
      // A full row past the limit keeps only its unconditional marks.
      EXPECT_NE(find(t, " <tr> <th> <A<th> <B<th> <C<th> <D<th> <E<th> <F<th> <G<th> <H<th> <I"
                        "<th> <J </tr> "),
                -1);
    }
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
  EXPECT_STREQ(Briks[1009].content_type, "table");
  EXPECT_EQ(find(log.text(), "global_block_counter > 1000"), -1);
  // The next table brik finds the array full: the flush goes first, the brik lands in entry 0.
  ASSERT_EQ(table_reconstruct(1, 1), 1);
  EXPECT_EQ(master_brik_tracker, 1010);
  EXPECT_EQ(global_brik_counter, 1);
  EXPECT_EQ(Briks[0].master_index, 1);
  EXPECT_NE(find(log.text(),
                 "DEBUG: pdf_parser - global_block_counter > 1000 - writing to disk now - 1010 \n"),
            -1);
}

}  // namespace
