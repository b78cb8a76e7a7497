// text/text.h -- the page content processor: one content stream in flate_dst_tmp_buffer becomes
// text briks (and at most one table brik) in Briks. Also the text state readers and the pen
// position globals that the hex decoder and the brik writer share.
#pragma once

#include <cstdint>

extern "C" {

struct TextState {
  float scale;
  float x;
  float y;
};

// The pen (text_state.cpp), written by the box decoding and the hex decoder; 0 at each box.
extern float tm_x;   // x of the current line start; Tm, Td, TD
extern float tm_y;   // y of the current line; Tm, Td, TD, T*
extern float tml_x;  // running x of the pen; moved by each decoded character

// The results of the two number readers below (text_state.cpp): overwritten at each call, never
// reset; a caller copies what it needs at once.
extern TextState text_state_scratch;     // get_text_state
extern TextState text_state_td_scratch;  // get_text_state_from_td

// Numbers read backwards from the window in front of an operator (scratch result).
TextState* get_text_state(char* bytes, int length);          // Tm, cm: |d|, e, f
TextState* get_text_state_from_td(char* bytes, int length);  // Td, TD: 0, tx, ty
int evaluate_text_distance(float x1, float y1, float x2, float y2, int font_size, float scale);

// One content stream of page `page`, `length` bytes in flate_dst_tmp_buffer (-1: inflation
// failed). Returns the briks it made.
int text_processor_page(int length, int page);

// Repair mode rules of the page text (repair_text.cpp), asked only while GLOBAL_REPAIR_MODE is 1.
int repair_word_gap(float gap, int font_size, float text_scale);            // 1: a word space
int repair_string_end(const unsigned char* bytes, int at, int length);      // end of a string at `at`
int repair_font_past_list(const char* name);  // a font named so whose page list is full, or -1

// The font look-up of the page loop: pdf_builder calls begin after the font pass and end after
// the last page. In between the font records must not change; Tf is then answered from a map
// built once per document instead of a walk over every record.
void text_font_lookup_begin(void);
void text_font_lookup_end(void);

// The text folder's resets at the start of a document (text_page.cpp): the font look-up is off
// and empty until text_font_lookup_begin. Everything else of the folder is set by each
// text_processor_page call before it is read; the font and size that run on from stream to
// stream are carried in GLOBAL_PAGE_CMAP and GLOBAL_FONT_SIZE (run/run_state.h).
void text_document_reset(void);

}  // extern "C"
