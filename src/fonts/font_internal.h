// fonts/font_internal.h -- helpers shared by the files of the font folder only: the glyph name
// search, the bounded append of one map pair, and the forgetting of the look-up index that
// cmap_get_char keeps beside each font's map. Every writer of cmap_in / cmap_out calls
// cmap_index_forget for the font it writes.
#pragma once

#include <cstdint>

extern "C" {

// Index of `name` in glyph_names by exact comparison, or -1.
int glyph_index(const char* name);

// Writes the pair at `count` of the font's map if it lies inside FONT_MAP_SIZE; returns the
// new count (unchanged when the pair was dropped).
int append_font_pair(int font_index, int count, int64_t code, int64_t out);

// The map of `font_index` is about to change other than by growing behind its count.
void cmap_index_forget(int font_index);
// A new document's records are about to be written: forget every index.
void cmap_index_forget_all();

}  // extern "C"
