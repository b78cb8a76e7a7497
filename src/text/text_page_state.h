// text/text_page_state.h -- working state of one text_processor_page call that the table pass
// shares with the text decoding. The text pass owns and resets these at the start of each call;
// the table pass reads them and, for the grid, keeps its own storage in table_grid.cpp. The rest
// of the text pass's state, which the table pass does not see, is in text_page_work.h.
#pragma once

extern "C" {

extern float last_x;             // where the last shown string ended (x); reset once per call
extern float last_y;             // where the last shown string ended (y)
extern int layout_jump_count;    // large horizontal jumps seen in this call
extern char* cell_text;          // the pending table cell, CELL_TEXT_SIZE bytes
extern int cell_ready;           // the pending cell may be closed
extern char* core_text;          // text waiting to become briks, CORE_TEXT_SIZE bytes
extern char* core_text_out;      // the last chunk cut, CORE_TEXT_SIZE bytes
extern char* page_headline;      // headline text that went into this call's briks, PAGE_HEADLINE_SIZE

constexpr int CELL_TEXT_SIZE = 100000;
constexpr int CORE_TEXT_SIZE = 50000;
constexpr int PAGE_HEADLINE_SIZE = 10000;

// Table pass (table_grid.cpp).
void table_grid_begin(void);                     // empties the grid at the start of a call
int table_close_pending_cell(void);              // the capture step; 1 when it opened a new row
int table_reconstruct(int page, int box_count);  // end-of-call test; table briks made (0 or 1)

}  // extern "C"
