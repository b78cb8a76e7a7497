// text/table_grid.cpp -- sorts the closed text cells of one content stream into rows by y, and at
// the end of the call tests the grid for a table and writes at most one table brik.
// Reads: cell_text, cell_ready, last_x, last_y, layout_jump_count, core_text_out, page_headline,
// tm_x, tm_y, TABLE_STRATEGY, TABLE_GRID, GLOBAL_GET_HEADER_TEXT. Writes: the grid below,
// cell_text, cell_ready, core_text, Briks[global_brik_counter], global_brik_counter,
// global_table_count. Limits: 100 grid rows (index 99 is overwritten), 50 stored cells a row,
// 100 bytes a cell, 99000 / 99500 bytes of table text.
#include <cmath>
#include <cstring>

#include "run/run_state.h"
#include "text/table_grid.h"
#include "text/text.h"
#include "text/text_page_state.h"

extern "C" {

// ---- the grid (declared in table_grid.h) ----
constexpr int HISTOGRAM_SIZE = 100;     // cell counts past 99 are left out of the histogram
constexpr int MODE_SEARCH = 20;         // the mode is looked for among counts 0..19
constexpr int COLUMN_SLOTS = 100;       // column_x entries; a long row reads up to index 50

GridCell grid_cells[GRID_ROW_CAPACITY][GRID_ROW_CELLS];  // not cleared between calls
GridRow grid_rows[GRID_ROW_CAPACITY];                    // counts set to 0 by table_grid_begin
int row_y[GRID_ROW_CAPACITY];                            // truncated y of each row; row_y[0] = 0
int grid_row = 0;                                        // index of the newest row
int cells_total = 0;                                     // all cells closed into the grid

// ---- the table text ----
// The table text is kept in one buffer reused across calls, with its length in a counter instead
// of being measured at each append; the bytes are those of measuring each time. The row and cell
// marks that go out before the 99000 test can carry the text past 99000 by at most
// 100 rows x (13 + 14 x 7) bytes, which the spare room holds.
constexpr int TABLE_TEXT_LIMIT = 99000;    // no cell text is written once the table text is this long
constexpr int TABLE_TEXT_GIVE_UP = 99500;  // a table text this long makes no brik
constexpr int PLAIN_TEXT_LIMIT = 49000;    // a cell joins the plain text while both stay below this
constexpr int CORE_TEXT_OUT_FULL = 48999;  // a last chunk longer than this leaves the table brik's text empty

char table_text_out_final[TABLE_TEXT_CAPACITY];
int table_text_len = 0;
int table_plain_len = 0;
char merged_cell[MERGED_CELL_SIZE];
int merged_len = 0;

// Truncates a position toward zero; NaN gives 0 and values past the int range are held at its ends.
static int truncate_position(float v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483647.0f) return 2147483647;
  if (v <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(v);
}

static int all_blanks(const char* text) {
  for (const char* p = text; *p; ++p)
    if (*p != ' ') return 0;
  return 1;
}

// Stores the pending cell at `cell` of grid row `row`, or, past the row's stored cells, drops it.
// Either way the cell counts in the row and in cells_total, and cell_text is emptied.
static void store_cell(int row, int cell, int x, int y) {
  if (cell < GRID_ROW_CELLS) {
    GridCell& g = grid_cells[row][cell];
    // The text and its end; every reader of a cell reads it as a text, so the bytes behind the
    // end are not padded with zeros on every store.
    size_t n = strnlen(cell_text, GRID_CELL_TEXT - 1);
    memcpy(g.text, cell_text, n);
    g.text[n] = 0;
    g.x = x;
    g.y = y;
  }
  // A cell past the row's storage is dropped without a word, like all text past a bound here.
  cell_text[0] = 0;
  cells_total++;
}

void table_grid_begin(void) {
  grid_row = 0;
  cells_total = 0;
  for (int k = 0; k < GRID_ROW_CAPACITY; k++) {
    grid_rows[k].cell_count = 0;
    row_y[k] = 0;
  }
}

// Closes the pending cell into the grid: into the first row whose y lies within 2 of last_y, or
// else into a new row. Returns 1 when a new row was opened, else 0. cell_ready is off afterwards.
int table_close_pending_cell(void) {
  int opened_row = 0;
  // ---- 1-3. only a ready cell of 1 to 100 bytes that is not all blanks is stored ----
  if (cell_text != nullptr && cell_text[0] != 0 && cell_ready) {
    size_t len = strnlen(cell_text, CELL_TEXT_SIZE);
    if (len <= static_cast<size_t>(CELL_STORE_MAX) && !all_blanks(cell_text)) {
      int x = truncate_position(last_x);
      // ---- 4. an existing row within 2 units ----
      int row = -1;
      for (int k = 0; k <= grid_row; k++) {
        if (std::fabs(static_cast<float>(row_y[k]) - last_y) < 2.0f) {
          row = k;
          break;
        }
      }
      if (row >= 0) {
        int cell = grid_rows[row].cell_count;
        store_cell(row, cell, x, row_y[row]);
        grid_rows[row].cell_count = cell + 1;
      } else {
        // ---- 5. a new row; at the last row index the newest row is overwritten ----
        if (grid_row < GRID_LAST_ROW) grid_row++;
        int y = truncate_position(last_y);
        row_y[grid_row] = y;
        store_cell(grid_row, 0, x, y);
        grid_rows[grid_row].cell_count = 1;
        opened_row = 1;
      }
    }
  }
  // ---- 6 ----
  cell_ready = 0;
  return opened_row;
}

// ---- writing helpers: table text and plain text ----

static void table_text_add(const char* s) {
  size_t n = strlen(s);
  if (table_text_len + n >= static_cast<size_t>(TABLE_TEXT_CAPACITY)) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - table text full - text dropped - %d \n", table_text_len);
    return;
  }
  memcpy(table_text_out_final + table_text_len, s, n + 1);
  table_text_len += static_cast<int>(n);
}

static void table_text_add_cell_start(int column, int row) {
  char mark[48];
  snprintf(mark, sizeof mark, "<th> <%c%d> ", 65 + column, row);
  table_text_add(mark);
}

// The cell's text joins the plain text in core_text, with one blank behind it, while the two
// lengths together stay below PLAIN_TEXT_LIMIT.
static void plain_text_add(const char* s) {
  if (core_text == nullptr) return;
  size_t n = strlen(s);
  if (n + table_plain_len >= static_cast<size_t>(PLAIN_TEXT_LIMIT)) return;
  memcpy(core_text + table_plain_len, s, n);
  table_plain_len += static_cast<int>(n);
  core_text[table_plain_len++] = ' ';
  core_text[table_plain_len] = 0;
}

static void merged_cell_set(const char* s) {
  merged_len = 0;
  merged_cell[0] = 0;
  size_t n = strnlen(s, MERGED_CELL_SIZE - 1);
  memcpy(merged_cell, s, n);
  merged_len = static_cast<int>(n);
  merged_cell[merged_len] = 0;
}

static void merged_cell_add(const char* s) {
  size_t n = strlen(s);
  if (merged_len + n >= static_cast<size_t>(MERGED_CELL_SIZE)) return;
  memcpy(merged_cell + merged_len, s, n + 1);
  merged_len += static_cast<int>(n);
}

static int distance(int a, int b) {
  long long d = static_cast<long long>(a) - b;
  if (d < 0) d = -d;
  return d > 2147483647LL ? 2147483647 : static_cast<int>(d);
}

static int stored_cells(int row) {
  int n = grid_rows[row].cell_count;
  return n < GRID_ROW_CELLS ? n : GRID_ROW_CELLS;
}

// ---- the three kinds of rows ----

// A row with exactly mode_columns cells: each cell in its own column, in drawing order.
static void write_full_row(int k, int n, int marks) {
  if (marks) table_text_add(" <tr> ");
  for (int c = 0; c < n; c++) {
    const GridCell& g = grid_cells[k][c];
    if (marks) {
      char mark[8];
      snprintf(mark, sizeof mark, "<th> <%c", 65 + c);
      table_text_add(mark);
    }
    if (table_text_len < TABLE_TEXT_LIMIT) {
      if (marks) {
        char number[24];
        snprintf(number, sizeof number, "%d> ", k);
        table_text_add(number);
      }
      table_text_add(g.text);
      plain_text_add(g.text);
      // Without marks the cell's tab went to a text nobody reads, so the cells run together.
      if (marks) table_text_add(" </th> ");
    }
  }
  table_text_add(marks ? " </tr> " : "\r\n");
}

// A row with fewer cells: each cell goes to the nearest column, never back, with empty cells in
// the gaps before it. Columns right of the last cell are not filled.
static void write_short_row(int k, int n, int mode_columns, const int* column_x, int marks) {
  if (marks) table_text_add(" <tr> ");
  int next_column = 0;
  for (int c = 0; c < n; c++) {
    const GridCell& g = grid_cells[k][c];
    // ---- 1. nearest column, lowest on a tie ----
    int m = 0;
    int best = 1000000;
    for (int col = 0; col < mode_columns; col++) {
      int d = distance(g.x, column_x[col]);
      if (d < best) {
        best = d;
        m = col;
      }
    }
    // ---- 2. empty cells up to it ----
    if (next_column < m) {
      for (int col = next_column; col < m; col++) {
        if (table_text_len < TABLE_TEXT_LIMIT) {
          if (marks) {
            table_text_add_cell_start(col, k);
            table_text_add(" </th> ");
          } else {
            table_text_add(" \t");
          }
        }
      }
      next_column = m;
    }
    // ---- 3. the cell itself ----
    if (table_text_len < TABLE_TEXT_LIMIT) {
      if (marks) table_text_add_cell_start(next_column, k);
      table_text_add(g.text);
      table_text_add(marks ? " </th> " : "\t");
      next_column++;
      plain_text_add(g.text);
    }
  }
  table_text_add(marks ? " </tr> " : "\r\n");
}

// A row with more cells: a cell closer to the cell at the output column's index in this row than
// to the next column's mean position joins the merged cell; otherwise the merged cell is written
// and a new one starts. The last merged cell is not written: it is in the plain text only.
static void write_long_row(int k, const int* column_x, int marks) {
  int n = stored_cells(k);
  merged_cell_set("");
  if (marks) table_text_add(" <tr> ");
  int column = 0;
  if (n > 0) {
    merged_cell_set(grid_cells[k][0].text);
    plain_text_add(grid_cells[k][0].text);
  }
  for (int c = 1; c < n; c++) {
    const GridCell& g = grid_cells[k][c];
    int d1 = distance(g.x, grid_cells[k][column].x);
    int d2 = distance(g.x, column_x[column + 1]);
    if (d1 < d2) {
      merged_cell_add(g.text);
      plain_text_add(g.text);
    } else if (table_text_len < TABLE_TEXT_LIMIT) {
      if (marks) table_text_add_cell_start(column, k);
      table_text_add(merged_cell);
      table_text_add(marks ? " </th> " : "\t");
      merged_cell_set(g.text);
      column++;
      plain_text_add(g.text);
    }
  }
  table_text_add(marks ? " </tr> " : "\r\n");
}

static void copy_field(char* dst, size_t capacity, const char* src) {
  size_t n = src ? strnlen(src, capacity - 1) : 0;
  if (n) memcpy(dst, src, n);
  dst[n] = 0;
}

static void copy_text_field(BrikText* dst, size_t capacity, const char* src) {
  brik_text_set(dst, src != nullptr ? src : "", src != nullptr ? strnlen(src, capacity - 1) : 0);
}

// ---- the steps of table_reconstruct ----

// ---- 1-2. the most common cell count among rows 0..rows-1, looked for among counts 0..19, the
// smallest count on a tie; `*mode_rows` is how many rows have it ----
static int most_common_cell_count(int rows, int* mode_rows) {
  int row_histogram[HISTOGRAM_SIZE] = {0};
  for (int k = 0; k < rows; k++) {
    int n = grid_rows[k].cell_count;
    if (n >= 0 && n < HISTOGRAM_SIZE) row_histogram[n]++;
  }
  int mode_columns = 0;
  *mode_rows = -1;
  for (int n = 0; n < MODE_SEARCH; n++) {
    if (row_histogram[n] > *mode_rows) {
      *mode_rows = row_histogram[n];
      mode_columns = n;
    }
  }
  return mode_columns;
}

// ---- 3. shape: 4 to 10 columns in at least 5 rows; loosely, 3 to 14 in at least 3 ----
static int table_shape_holds(int mode_columns, int mode_rows, int loose) {
  int strict_shape = mode_columns >= 4 && mode_columns <= 10 && mode_rows >= 5;
  int loose_shape = loose && mode_columns >= 3 && mode_columns <= 14 && mode_rows >= 3;
  return strict_shape || loose_shape;
}

// ---- 4-5. content of the full rows: enough text, and (strictly) enough of it digits or X ----
static int table_content_holds(int rows, int mode_columns, int loose) {
  int chars_total = 0, data_chars = 0;
  for (int k = 0; k < rows; k++) {
    if (grid_rows[k].cell_count != mode_columns) continue;
    for (int c = 0; c < mode_columns; c++) {
      for (const char* p = grid_cells[k][c].text; *p; ++p) {
        chars_total++;
        if ((*p >= '0' && *p <= '9') || *p == 'X' || *p == 'x') data_chars++;
      }
    }
  }
  if (!(chars_total > 100 || (chars_total > 25 && loose))) return 0;
  if (!loose) {
    float ratio = static_cast<float>(data_chars) / static_cast<float>(chars_total);
    if (!(static_cast<double>(ratio) > 0.15)) return 0;
  }
  return 1;
}

// ---- 6. column positions: mean x of each column over the full rows, into column_x ----
static void column_positions(int rows, int mode_columns, int* column_x) {
  int full_rows = 0;
  for (int k = 0; k < rows; k++) {
    if (grid_rows[k].cell_count != mode_columns) continue;
    for (int c = 0; c < mode_columns; c++) column_x[c] += grid_cells[k][c].x;
    full_rows++;
  }
  for (int c = 0; c < mode_columns; c++) column_x[c] /= full_rows;
}

// ---- 7. the table text, row by row; core_text takes the plain text ----
static void write_table_text(int rows, int mode_columns, const int* column_x, int marks) {
  table_text_len = 0;
  table_text_out_final[0] = 0;
  table_plain_len = 0;
  if (core_text != nullptr) core_text[0] = 0;
  for (int k = 0; k < rows; k++) {
    int n = grid_rows[k].cell_count;
    if (n == mode_columns)
      write_full_row(k, n, marks);
    else if (n < mode_columns)
      write_short_row(k, n, mode_columns, column_x, marks);
    else
      write_long_row(k, column_x, marks);
  }
}

// ---- 10. the table brik at Briks[global_brik_counter] ----
static void write_table_brik(int page, int box_count) {
  BrikRecord& b = Briks[global_brik_counter];
  copy_field(b.content_type, sizeof b.content_type, "table");
  copy_field(b.file_type, sizeof b.file_type, "pdf");
  b.master_index = page;
  b.coords_x = truncate_position(tm_x);
  b.coords_y = truncate_position(tm_y);
  b.coords_cx = page;
  b.coords_cy = box_count - 1;
  b.sub_index = box_count - 1;
  b.external_files[0] = 0;
  if (core_text_out != nullptr && strnlen(core_text_out, CORE_TEXT_SIZE) > CORE_TEXT_OUT_FULL)
    brik_text_clear(&b.text);
  else
    copy_text_field(&b.text, BRIK_TEXT_SIZE, core_text);
  if (page_headline != nullptr && page_headline[0] != 0 && GLOBAL_GET_HEADER_TEXT == 1)
    copy_text_field(&b.header_text, BRIK_HEADER_SIZE, page_headline);
  else
    brik_text_clear(&b.header_text);
  copy_text_field(&b.table, BRIK_TABLE_SIZE, table_text_out_final);
}

// End-of-call test of the grid. When the rows look like a table, one table brik is written to
// Briks[global_brik_counter] from rows 0..grid_row-1 (the newest row is never part of it) and 1 is
// returned; otherwise 0. core_text is rewritten with the table's plain text when the test passes.
int table_reconstruct(int page, int box_count) {
  // ---- 0. the gate ----
  if (!(TABLE_STRATEGY > 0 && layout_jump_count > 11 && cells_total > 19)) return 0;
  const int loose = TABLE_STRATEGY == 2;
  const int rows = grid_row;  // rows 0..rows-1 are considered

  // ---- 1-5. the tests: the common cell count, the shape and the content ----
  int mode_rows = -1;
  int mode_columns = most_common_cell_count(rows, &mode_rows);
  if (!table_shape_holds(mode_columns, mode_rows, loose)) return 0;
  if (!table_content_holds(rows, mode_columns, loose)) return 0;

  // ---- 6-7. the columns and the table text ----
  int column_x[COLUMN_SLOTS] = {0};
  column_positions(rows, mode_columns, column_x);
  const int marks = TABLE_GRID == 1;
  write_table_text(rows, mode_columns, column_x, marks);

  // ---- 8. the closing mark; a table text at the give-up length makes no brik ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - writing table_text_out_final - %s \n", table_text_out_final);
  if (table_text_len >= TABLE_TEXT_GIVE_UP) return 0;
  global_table_count++;
  table_text_add(marks ? " </th> </tr>" : "\r\n");

  if (Briks == nullptr) {
    log_at(LOG_ERROR, "ERROR: pdf_parser - table brik - no brik array - table not saved \n");
    return 0;
  }
  // ---- 9. the flush, on a strict test ----
  // After a table brik the flush tests `>` where text briks test `>=`, so a table brik may leave
  // Briks full with no flush. A brik into a full array would fall past its end; the flush that
  // the strict test gives right after such a brik is made just before it instead, so the same
  // briks reach the sink in the same order, with the same block numbers, and the array is kept.
  if (global_brik_counter >= GLOBAL_MAX_BRIKS) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - global_block_counter > 1000 - writing to disk now - %d \n",
           global_brik_counter);
    flush_brik_batch();
  }
  // ---- 10. the brik ----
  write_table_brik(page, box_count);
  global_brik_counter++;
  return 1;
}

}  // extern "C"
