// objects/byte_readers.cpp -- lifts a text or a number out of raw bytes: spans of buffer, or
// byte arrays (one character per 64-bit element, ended by a 0 element or counted by a length).
// Reads: buffer[0, buffer_capacity). Writes: the scratch texts of the two string
// readers only (string_from_buffer_text, string_from_array_text).
// Limits: the constants below and in objects.h; what lies past them is not read.
#include <cstdlib>
#include <cstring>

#include "objects/objects.h"

extern "C" {

constexpr int INT_FROM_BUFFER_REACH = 50;       // positions past start read for a number (51 in all)
constexpr int NUMBER_TEXT_MAX = 45;             // characters collected from a byte array number

char string_from_buffer_text[STRING_FROM_BUFFER_MAX + 1];  // declared in objects.h
char string_from_array_text[STRING_FROM_ARRAY_MAX + 1];    // declared in objects.h

// The byte at `pos`, or 0 where pos lies outside buffer. A zero byte is what every reader here
// passes over or stops at, so positions outside the buffer read as nothing.
static inline unsigned char byte_or_zero(int pos) {
  if (buffer == nullptr || pos < 0 || pos >= buffer_capacity) return 0;
  return buffer[pos];
}

// Scratch text of the bytes [start, end), end = start + 250000 at most. Zero bytes vanish from
// the result without ending it. The text is built with a running length instead of an append by
// search to its end, so the cost is linear; the bytes out are the same.
char* get_string_from_buffer(int start, int stop) {
  char* text = string_from_buffer_text;
  int end = (stop - start > STRING_FROM_BUFFER_MAX) ? start + STRING_FROM_BUFFER_MAX : stop;
  int length = 0;
  for (int i = start; i < end; i++) {
    unsigned char c = byte_or_zero(i);
    if (c != 0) text[length++] = static_cast<char>(c);
  }
  text[length] = 0;
  return text;
}

// Scratch text of elements [0, min(length, 10000)), each by its low byte; a 0 adds nothing.
char* get_string_from_byte_array(int64_t* array, int length) {
  char* text = string_from_array_text;
  int end = length < STRING_FROM_ARRAY_MAX ? length : STRING_FROM_ARRAY_MAX;
  int n = 0;
  for (int i = 0; i < end; i++) {
    char c = static_cast<char>(array[i] & 0xFF);
    if (c != 0) text[n++] = c;
  }
  text[n] = 0;
  return text;
}

// atoi of the bytes [start, end], end = start + 50 at most and included; blanks are dropped and
// a zero byte stops the walk. -1 when nothing was collected. "12 0 R" reads as "120R": 120.
int get_int_from_buffer(int start, int stop) {
  char text[INT_FROM_BUFFER_REACH + 2];
  int end = (stop - start > INT_FROM_BUFFER_REACH) ? start + INT_FROM_BUFFER_REACH : stop;
  int length = 0;
  for (int i = start; i <= end; i++) {
    unsigned char c = byte_or_zero(i);
    if (c == 0) break;
    if (c != ' ') text[length++] = static_cast<char>(c);
  }
  if (length == 0) return -1;
  text[length] = 0;
  return atoi(text);
}

// Collects up to 45 characters of a 0-ended byte array, blanks (32) dropped, into `text`.
// Returns the number collected.
static int collect_number_text(const int64_t* array, char* text) {
  int length = 0;
  for (int i = 0; array[i] != 0 && length < NUMBER_TEXT_MAX; i++) {
    if (array[i] == 32) continue;
    text[length++] = static_cast<char>(array[i] & 0xFF);
  }
  text[length] = 0;
  return length;
}

// atoi of a 0-ended byte array, blanks dropped, at most 45 characters; -1 when empty.
int get_int_from_byte_array(int64_t* array) {
  char text[NUMBER_TEXT_MAX + 1];
  int length = collect_number_text(array, text);
  if (length == 0) return -1;
  // Up to nine plain digits are their own value, as atoi reads them, without the call.
  if (length <= 9) {
    int value = 0;
    int k = 0;
    while (k < length && text[k] >= '0' && text[k] <= '9') value = value * 10 + (text[k++] - '0');
    if (k == length) return value;
  }
  return atoi(text);
}

// atof of a 0-ended byte array, narrowed to 32 bits, the same walk; 0.0 when empty.
float get_float_from_byte_array(int64_t* array) {
  char text[NUMBER_TEXT_MAX + 1];
  if (collect_number_text(array, text) == 0) return 0.0f;
  return static_cast<float>(atof(text));
}

}  // extern "C"
