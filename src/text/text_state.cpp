// text/text_state.cpp -- (placeholder until the page text lands)
#include "text/text.h"
extern "C" {
float tm_x = 0, tm_y = 0, tml_x = 0;
TextState* get_text_state(char*, int) { static TextState t{}; return &t; }
TextState* get_text_state_from_td(char*, int) { static TextState t{}; return &t; }
int evaluate_text_distance(float, float, float, float, int, float) { return 0; }
}
