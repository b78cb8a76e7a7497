// text/text_page_work.h -- the run state of one text_processor_page call that stays inside the
// page text pass: the box decoding (text_page.cpp) and the brik cutting (brik_chunking.cpp).
// What the table pass shares is in text_page_state.h. Every global here is defined in
// text_page.cpp unless its line says otherwise. The buffers are taken once and reused from call
// to call; each is emptied where the call's steps say, with its length kept in a counter beside it.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "text/text_page_state.h"

extern "C" {

constexpr int BOX_TEXT_SIZE = 500000;   // text of the current box; appends past it are dropped
constexpr int HEAD_TEXT_SIZE = 50000;   // large or bold type; appends past it are dropped
constexpr int BOX_JOIN_LIMIT = 49998;   // box_text plus a line at or past this drops the line
constexpr int CORE_JOIN_LIMIT = 50000;  // box_text plus core_text at or past this blocks cutting
constexpr int MAX_TEXT_BOXES = 10000;   // per content stream; later boxes are left out and logged
constexpr int CM_TEXT_SIZE = 100;       // stored bytes in front of a box's cm (at most 50 used)
constexpr int LINE_TEXT_SIZE = 100000;  // characters of the current show operator
constexpr int HEX_TEXT_SIZE = 100000;   // bytes of the current hex string
constexpr int KERN_TEXT_SIZE = 10;      // sign and digits of an array number; 9 are gathered

// ---- working buffers: taken by the first call, emptied at each call's set-up ----
extern char* box_text;        // BOX_TEXT_SIZE bytes; text_page.cpp appends, the brik cutting empties it
extern int box_text_len;
extern char* head_text;       // HEAD_TEXT_SIZE bytes; text_page.cpp appends, the closing pass empties it
extern int head_text_len;
extern char* line_text;       // LINE_TEXT_SIZE bytes, the current show operator; emptied at each box
extern int line_text_len;
extern char* hex_text;        // HEX_TEXT_SIZE bytes, the current hex string; emptied at each box and ">"
extern int hex_len;
extern int cell_text_len;     // bytes in cell_text; the table pass only ever empties cell_text
extern int core_text_len;     // bytes in core_text (brik_chunking.cpp; 0 at each call)
extern int core_text_out_len; // bytes in core_text_out (brik_chunking.cpp; 0 at each call)
extern int page_headline_len; // bytes in page_headline (brik_chunking.cpp; 0 at each call)

// ---- the text box table, written by the scan; kept between calls, only entries below the
// call's box count are read ----
extern int box_start[MAX_TEXT_BOXES];                 // byte behind the "BT"
extern int box_stop[MAX_TEXT_BOXES];                  // the "E" of the matching "ET"
extern int box_has_cm[MAX_TEXT_BOXES];                // 1: a cm stood in front of the box
extern char box_cm_text[MAX_TEXT_BOXES][CM_TEXT_SIZE];  // the bytes in front of that cm

// ---- the stream and the state that runs through the whole call; set at each call's set-up ----
extern const unsigned char* text_stream;  // flate_dst_tmp_buffer of the call
extern int text_stream_len;     // bytes in force for every bound test; lowered for a stream without boxes
extern int text_stream_bytes;   // all bytes of the stream: the reads with no bound test of their own
                                // (operator after a string, EMC) stop only here
extern int text_stream_page;    // page of the call, for the font look-up
extern int font_index;          // font in force; from GLOBAL_PAGE_CMAP, moved by Tf
extern int font_size;           // size in force; from GLOBAL_FONT_SIZE, moved by Tf
extern float text_scale;        // |d| of the last Tm; 1 at each call, 1 again at a Tf above 1
extern float cm_scale;          // |d| of the cm in force; 1 at each call, set by cm and at each box
extern float cm_x;              // e of the last cm; 0 at each call
extern float cm_y;              // f of the last cm; 0 at each call
extern int first_tm_pending;    // -1 until the call's first Tm, then 1
extern int is_bold;             // the font in force is bold; set by Tf in a box, 0 at each call
extern int is_italic;           // the font in force is italic; set by Tf in a box, 0 at each call

// ---- the box decoding: reset at the start of each box ----
extern int in_string;           // between "(" and its ")"
extern int in_hex;              // between "<" and ">"
extern int in_array;            // between "[" and "]"
extern int escape_active;       // on the backslash and the byte after it
extern int escape_on_char;      // on the byte after the backslash
extern int skip_until;          // bytes below this index are the tail of an octal escape

// ---- the box decoding: reset at each call's set-up, carried from box to box ----
extern char kern_text[KERN_TEXT_SIZE];  // sign and digits of the array number being read
extern int kern_len;            // characters in kern_text; also 0 at each "["
extern int kern_dot;            // a "." was seen: later digits are the fraction
extern int last_char_width;     // width of the last character a literal string showed
extern int last_string_len;     // line_text_len at the last ")"
extern int last_array_len;      // line_text_len when the last array went to box_text
extern int last_hex_len;        // length of the last hex string's result
extern int hex_space_pending;   // a blank is owed in front of the next plain hex string
extern int head_y;              // tm_y, truncated, of the last headline character
extern int actual_text_active;  // text is dropped: an ActualText payload stands in for it

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

// ---- the font look-up of the page loop (text_page.cpp): built by text_font_lookup_begin after
// the font pass, emptied by text_font_lookup_end and text_document_reset ----
extern int text_font_lookup_ready;  // 1 while the two maps answer Tf
extern std::unordered_map<std::string, int> text_font_name_ids;  // font name -> name id
extern std::unordered_map<uint64_t, int> text_last_font_of;      // name id << 32 | page -> record
