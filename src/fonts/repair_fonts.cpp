// fonts/repair_fonts.cpp -- the font rules of the repair mode (GLOBAL_REPAIR_MODE 1), run after
// font_encoding_cmap_handler: /Widths read as numbers (fractions and all), the widths of a
// composite font from its descendant's /DW and /W, and Type3 fonts decoded through their
// encoding like any simple font, their glyph widths brought to thousandths by /FontMatrix.
// Reads: buffer, obj. Writes: widths and encoding_kind of Font_CMAP[0, global_font_count).
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

namespace {

constexpr int ARRAY_TOKENS_MAX = 100000;  // numbers and brackets read from one array
constexpr double DEFAULT_CID_WIDTH = 1000;

// Position just past "/name" as a whole name in [start, stop], or -1.
int after_name(int start, int stop, const char* name) {
  int n = static_cast<int>(strlen(name));
  for (int i = start < 0 ? 0 : start; i + n <= stop; i++) {
    if (buffer_byte_at(i) != '/') continue;
    int k = 0;
    while (k < n && buffer_byte_at(i + 1 + k) == static_cast<unsigned char>(name[k])) k++;
    if (k == n && is_pdf_delimiter(buffer_byte_at(i + 1 + n))) return i + 1 + n;
  }
  return -1;
}

// A token of an array: a number, or an opening (1) or closing (2) bracket.
struct Token {
  int bracket;
  double value;
};

// Reads the array that starts at or after `at` (following one "N G R" to its object), or the
// single number there. Stops at the array's closing bracket.
std::vector<Token> read_array(int at, int stop) {
  std::vector<Token> tokens;
  if (at < 0) return tokens;
  while (at <= stop && is_pdf_white(buffer_byte_at(at))) at++;
  if (buffer_byte_at(at) != '[') {
    // "N G R": the array is the referenced object
    char* end = nullptr;
    char text[32];
    int n = 0;
    for (int i = at; i <= stop && n < 31 && buffer_byte_at(i) >= 0; i++) text[n++] = static_cast<char>(buffer_byte_at(i));
    text[n] = 0;
    long number = strtol(text, &end, 10);
    if (end == text) return tokens;
    while (*end == ' ' || *end == '\n' || *end == '\r') end++;
    if (!(*end >= '0' && *end <= '9')) return tokens;
    strtol(end, &end, 10);
    while (*end == ' ' || *end == '\n' || *end == '\r') end++;
    if (*end != 'R' || get_obj(static_cast<int>(number)) < 0) return tokens;
    at = global_tmp_obj.start;
    stop = global_tmp_obj.stop;
    while (at <= stop && buffer_byte_at(at) != '[') at++;
    if (at > stop) return tokens;
  }
  int depth = 0;
  for (int i = at; i <= stop && static_cast<int>(tokens.size()) < ARRAY_TOKENS_MAX; i++) {
    int c = buffer_byte_at(i);
    if (c < 0) break;
    if (c == '[') {
      depth++;
      tokens.push_back({1, 0});
    } else if (c == ']') {
      tokens.push_back({2, 0});
      if (--depth <= 0) break;
    } else if ((c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.') {
      char text[40];
      int n = 0;
      while (i <= stop && n < 39 && ((buffer_byte_at(i) >= '0' && buffer_byte_at(i) <= '9') || buffer_byte_at(i) == '-' ||
                                     buffer_byte_at(i) == '+' || buffer_byte_at(i) == '.')) {
        text[n++] = static_cast<char>(buffer_byte_at(i++));
      }
      text[n] = 0;
      i--;
      tokens.push_back({0, atof(text)});
    } else if (c == 'R' && tokens.size() >= 2) {
      tokens.pop_back();  // "N G R" inside an array: not a width
      tokens.pop_back();
    }
  }
  return tokens;
}

int64_t width_value(double w, double scale) { return static_cast<int64_t>(std::lround(w * scale)); }

void set_width(FontRecord& font, int64_t code, int64_t width) {
  if (code >= 0 && code < FONT_WIDTHS_SIZE) font.widths[code] = width;
}

// /Widths from /FirstChar on, as numbers.
void simple_widths(FontRecord& font, int start, int stop, double scale) {
  int widths_at = after_name(start, stop, "Widths");
  int first_at = after_name(start, stop, "FirstChar");
  if (widths_at < 0 || first_at < 0) return;
  int first = atoi(reinterpret_cast<const char*>(buffer) + first_at);  // the number after the name
  if (first < 0 || first >= FONT_WIDTHS_SIZE) return;
  std::vector<Token> tokens = read_array(widths_at, stop);
  int code = first;
  for (const Token& t : tokens) {
    if (t.bracket == 0) set_width(font, code++, width_value(t.value, scale));
  }
}

// A composite font: /DW and /W of its first descendant. Codes stand for CIDs here.
// The first integer at `at`, past blanks and an opening bracket; -1 if none.
int first_integer(int at, int stop) {
  while (at <= stop && (is_pdf_white(buffer_byte_at(at)) || buffer_byte_at(at) == '[')) at++;
  if (!(buffer_byte_at(at) >= '0' && buffer_byte_at(at) <= '9')) return -1;
  return atoi(reinterpret_cast<const char*>(buffer) + at);
}

void composite_widths(FontRecord& font, int start, int stop) {
  // /DescendantFonts [N 0 R], or N 0 R of an array object holding that reference
  int at = after_name(start, stop, "DescendantFonts");
  if (at < 0) return;
  while (at <= stop && is_pdf_white(buffer_byte_at(at))) at++;
  bool direct = buffer_byte_at(at) == '[';
  int number = first_integer(at, stop);
  if (!direct && number >= 0 && get_obj(number) >= 0) {
    number = first_integer(global_tmp_obj.start, global_tmp_obj.stop);
  }
  if (number < 0 || get_obj(number) < 0) return;
  int ds = global_tmp_obj.dict_start;
  int de = global_tmp_obj.dict_stop;
  double dw = DEFAULT_CID_WIDTH;
  int dw_at = after_name(ds, de, "DW");
  if (dw_at >= 0) dw = atof(reinterpret_cast<const char*>(buffer) + dw_at);
  for (int c = 0; c < FONT_WIDTHS_SIZE; c++) font.widths[c] = width_value(dw, 1);
  std::vector<Token> w = read_array(after_name(ds, de, "W"), de);
  // c [w1 w2 ...]  or  c_first c_last w
  size_t k = 1;  // past the opening bracket
  while (k < w.size()) {
    if (w[k].bracket != 0) break;
    int64_t c = static_cast<int64_t>(w[k].value);
    if (k + 1 < w.size() && w[k + 1].bracket == 1) {
      k += 2;
      while (k < w.size() && w[k].bracket == 0) set_width(font, c++, width_value(w[k++].value, 1));
      k++;  // the closing bracket
    } else if (k + 2 < w.size() && w[k + 1].bracket == 0 && w[k + 2].bracket == 0) {
      int64_t last = static_cast<int64_t>(w[k + 1].value);
      if (last >= FONT_WIDTHS_SIZE) last = FONT_WIDTHS_SIZE - 1;
      for (int64_t x = c; x <= last; x++) set_width(font, x, width_value(w[k + 2].value, 1));
      k += 3;
    } else {
      break;
    }
  }
}

// The first number of /FontMatrix times 1000: the factor from glyph units to thousandths.
double type3_scale(int start, int stop) {
  std::vector<Token> m = read_array(after_name(start, stop, "FontMatrix"), stop);
  for (const Token& t : m) {
    if (t.bracket == 0) return t.value != 0 ? std::fabs(t.value) * 1000.0 : 1.0;
  }
  return 1.0;
}

}  // namespace

extern "C" {

// The repaired widths and kinds of every font record; always 0.
int repair_font_pass(void) {
  if (Font_CMAP == nullptr) return 0;
  int fonts = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  for (int n = 0; n < fonts; n++) {
    FontRecord& font = Font_CMAP[n];
    if (get_obj(font.font_obj) < 0) continue;
    int start = global_tmp_obj.dict_start;
    int stop = global_tmp_obj.dict_stop;
    int subtype = after_name(start, stop, "Subtype");
    bool type3 = subtype >= 0 && after_name(subtype - 1, subtype + 8, "Type3") >= 0;
    bool type0 = subtype >= 0 && after_name(subtype - 1, subtype + 8, "Type0") >= 0;
    double scale = 1.0;
    if (type3) {
      scale = type3_scale(start, stop);
      if (font.encoding_kind == -99) font.encoding_kind = 0;  // unmapped codes stand for themselves
    }
    if (type0) composite_widths(font, start, stop);
    else simple_widths(font, start, stop, scale);
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - repair - font widths and kinds read - %d \n", fonts);
  return 0;
}

}  // extern "C"
