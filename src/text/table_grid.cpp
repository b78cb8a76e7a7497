// text/table_grid.cpp -- (placeholder until table reconstruction lands)
#include "text/text_page_state.h"
extern "C" {
void table_grid_begin(void) {}
int table_close_pending_cell(void) { cell_ready = 0; return 0; }
int table_reconstruct(int, int) { return 0; }
}
