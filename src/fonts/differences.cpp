// fonts/differences.cpp -- the glyph name table and differences_handler, which turns the
// [code /name /name ...] array of a font's Differences into pairs of the font's map.
// Reads: the text it is given, Font_CMAP[font].cmap_count. Writes: cmap_in / cmap_out from
// cmap_count on (the caller stores the new total). Limits: FONT_MAP_SIZE pairs; later ones drop.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "fonts/font_internal.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

namespace {

constexpr int DIFF_MAX_DIGITS = 100;      // digits of one code; further digits are not kept
constexpr int DIFF_MAX_NAME = 1000;       // characters of one glyph name; further ones are not kept

}  // namespace

extern "C" {
const int adobe_glyph_count = 101;

// A to Z, a to z, then digits, punctuation and the ligatures. The quotes, the en dash, the
// bullet and the no-break space fold to plain ASCII on purpose.
const char* const glyph_names[] = {
    "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L", "M",
    "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z",
    "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m",
    "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z",
    "zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine",
    "period", "space", "quoteright", "quoteleft", "semicolon", "comma", "colon",
    "numbersign", "quotedblleft", "quotedblright", "hyphen", "ampersand", "parenleft",
    "parenright", "slash", "quotesingle", "endash", "percent", "dollar", "underscore",
    "bracketleft", "bracketright", "asterisk", "less", "greater", "section", "bullet",
    "uni00A0", "fl", "fi", "ff", "question", "at", "plus", "f_f", "f_f_i", "ffi", "f_i", "f_l"};

const int32_t glyph_lookup[] = {
    65, 66, 67, 68, 69, 70, 71, 72, 73, 74, 75, 76, 77,
    78, 79, 80, 81, 82, 83, 84, 85, 86, 87, 88, 89, 90,
    97, 98, 99, 100, 101, 102, 103, 104, 105, 106, 107, 108, 109,
    110, 111, 112, 113, 114, 115, 116, 117, 118, 119, 120, 121, 122,
    48, 49, 50, 51, 52, 53, 54, 55, 56, 57,
    46, 32, 39, 39, 59, 44, 58,
    35, 34, 34, 45, 38, 40,
    41, 47, 39, 45, 37, 36, 95,
    91, 93, 42, 60, 62, 167, 42,
    32, 64258, 64257, 64256, 63, 64, 43, 64256, 64259, 64259, 64257, 64258};

static_assert(sizeof(glyph_names) / sizeof(glyph_names[0]) == 101, "glyph_names holds 101 names");
static_assert(sizeof(glyph_lookup) / sizeof(glyph_lookup[0]) == 101, "glyph_lookup holds 101 codes");

}  // extern "C"

int glyph_index(const char* name) {
  for (int k = 0; k < adobe_glyph_count; k++) {
    if (strcmp(glyph_names[k], name) == 0) return k;
  }
  return -1;
}

int append_font_pair(int font_index, int count, int64_t code, int64_t out) {
  if (count < 0 || count >= FONT_MAP_SIZE) return count;
  Font_CMAP[font_index].cmap_in[count] = code;
  Font_CMAP[font_index].cmap_out[count] = out;
  return count + 1;
}

extern "C" {

// Reads a Differences array: a number sets the code, each name after it takes the next code.
// Known names (and g0NNN names) add a pair; unknown names only use up their code.
// Returns the new pair total; cmap_count itself is left to the caller.
int differences_handler(char* text, int font_index) {
  if (font_index < 0 || font_index >= GLOBAL_MAX_FONT_ENCODINGS || Font_CMAP == nullptr) return 0;
  cmap_index_forget(font_index);
  int count = Font_CMAP[font_index].cmap_count;
  if (text == nullptr) return count;

  bool in_array = false;
  bool number_mode = false;
  int64_t digits[DIFF_MAX_DIGITS + 1] = {0};
  int digit_count = 0;
  char name[DIFF_MAX_NAME + 1] = {0};
  int name_length = 0;
  int code = 0;
  bool code_past_end = false;  // the last name took INT_MAX; names until the next number drop

  for (const char* p = text; *p; p++) {
    const char c = *p;
    // ---- 1-3. gather: "[" opens the array, digits make a code, other bytes a name ----
    if (c == '[') {
      in_array = true;
      number_mode = false;
    }
    if (in_array && c >= '0' && c <= '9' && name_length == 0 && digit_count < DIFF_MAX_DIGITS) {
      digits[digit_count++] = c;
      number_mode = true;
    }
    if (in_array && !number_mode && c != '/' && c != '[' && c != '\\' && c != ']' &&
        static_cast<signed char>(c) > 32 && name_length <= DIFF_MAX_NAME - 1) {
      name[name_length++] = c;
      name[name_length] = 0;
    }
    // ---- 4. token ends ----
    bool token_end = (in_array && (c == '/' || c == ']')) || c == '\n' || c == '\r' || c == ' ';
    if (!token_end) continue;

    // ---- 5. a name takes the next code; a number sets it ----
    // A name past the largest code has no code to take and is dropped, up to the next number.
    if (!number_mode && name_length > 0 && code_past_end) name_length = 0;
    if (!number_mode && name_length > 0) {
      int k = glyph_index(name);
      if (k >= 0) {
        log_at(LOG_DEEP, "DEBUG: pdf_parser - found Differences - Match Glyph-%s-%d-%d-%d-%d \n", name,
               glyph_lookup[k], count, code, font_index);
        count = append_font_pair(font_index, count, code, glyph_lookup[k]);
      } else if (name_length > 2 && name[0] == 'g' && name[1] == '0') {
        count = append_font_pair(font_index, count, code, atoi(name + 2));
      }
      if (code == INT_MAX) code_past_end = true;
      else code++;
    }
    if (number_mode) {
      digits[digit_count] = 0;
      code = get_int_from_byte_array(digits);
      code_past_end = false;
      digit_count = 0;
      digits[0] = 0;
    }
    name_length = 0;
    name[0] = 0;
    number_mode = false;
  }
  return count;
}

}  // extern "C"
