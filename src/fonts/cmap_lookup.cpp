// fonts/cmap_lookup.cpp -- cmap_get_char, the look-up of every decoder: the first pair of the
// font's map whose input equals the code. Large maps get an index of first positions per
// code, which gives the same answer as a front-to-back walk and is kept right as the map grows.
// Reads: Font_CMAP. Writes: cmap_index_slots, cmap_index_next_victim (fonts.h).
// Limits: CMAP_INDEX_SLOTS fonts indexed at once.
#include <cstdint>
#include <cstring>

#include "fonts/font_internal.h"
#include "fonts/fonts.h"
#include "run/run_state.h"

extern "C" {
CmapIndex cmap_index_slots[CMAP_INDEX_SLOTS];  // declared in fonts.h
int cmap_index_next_victim = 0;
int cmap_index_last_slot = 0;
}  // extern "C"

namespace {

constexpr int INDEX_MIN_PAIRS = 48;       // smaller maps are walked; an index gains nothing there

void clear_slot(CmapIndex& slot) {
  for (int k = 0; k < slot.set_count; k++) slot.first_pos[slot.set_codes[k]] = 0;
  slot.set_count = 0;
  slot.count = 0;
  slot.font_index = -1;
  slot.table = nullptr;
}

void note_ends(CmapIndex& slot, const FontRecord& font) {
  slot.first_in = font.cmap_in[0];
  slot.first_out = font.cmap_out[0];
  slot.last_in = font.cmap_in[slot.count - 1];
  slot.last_out = font.cmap_out[slot.count - 1];
}

bool ends_hold(const CmapIndex& slot, const FontRecord& font) {
  return slot.count > 0 && font.cmap_in[0] == slot.first_in && font.cmap_out[0] == slot.first_out &&
         font.cmap_in[slot.count - 1] == slot.last_in && font.cmap_out[slot.count - 1] == slot.last_out;
}

// Indexes pairs [slot.count, count) behind those already indexed; an earlier pair keeps its code.
void extend_slot(CmapIndex& slot, const FontRecord& font, int count) {
  for (int i = slot.count; i < count; i++) {
    int64_t code = font.cmap_in[i];
    if (code < 0 || code >= CMAP_INDEX_CODE_RANGE || slot.first_pos[code] != 0) continue;
    slot.first_pos[code] = static_cast<uint16_t>(i + 1);
    slot.set_codes[slot.set_count++] = static_cast<int32_t>(code);
  }
  slot.count = count;
  note_ends(slot, font);
}

// The slot for this font, built or brought up to `count` pairs.
CmapIndex& slot_for(int font_index, const FontRecord& font, int count) {
  // The slot of the previous look-up first: the characters of a string share one font. Its
  // ends were checked when it was last built or reached below, and every writer of the map
  // forgets the font's slot, so the same font and count are enough here.
  CmapIndex& last = cmap_index_slots[cmap_index_last_slot];
  if (last.font_index == font_index && last.table == Font_CMAP && last.count == count) {
    return last;
  }
  for (CmapIndex& slot : cmap_index_slots) {
    if (slot.font_index != font_index || slot.table != Font_CMAP) continue;
    cmap_index_last_slot = static_cast<int>(&slot - cmap_index_slots);
    if (slot.count > count || !ends_hold(slot, font)) {
      clear_slot(slot);
      slot.font_index = font_index;
      slot.table = Font_CMAP;
    }
    if (slot.count < count) extend_slot(slot, font, count);
    return slot;
  }
  cmap_index_last_slot = cmap_index_next_victim;
  CmapIndex& slot = cmap_index_slots[cmap_index_next_victim];
  cmap_index_next_victim = (cmap_index_next_victim + 1) % CMAP_INDEX_SLOTS;
  clear_slot(slot);
  slot.font_index = font_index;
  slot.table = Font_CMAP;
  extend_slot(slot, font, count);
  return slot;
}

int walk(const FontRecord& font, int count, int code) {
  const int64_t wanted = code;
  for (int i = 0; i < count; i++) {
    if (font.cmap_in[i] == wanted) return static_cast<int32_t>(font.cmap_out[i]);
  }
  return -1;
}

}  // namespace

void cmap_index_forget(int font_index) {
  for (CmapIndex& slot : cmap_index_slots) {
    if (slot.font_index == font_index) clear_slot(slot);
  }
}

void cmap_index_forget_all() {
  for (CmapIndex& slot : cmap_index_slots) {
    if (slot.font_index != -1) clear_slot(slot);
  }
}

extern "C" {

// The output of the first pair of the font's map whose input is `code` (low 32 bits), or -1
// when there is none, the font index is negative, or cmap_count is negative.
int cmap_get_char(int code, int font_index) {
  if (font_index < 0 || font_index >= GLOBAL_MAX_FONT_ENCODINGS || Font_CMAP == nullptr) return -1;
  const FontRecord& font = Font_CMAP[font_index];
  if (font.cmap_count < 0) return -1;
  const int count = font.cmap_count > FONT_MAP_SIZE ? FONT_MAP_SIZE : font.cmap_count;
  if (count < INDEX_MIN_PAIRS || code < 0 || code >= CMAP_INDEX_CODE_RANGE) return walk(font, count, code);
  const CmapIndex& slot = slot_for(font_index, font, count);
  const int pos = slot.first_pos[code];
  return pos == 0 ? -1 : static_cast<int32_t>(font.cmap_out[pos - 1]);
}

}  // extern "C"
