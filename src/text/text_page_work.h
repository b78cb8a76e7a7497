// text/text_page_work.h -- working buffers of one text_processor_page call that the box decoding
// (text_page.cpp) hands to the brik cutting (brik_chunking.cpp). Private to those two files.
// The buffers are taken once and reused from call to call; each is emptied where the call's
// steps say, and its length is kept in a counter beside it instead of being measured again.
#pragma once

#include "text/text_page_state.h"

extern "C" {

constexpr int BOX_TEXT_SIZE = 500000;   // text of the current box; appends past it are dropped
constexpr int HEAD_TEXT_SIZE = 50000;   // large or bold type; appends past it are dropped
constexpr int BOX_JOIN_LIMIT = 49998;   // box_text plus a line at or past this drops the line
constexpr int CORE_JOIN_LIMIT = 50000;  // box_text plus core_text at or past this blocks cutting

extern char* box_text;        // BOX_TEXT_SIZE bytes, zero-terminated
extern int box_text_len;
extern char* head_text;       // HEAD_TEXT_SIZE bytes, zero-terminated
extern int head_text_len;
extern int core_text_len;     // bytes in core_text
extern int core_text_out_len; // bytes in core_text_out
extern int page_headline_len; // bytes in page_headline

// Appends `n` bytes to a zero-terminated buffer of `size` bytes holding `*len`; what does not
// fit before the last byte is dropped.
void append_bytes(char* dst, int* len, int size, const char* src, int n);

// Float position to int: truncated toward zero, clamped to the int range (NaN gives 0).
int truncate_position(float v);

// Brik cutting (brik_chunking.cpp). Each returns the briks it made.
void brik_chunking_begin(void);                      // empties core_text, core_text_out, page_headline
int brik_cut_at_box_end(int page, int box_index);    // at most one brik, after each box
int brik_closing_pass(int page, int box_count);      // all that is left, after the last box

}  // extern "C"
