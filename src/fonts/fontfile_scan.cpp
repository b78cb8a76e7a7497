// fonts/fontfile_scan.cpp -- fontfile_handler: reads the "dup <code> /<name> put" lines behind
// the word Encoding in the clear text of an embedded Type 1 program, and adds a pair to the
// font's map for each glyph name the table knows. Reads: the text, Font_CMAP[font].cmap_count.
// Writes: cmap_in / cmap_out from cmap_count on, fontfile_codes, fontfile_names. Limits: the
// bounds below and SCAN_MAX_ENTRIES (fonts.h), past which input drops.
#include <cstring>

#include "fonts/font_internal.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

namespace {

constexpr int SCAN_MAX_DIGITS = 10;      // digits of one code; further digits are not kept
constexpr int SCAN_MAX_NAME = 111;       // characters of one name; further ones are not kept

}  // namespace

extern "C" {

int32_t fontfile_codes[SCAN_MAX_ENTRIES];               // declared in fonts.h
char fontfile_names[SCAN_MAX_ENTRIES][SCAN_KEPT_NAME];  // declared in fonts.h

// Returns the new pair total, or the font's cmap_count when the text holds no "Encoding".
// An entry whose name came with no number of its own uses code 0.
int fontfile_handler(char* text, int font_index) {
  if (font_index < 0 || font_index >= GLOBAL_MAX_FONT_ENCODINGS || Font_CMAP == nullptr) return 0;
  cmap_index_forget(font_index);
  int count = Font_CMAP[font_index].cmap_count;
  if (text == nullptr) return count;

  // ---- 1. the scan starts behind the word Encoding ----
  const char* found = strstr(text, "Encoding");
  if (found == nullptr) return count;
  const int length = static_cast<int>(strlen(text));

  bool in_dup = false;
  bool in_name = false;
  int64_t digits[SCAN_MAX_DIGITS + 1] = {0};
  int digit_count = 0;
  char name[SCAN_MAX_NAME + 1] = {0};
  int name_length = 0;
  memset(fontfile_codes, 0, sizeof(fontfile_codes));
  int entry = 0;

  // ---- 2. dup lines: a number, then a name; white space ends the entry ----
  for (int i = static_cast<int>(found - text) + 8; i < length; i++) {
    const char c = text[i];
    // a. "dup" turns the scan on; b. nothing ever turns it off again
    if (c == 'd' && length - i - 1 > 5 && text[i + 1] == 'u' && text[i + 2] == 'p') in_dup = true;
    // c. digits
    if (in_dup && c >= '0' && c <= '9' && digit_count < SCAN_MAX_DIGITS) digits[digit_count++] = c;
    // d. a slash starts a name
    if (in_dup && c == '/') {
      in_name = true;
      name_length = 0;
      name[0] = 0;
    }
    // e. a name holds "A" and above only: .notdef reads notdef, a1 reads a
    if (in_name && static_cast<signed char>(c) > 64 && c != 127 && name_length < SCAN_MAX_NAME) {
      name[name_length++] = c;
      name[name_length] = 0;
    }
    // f. only white space ends anything
    if (!in_dup || (c != ' ' && c != '\r' && c != '\n')) continue;
    // g. the number of this entry
    if (digit_count > 0) {
      digits[digit_count] = 0;
      int number = get_int_from_byte_array(digits);
      digit_count = 0;
      if (entry < SCAN_MAX_ENTRIES) fontfile_codes[entry] = number;
    }
    // h-i. the name closes the entry
    if (!in_name) continue;
    in_name = false;
    if (entry < SCAN_MAX_ENTRIES) {
      int kept = name_length < SCAN_KEPT_NAME - 1 ? name_length : SCAN_KEPT_NAME - 1;
      memcpy(fontfile_names[entry], name, kept);
      fontfile_names[entry][kept] = 0;
      int k = glyph_index(name);
      if (k >= 0) {
        log_at(LOG_DEEP, "DEBUG:  pdf_parser - found Differences - Match Glyph-%s-%d-%d-%d-%d \n", name,
               glyph_lookup[k], count, fontfile_codes[entry], font_index);
        count = append_font_pair(font_index, count, fontfile_codes[entry], glyph_lookup[k]);
      }
    }
    name_length = 0;
    name[0] = 0;
    entry++;
  }
  return count;
}

}  // extern "C"
