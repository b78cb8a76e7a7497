// fonts/hex_decoder.cpp -- hex_handler_new: a <...> string of a content stream becomes text,
// four digits at a time, through the font's map with a one-byte fallback; moves the pen.
// Reads: Font_CMAP (map, widths, encoding_kind). Writes: tml_x, GLOBAL_ACTUAL_TEXT_FLAG,
// hex_handler_result and hex_handler_groups. Limits: HEX_MAX_GROUPS groups and HEX_RESULT_SIZE
// bytes (fonts.h), past which the rest of the string is dropped.
#include <cstring>

#include "fonts/fonts.h"
#include "run/run_state.h"
#include "text/text.h"

namespace {

constexpr int WIDE_KIND_TYPE3 = -99;    // encoding_kind of a Type3 font: unmapped codes show nothing

// One call's state: the result text and the font it decodes with.
struct HexRun {
  char* result;
  int length;
  int font_index;
  int kind;
  int font_size;
  float text_scale;

  // A character that does not fit whole is dropped, so the text never ends in half of one.
  void append(const char* s) {
    int n = 0;
    while (s[n] != 0) n++;  // one character's text, a few bytes: cheaper inline than a call
    if (length + n > HEX_RESULT_SIZE - 1) return;
    memcpy(result + length, s, n);
    length += n;
    result[length] = 0;
  }
};

bool font_known(int font_index) {
  return font_index >= 0 && font_index < GLOBAL_MAX_FONT_ENCODINGS && Font_CMAP != nullptr;
}

// widths[code] of the font; a code past the table reads 0. The width rule follows: above 1500
// becomes 500, then 0 becomes 200.
int width_of(int font_index, int code, int unknown) {
  int w = unknown;
  if (font_index >= 0 && code >= 0) {
    w = (font_known(font_index) && code < FONT_WIDTHS_SIZE)
            ? static_cast<int>(Font_CMAP[font_index].widths.get(code))
            : 0;
  }
  if (w > 1500) w = 500;
  if (w == 0) w = 200;
  return w;
}

int folded(const HexRun& run, int code) {
  if (run.font_index >= 0 && code > 0x7F && (run.kind == 1 || run.kind == 9)) {
    return standard_encoding_variances_handler(code, run.kind);
  }
  return code;
}

// Appends the text of `code` and advances the pen by its width, even for an empty text.
void emit(HexRun& run, int code, int width, int escape) {
  run.append(char_special_handler(code, escape));
  int64_t product = static_cast<int64_t>(width) * run.font_size;  // taken in integers
  tml_x = tml_x + static_cast<float>(product) * run.text_scale / 1000.0f;
}

// ---- one group d0 d1 d2 d3 ----
void decode_group(HexRun& run, int64_t* digits, int& escape) {
  const int fi = run.font_index;
  int whole = get_hex(digits, 4);
  int hi = get_hex_one_digit(static_cast<int>(digits[0])) * 16 +
           get_hex_one_digit(static_cast<int>(digits[1]));
  int lo = get_hex_one_digit(static_cast<int>(digits[2])) * 16 +
           get_hex_one_digit(static_cast<int>(digits[3]));
  bool emitted = false;

  // ---- 1-3. whole look-up; a mapped backslash waits for the next code ----
  int out = cmap_get_char(whole, fi);
  int w = width_of(fi, whole, 200);
  if (out != -1) {
    // Repair mode: a hex string has no escapes, so a backslash glyph is shown like any other.
    if (out == 0x5C && GLOBAL_REPAIR_MODE != 0) {
      run.append("\\");
      emit(run, -1, w, 0);  // no more text, the pen moves
      escape = 0;
      return;
    }
    if (out == 0x5C && escape == 0) {
      escape = 1;
      return;
    }
    emit(run, out, w, escape);
    escape = 0;
    return;
  }

  // ---- 4-7. high byte: dropped when unmapped under a font ----
  int hi_out = cmap_get_char(hi, fi);
  w = width_of(fi, hi, 500);
  if (hi_out == -1) {
    if (fi < 0) hi_out = hi;
    else if (run.kind != WIDE_KIND_TYPE3) out = hi;
  }
  hi_out = folded(run, hi_out);
  if (hi_out >= 0) {
    emitted = true;
    emit(run, hi_out, w, escape);
  }

  // ---- 8-10. low byte: stands for itself unless the font is Type3 ----
  int lo_out = cmap_get_char(lo, fi);
  w = width_of(fi, lo, 500);
  if (lo_out == -1) {
    if (!(fi >= 0 && run.kind == WIDE_KIND_TYPE3)) lo_out = lo;
    lo_out = folded(run, lo_out);
  }
  if (lo_out >= 0) {
    emitted = true;
    emit(run, lo_out, w, escape);
  }
  if (emitted) return;  // the escape flag stays as it is on this road

  // ---- 12. last resort: only a Type3 font with both bytes unmapped gets here ----
  out = (fi >= 0 && run.kind == WIDE_KIND_TYPE3) ? -1 : whole;
  if (whole == 0xA0) out = 0x20;
  out = folded(run, out);
  if (run.kind == 1 && whole == 0xDE) out = 0xFB01;
  if (run.kind == 1 && whole == 0xDF) out = 0xFB02;
  if (run.kind == 2 && whole == 0x93) out = 0xFB01;
  if (run.kind == 2 && whole == 0x94) out = 0xFB02;
  if (run.kind == 3 && whole == 0xAE) out = 0xFB01;
  if (run.kind == 3 && whole == 0xAF) out = 0xFB02;
  if (out >= 0) {
    emit(run, out, w, escape);
    escape = 0;
  }
}

bool starts_with(const char* text, int true_length, const char* prefix) {
  int n = static_cast<int>(strlen(prefix));
  return true_length >= n && memcmp(text, prefix, n) == 0;
}

}  // namespace

extern "C" {

char hex_handler_result[HEX_RESULT_SIZE];         // declared in fonts.h
int64_t hex_handler_groups[HEX_MAX_GROUPS][4];    // declared in fonts.h

// Decodes the characters a content scan kept between < and > (length: the scanner's count).
// Result: scratch text until the next call, never null. Moves tml_x by each character's width;
// sets GLOBAL_ACTUAL_TEXT_FLAG to 0, or 1 when the string carries an ActualText payload.
char* hex_handler_new(char* text, int length, int font_index, int font_size, float text_scale) {
  char* result = hex_handler_result;
  int64_t (*groups)[4] = hex_handler_groups;

  // ---- 1. start empty ----
  result[0] = 0;
  HexRun run{result, 0, font_index, font_known(font_index) ? Font_CMAP[font_index].encoding_kind : 0,
             font_size, text_scale};
  GLOBAL_ACTUAL_TEXT_FLAG = 0;
  if (text == nullptr) return result;
  const int true_length = static_cast<int>(strlen(text));
  int skip = 0;

  // ---- 2. ActualText marker: lower-case letters a to y are the text itself ----
  if (length > 10) {
    if (starts_with(text, true_length, "Act")) skip = 10;
    if (starts_with(text, true_length, "/Act")) {
      skip = 11;
      log_at(LOG_DEEP, "DEBUG: pdf_parser - found /Act %d - %s \n", true_length, text);
      if (true_length > 11) {
        GLOBAL_ACTUAL_TEXT_FLAG = 1;
        int copied = 0;
        for (int i = 11; i < true_length && text[i] >= 'a' && text[i] <= 'y'; i++) {
          char one[2] = {text[i], 0};
          run.append(one);
          copied++;
        }
        if (copied > 0) return result;
      }
    }
  }

  // ---- 3. MCID marker: its number, up to three digits, is not text ----
  if (length > 5 && starts_with(text, true_length, "/MCID")) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - hex_handler_new - identified MCID start pattern in hex string.\n");
    skip = 6;
    if (true_length > 6 && text[6] >= '0' && text[6] <= '9') {
      skip = 7;
      if (length > 7 && true_length > 7 && text[7] >= '0' && text[7] <= '9') skip = 8;
    }
  }

  // ---- 4. nothing left ----
  if (true_length <= skip) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - hex_handler_new - edge case - returning NULL value.\n");
    return result;
  }

  // ---- 5. whole groups of four ----
  int whole_groups = (true_length - skip) / 4;
  int remainder = (true_length - skip) % 4;
  int count = 0;
  for (int g = 0; g < whole_groups && count < HEX_MAX_GROUPS; g++, count++) {
    for (int d = 0; d < 4; d++) groups[count][d] = static_cast<unsigned char>(text[skip + 4 * g + d]);
  }

  // ---- 6. tail group, read from the scanner's count; positions past the text read "0" ----
  if (remainder != 0 && count < HEX_MAX_GROUPS) {
    auto at = [&](int pos) -> int64_t {
      return (pos >= 0 && pos < true_length) ? static_cast<unsigned char>(text[pos]) : '0';
    };
    int end = length + skip;
    int64_t* g = groups[count++];
    if (remainder == 3) {
      g[0] = at(end - 3); g[1] = at(end - 2); g[2] = at(end - 1); g[3] = '0';
    } else if (remainder == 2) {
      g[0] = '0'; g[1] = '0'; g[2] = at(end - 2); g[3] = at(end - 1);
    } else {
      g[0] = '0'; g[1] = '0'; g[2] = '0'; g[3] = at(end - 1);
    }
  }

  // ---- 7. decode the groups in order ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - hex_handler_new - starting to process hex_pairs - %d.\n", count);
  int escape = 0;
  for (int g = 0; g < count; g++) decode_group(run, groups[g], escape);
  return result;
}

}  // extern "C"
