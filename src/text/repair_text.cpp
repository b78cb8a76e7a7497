// text/repair_text.cpp -- the page text rules of the repair mode (GLOBAL_REPAIR_MODE 1): word
// gaps judged against the font size after every show operator, and box ends that are looked
// for outside strings only. The page text code asks these at its decision points; with the mode
// off nothing here is called.
#include <cmath>

#include "run/run_state.h"
#include "text/text.h"

// A horizontal gap of more than this share of the scaled font size between the end of the last
// shown text and the start of the next is a word space; a jump back of more than one size is
// a new column or line.
constexpr float REPAIR_GAP_SHARE = 0.15f;

extern "C" {

int repair_word_gap(float gap, int font_size, float text_scale) {
  float em = std::fabs(static_cast<float>(font_size) * text_scale);
  if (!(em > 0.0f)) em = 1.0f;
  return gap > REPAIR_GAP_SHARE * em || gap < -em;
}

// Index of the byte that ends the string opening at `at` ("(" or a single "<"), or `length`.
// Literal strings nest and honour the backslash; a hex string ends at the first ">".
int repair_string_end(const unsigned char* bytes, int at, int length) {
  if (bytes[at] == '<') {
    for (int i = at + 1; i < length; i++) {
      if (bytes[i] == '>') return i;
    }
    return length;
  }
  int depth = 0;
  for (int i = at; i < length; i++) {
    unsigned char c = bytes[i];
    if (c == '\\') {
      i++;
    } else if (c == '(') {
      depth++;
    } else if (c == ')') {
      if (--depth == 0) return i;
    }
  }
  return length;
}

}  // extern "C"

#include <cstring>

#include "fonts/fonts.h"

extern "C" {

// A font whose page list filled up before the document's last page: the last record with this
// name and a full list, so pages past the list still find it. -1 when there is none.
int repair_font_past_list(const char* name) {
  if (Font_CMAP == nullptr) return -1;
  int fonts = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  int found = -1;
  for (int f = 0; f < fonts; f++) {
    if (Font_CMAP[f].page_count >= FONT_PAGE_LIST_SIZE && strcmp(Font_CMAP[f].font_name, name) == 0) found = f;
  }
  return found;
}

}  // extern "C"
