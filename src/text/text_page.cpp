// text/text_page.cpp -- (placeholder until the page text lands)
#include "text/text.h"
#include "text/text_page_state.h"
extern "C" {
float last_x = 0, last_y = 0;
int layout_jump_count = 0;
char* cell_text = nullptr;
int cell_ready = 0;
char* core_text = nullptr;
char* core_text_out = nullptr;
char* page_headline = nullptr;
int text_processor_page(int, int) { return 0; }
}
