// text/text_state.cpp -- the backward number readers for the operands of cm, Tm, Td and TD, the
// vertical distance test between two pen positions, and the pen position globals.
// Reads: the window string it is given. Writes: the two scratch TextStates; tm_x, tm_y, tml_x are
// defined here and moved by the page text code and the hex decoder.
// Limits: a number token holds READER_TOKEN_SIZE characters, of which READER_NUMBER_CHARS count.
#include <cmath>
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
static float token_value(const char* token, int token_length) {
  int n = token_length < READER_NUMBER_CHARS ? token_length : READER_NUMBER_CHARS;
  double value = 0;
  fast_float::from_chars_result r = fast_float::from_chars(token, token + n, value);
  if (r.ec == std::errc()) return static_cast<float>(value);
  char text[READER_NUMBER_CHARS + 1];
  memcpy(text, token, n);
  text[n] = 0;
  return static_cast<float>(atof(text));
}

// Walks bytes [0, length) of the window, stopping at a zero byte. Digits, a leading "-" and
// every "." build a token; a blank or line end closes it; any other byte is passed over without
// closing it, so "12Q3" reads as 123. A token still open at the end counts too.
// Only the last three tokens are ever used, so only they are turned into numbers (the earlier
// ones are counted and their text overwritten); the values are those of reading every token.
static void read_window_numbers(const char* bytes, int length, WindowNumbers* numbers) {
  numbers->count = 0;
  numbers->value[0] = numbers->value[1] = numbers->value[2] = 0;
  if (bytes == nullptr) return;
  char token[3][READER_TOKEN_SIZE];
  int token_length[3] = {0, 0, 0};
  int tokens = 0;  // tokens closed
  int slot = 0;    // tokens % 3: where the open token is written
  int open_length = 0;
  for (int i = 0; i < length; i++) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c == 0) break;
    if ((c >= '0' && c <= '9') || c == '.' || (c == '-' && open_length == 0)) {
      if (open_length < READER_TOKEN_SIZE - 1) token[slot][open_length++] = static_cast<char>(c);
    } else if (c == ' ' || c == '\n' || c == '\r') {
      if (open_length > 0) {
        token_length[slot] = open_length;
        tokens++;
        slot = slot == 2 ? 0 : slot + 1;
        open_length = 0;
      }
    }
  }
  if (open_length > 0) {
    token_length[slot] = open_length;
    tokens++;
  }
  numbers->count = tokens;
  // The newest token goes last, as when every token is shifted in.
  int kept = tokens < 3 ? tokens : 3;
  for (int k = 0; k < kept; k++) {
    int t = (tokens - kept + k) % 3;
    numbers->value[3 - kept + k] = token_value(token[t], token_length[t]);
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
