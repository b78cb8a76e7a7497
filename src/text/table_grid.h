// text/table_grid.h -- the cell grid of one text_processor_page call, filled by
// table_close_pending_cell and read by table_reconstruct (table_grid.cpp). Reset by
// table_grid_begin at the start of each call; the cell records themselves are not cleared.
#pragma once

extern "C" {

constexpr int GRID_ROW_CAPACITY = 150;  // rows of grid_cells; only 0..GRID_LAST_ROW are reachable
constexpr int GRID_LAST_ROW = 99;       // the newest row stops here; a later new row overwrites it
constexpr int GRID_ROW_CELLS = 50;      // stored cells a row; a row's later cells are counted, not stored
constexpr int GRID_CELL_TEXT = 1000;    // bytes of a cell record's text
constexpr int CELL_STORE_MAX = 100;     // a pending cell longer than this is never stored

struct GridCell {
  int x;                       // last_x, truncated, when the cell closed: its right-hand edge
  int y;                       // the row's y
  char text[GRID_CELL_TEXT];   // at most CELL_STORE_MAX bytes are ever stored
};

// The row record keeps only the count: the pen positions at closing were written and never
// read, so they are left out.
struct GridRow {
  int cell_count;  // cells closed into the row, stored or not
};

extern GridCell grid_cells[GRID_ROW_CAPACITY][GRID_ROW_CELLS];  // not cleared between calls
extern GridRow grid_rows[GRID_ROW_CAPACITY];  // counts set to 0 by table_grid_begin
extern int row_y[GRID_ROW_CAPACITY];          // truncated y of each row; row_y[0] = 0
extern int grid_row;                          // index of the newest row; 0 before the first
extern int cells_total;                       // all cells closed into the grid this call

// The table text being built by table_reconstruct (table_grid.cpp), which writes all five.
constexpr int TABLE_TEXT_CAPACITY = 160000;  // table text bytes; the limits in table_grid.cpp keep it inside
constexpr int MERGED_CELL_SIZE = 10000;      // a long row's merged cell; later text is dropped
extern char table_text_out_final[TABLE_TEXT_CAPACITY];  // table text; emptied at each table_reconstruct
extern int table_text_len;                    // bytes in table_text_out_final; 0 at each table_reconstruct
extern int table_plain_len;                   // bytes of the table's plain text in core_text; 0 at each table_reconstruct
extern char merged_cell[MERGED_CELL_SIZE];    // a long row's merged cell; emptied by merged_cell_set per row
extern int merged_len;                        // bytes in merged_cell; 0 at each merged_cell_set

}  // extern "C"
