// fonts/cmap_reader.cpp -- (placeholder until the font work lands)
#include "fonts/fonts.h"
extern "C" {
int process_cmap(int, int) { return 0; }
int process_cmap_buffer_alt(int, int, int) { return 0; }
int cmap_get_char(int, int) { return -1; }
}
