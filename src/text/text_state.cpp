// text/text_state.cpp -- the backward number readers for the operands of cm, Tm, Td and TD, the
// vertical distance test between two pen positions, and the pen position globals.
// Reads: the window string it is given. Writes: the two scratch TextStates; tm_x, tm_y, tml_x are
// defined here and moved by the page text code and the hex decoder.
// Limits: a number token holds READER_TOKEN_SIZE characters, of which READER_NUMBER_CHARS count.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <fast_float/fast_float.h>

#include "text/text.h"

extern "C" {

float tm_x = 0;   // set to 0 at the start of each text box
float tm_y = 0;
float tml_x = 0;

TextState text_state_scratch;     // result of get_text_state
TextState text_state_td_scratch;  // result of get_text_state_from_td

}  // extern "C"

constexpr int READER_TOKEN_SIZE = 100;  // characters of one number token; later ones are dropped
constexpr int READER_NUMBER_CHARS = 45; // characters that the float reader looks at, as the byte readers do

// The last three numbers of a window, newest last. Only these are ever used, so a ring of three
// stands in for the list of every number the window holds (same results, no list to grow).
struct WindowNumbers {
  float value[3];
  int count;
};

// atof of the token's first READER_NUMBER_CHARS characters, narrowed to 32 bits.
// A token holds only digits, dots and a leading "-". The fast parser rounds exactly as strtod
// does, reading the same longest prefix ("1.5.2" is 1.5); whatever it does not take as a whole
// number (a lone "-" or ".", "-.", an out-of-range value) goes to atof, so the value is always
// atof's.
// Short tokens (a sign, at most 15 digits, at most one "." before the next one) are read as
// digits / 10^(digits after the point): both are exact doubles and the division is rounded
// once, which is the correctly rounded value that strtod gives as well.
static bool short_token_value(const char* token, int token_length, double* value) {
  static constexpr double POWERS[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8,
                                      1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  int k = 0;
  bool negative = token_length > 0 && token[0] == '-';
  if (negative) k = 1;
  uint64_t digits = 0;
  int digit_count = 0;
  int after_point = -1;  // digits after the point; -1 before it
  for (; k < token_length; k++) {
    char c = token[k];
    if (c == '.') {
      if (after_point >= 0) break;  // the longest number ends before a second point
      after_point = 0;
      continue;
    }
    if (++digit_count > 15) return false;
    digits = digits * 10 + static_cast<uint64_t>(c - '0');
    if (after_point >= 0) after_point++;
  }
  if (digit_count == 0) return false;
  double v = static_cast<double>(digits);
  if (after_point > 0) v /= POWERS[after_point];
  *value = negative ? -v : v;
  return true;
}

static float token_value(const char* token, int token_length) {
  double quick = 0;
  if (token_length <= READER_NUMBER_CHARS && short_token_value(token, token_length, &quick)) {
    return static_cast<float>(quick);
  }
  int n = token_length < READER_NUMBER_CHARS ? token_length : READER_NUMBER_CHARS;
  double value = 0;
  fast_float::from_chars_result r = fast_float::from_chars(token, token + n, value);
  if (r.ec == std::errc()) return static_cast<float>(value);
  char text[READER_NUMBER_CHARS + 1];
  memcpy(text, token, n);
  text[n] = 0;
  return static_cast<float>(atof(text));
}

// How a byte of a window counts: part of a number token, a blank or line end that closes one, or
// anything else (passed over without closing it).
enum : unsigned char { WINDOW_OTHER = 0, WINDOW_NUMBER = 1, WINDOW_BLANK = 2, WINDOW_MINUS = 3 };
static constexpr struct WindowClasses {
  unsigned char of[256] = {};
  constexpr WindowClasses() : of() {
    for (int c = '0'; c <= '9'; c++) of[c] = WINDOW_NUMBER;
    of['.'] = WINDOW_NUMBER;
    of['-'] = WINDOW_MINUS;  // a number byte only at a token's start
    of[' '] = of['\n'] = of['\r'] = WINDOW_BLANK;
  }
} WINDOW_CLASS{};

// The text of the token whose bytes lie in [from, to): its number bytes, a "-" only as the first,
// at most READER_TOKEN_SIZE - 1 of them. Result: its length.
static int token_text(const char* bytes, int from, int to, char* out) {
  int n = 0;
  for (int i = from; i < to; i++) {
    unsigned char k = WINDOW_CLASS.of[static_cast<unsigned char>(bytes[i])];
    if ((k == WINDOW_NUMBER || (k == WINDOW_MINUS && n == 0)) && n < READER_TOKEN_SIZE - 1) {
      out[n++] = bytes[i];
    }
  }
  return n;
}

// Walks bytes [0, length) of the window, stopping at a zero byte. Digits, a leading "-" and
// every "." build a token; a blank or line end closes it; any other byte is passed over without
// closing it, so "12Q3" reads as 123. A token still open at the end counts too.
// Only the last three tokens are ever used, so the walk only marks where each token begins and
// ends, and only those three are gathered and turned into numbers; the values are those of
// reading every token.
static void read_window_numbers(const char* bytes, int length, WindowNumbers* numbers) {
  numbers->count = 0;
  numbers->value[0] = numbers->value[1] = numbers->value[2] = 0;
  if (bytes == nullptr) return;
  int span_from[3] = {0, 0, 0};
  int span_to[3] = {0, 0, 0};
  int tokens = 0;      // tokens closed
  int slot = 0;        // tokens % 3: the ring entry of the open token
  int open_from = -1;  // first byte of the open token, -1 when none is open
  int i = 0;
  for (; i < length; i++) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c == 0) break;
    unsigned char k = WINDOW_CLASS.of[c];
    if (k == WINDOW_NUMBER || (k == WINDOW_MINUS && open_from < 0)) {
      if (open_from < 0) open_from = i;
    } else if (k == WINDOW_BLANK && open_from >= 0) {
      span_from[slot] = open_from;
      span_to[slot] = i;
      tokens++;
      slot = slot == 2 ? 0 : slot + 1;
      open_from = -1;
    }
  }
  if (open_from >= 0) {
    span_from[slot] = open_from;
    span_to[slot] = i;
    tokens++;
  }
  numbers->count = tokens;
  // The newest token goes last, as when every token is shifted in.
  int kept = tokens < 3 ? tokens : 3;
  for (int n = 0; n < kept; n++) {
    int t = (tokens - kept + n) % 3;
    char token[READER_TOKEN_SIZE];
    int token_length = token_text(bytes, span_from[t], span_to[t], token);
    numbers->value[3 - kept + n] = token_value(token, token_length);
  }
}

extern "C" {

// Operands of Tm and cm (a b c d e f): scale = |d|, x = e, y = f. Fewer than three numbers in
// the window give all 0. The result is scratch, valid until the next call.
TextState* get_text_state(char* bytes, int length) {
  TextState& state = text_state_scratch;
  WindowNumbers numbers;
  read_window_numbers(bytes, length, &numbers);
  if (numbers.count > 2) {
    state.scale = std::fabs(numbers.value[0]);
    state.x = numbers.value[1];
    state.y = numbers.value[2];
  } else {
    state.scale = 0;
    state.x = 0;
    state.y = 0;
  }
  return &state;
}

// Operands of Td and TD (tx ty): scale 0, x = tx, y = ty; fewer than two numbers give 0, 0.
TextState* get_text_state_from_td(char* bytes, int length) {
  TextState& state = text_state_td_scratch;
  WindowNumbers numbers;
  read_window_numbers(bytes, length, &numbers);
  state.scale = 0;
  if (numbers.count > 1) {
    state.x = numbers.value[1];
    state.y = numbers.value[2];
  } else {
    state.x = 0;
    state.y = 0;
  }
  return &state;
}

// 2 for a vertical gap above 100, 1 above 5 or above the scaled font size, else 0; always 0 while
// the pen (x1, y1) is still at the origin of its box. The horizontal gap plays no part.
int evaluate_text_distance(float x1, float y1, float x2, float y2, int font_size, float scale) {
  float dy = std::fabs(y1 - y2);
  int result = 0;
  if (dy > 100.0f) {
    result = 2;
  } else if (dy > 5.0f || dy > static_cast<float>(font_size) * scale) {
    result = 1;
  }
  if (x1 == 0.0f && y1 == 0.0f) result = 0;
  return result;
}

}  // extern "C"
