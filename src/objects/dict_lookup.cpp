// objects/dict_lookup.cpp -- key look-ups in dictionaries by byte search, and the extractors that
// pick name and number pairs out of a value span. A key counts wherever its bytes stand.
// Reads: buffer[0, buffer_capacity), never past it. Writes: nn_global_tmp, the scratch span
// dict_value_span.
// Limits: tokens of TOKEN_MAX characters, GLOBAL_NN_TMP_COUNT pairs; the rest is dropped.
#include <cstring>

#include "objects/objects.h"
#include "run/run_state.h"

extern "C" {

constexpr int TOKEN_MAX = 500;  // characters of one name or number token; later ones are dropped

KeyValueSpan dict_value_span;  // declared in objects.h

// The last position of a span [start, stop] that lies inside buffer.
static inline int clamp_to_buffer(int stop) {
  return stop < buffer_capacity ? stop : buffer_capacity - 1;
}

static inline bool is_digit(int c) { return c >= '0' && c <= '9'; }
static inline bool is_blank_or_line_end(int c) { return c == ' ' || c == '\r' || c == '\n'; }

// 1 when key[1 .. key_length) equals the bytes after `pos` (key[0] is already known to match).
// The compare is not held to a span's stop, only to the buffer's end.
static bool rest_of_key_matches(int pos, const int32_t* key, int key_length) {
  for (int m = 1; m < key_length; m++) {
    if (buffer_byte_at(pos + m) != key[m]) return false;
  }
  return true;
}

// 1 if the key's first byte occurs in [start, stop) and the whole key matches there; else -1.
int dict_search_buffer(int start, int stop, const int32_t* key, int key_length) {
  if (key_length < 1) return -1;
  int from = start < 0 ? 0 : start;
  int end = stop < buffer_capacity ? stop : buffer_capacity;
  if (key[0] < 0 || key[0] > 255) return -1;  // no byte equals it
  // Each place of the first byte is found by memchr, the same places a byte-by-byte walk tests.
  const unsigned char first = static_cast<unsigned char>(key[0]);
  for (int i = from; i < end; i++) {
    const void* hit = memchr(buffer + i, first, static_cast<size_t>(end - i));
    if (hit == nullptr) return -1;
    i = static_cast<int>(static_cast<const unsigned char*>(hit) - buffer);
    if (rest_of_key_matches(i, key, key_length)) return 1;
  }
  return -1;
}

// The value span after the first hit of the key in [start, stop]: it ends at the next "/"
// outside brackets, at the first ">>", or at stop. Scratch result, valid until the next call.
KeyValueSpan* dict_find_key_value_buffer(int start, int stop, const int32_t* key, int key_length) {
  KeyValueSpan& span = dict_value_span;
  span = KeyValueSpan{-1, -1, -1, -1, 0};
  if (key_length < 1) return &span;
  int from = start < 0 ? 0 : start;
  int last = clamp_to_buffer(stop);
  for (int i = from; i <= last; i++) {
    // ---- 1. the key ----
    if (buffer[i] != key[0]) continue;
    span.key_start = i;
    if (!rest_of_key_matches(i, key, key_length)) continue;

    // ---- 2. a key at the span's end has no value ----
    span.key_stop = i + key_length;
    if (span.key_stop >= stop) return &span;

    // ---- 3. the value's walk ----
    span.value_start = span.key_stop;
    int open = 0;
    for (int k = span.key_stop; k <= stop; k++) {
      int c = buffer_byte_at(k);
      if (c < 0) break;  // past the buffer's end: the value ends at stop
      if (c == '/' && open == 0) {
        span.value_stop = k;
        break;
      }
      if (c == '[' && open == 0) open = 1;
      if (c == ']' && open == 1) open = 0;
      if (c == '>' && k < stop && buffer_byte_at(k + 1) == '>') {
        span.value_stop = k + 1;
        break;
      }
      if (c == '<' && k + 1 < stop && buffer_byte_at(k + 1) == '<') open = 1;
    }
    span.open = open;

    // ---- 4. no mark: the value runs to stop ----
    if (span.value_stop == -1) span.value_stop = stop;
    return &span;
  }
  return &span;
}

// ---- the extractors ----

// How an extraction treats what does not look like a list of name and reference pairs.
enum ExtractMode { EXTRACT_ANY, EXTRACT_PAIRS_ONLY };

// The pair counters of one extraction and its overflow note.
struct PairCounts {
  int names;
  int numbers;
  bool dropped;  // a pair past GLOBAL_NN_TMP_COUNT was dropped and the warning is due
};

// Writes a name to entry `names` unless the scratch list is full; returns 1 if it was counted.
static int store_name(PairCounts* counts, const char* name) {
  if (counts->names >= GLOBAL_NN_TMP_COUNT) {
    counts->dropped = true;
    return 0;
  }
  NameNumberPair* pair = &nn_global_tmp[counts->names];
  strncpy(pair->name, name, sizeof pair->name - 1);
  pair->name[sizeof pair->name - 1] = 0;
  counts->names++;
  return 1;
}

// Writes a number to entry `numbers` unless the scratch list is full; returns 1 if counted.
static int store_number(PairCounts* counts, int number) {
  if (counts->numbers >= GLOBAL_NN_TMP_COUNT) {
    counts->dropped = true;
    return 0;
  }
  nn_global_tmp[counts->numbers].number = number;
  counts->numbers++;
  return 1;
}

static void warn_if_dropped(const PairCounts* counts) {
  if (counts->dropped) {
    log_at(LOG_WARN, "WARNING: pdf_parser - more than %d names or numbers in one value - rest dropped \n",
           GLOBAL_NN_TMP_COUNT);
  }
}

// Appends one character to a token, keeping room for the terminating 0.
static inline void append_token(int64_t* token, int* len, int c) {
  if (*len < TOKEN_MAX - 1) token[(*len)++] = c;
}

// The walk shared by both buffer extractors over [start, stop). Pair k is the k-th name and the
// k-th number of the span. EXTRACT_PAIRS_ONLY returns 0 as soon as the span stops looking like
// "/Name N G R" pairs, and makes no empty names for bare references.
static int extract_pairs(int start, int stop, ExtractMode mode) {
  int64_t name[TOKEN_MAX];
  int64_t number[TOKEN_MAX];
  PairCounts counts = {0, 0, false};
  int len = 0;
  int in_name = -1;
  int in_number = -1;
  int skip_until = 0;
  int from = start < 0 ? 0 : start;
  int end = stop < buffer_capacity ? stop : buffer_capacity;
  for (int i = from; i < end; i++) {
    int c = buffer[i];

    // ---- 1. a name grows by any printable byte ----
    if (in_name == 1 && !is_blank_or_line_end(c) && c > 31 && c < 129) append_token(name, &len, c);

    // ---- 2. a separator ends the token ----
    if (is_blank_or_line_end(c) || c == ']') {
      if (in_name == 1) {
        in_name = -1;
        in_number = -1;
        store_name(&counts, get_string_from_byte_array(name, len));
        len = 0;
        if (mode == EXTRACT_PAIRS_ONLY && counts.names > counts.numbers + 1) {
          warn_if_dropped(&counts);
          return 0;
        }
      }
      if (in_number == 1) {
        in_number = -1;
        number[len] = 0;
        store_number(&counts, get_int_from_byte_array(number));
        len = 0;
        if (mode == EXTRACT_ANY) {
          if (counts.names < counts.numbers) store_name(&counts, "");
        } else if (counts.names < counts.numbers) {
          warn_if_dropped(&counts);
          return 0;
        }
        // A reference "N G R" with a one-digit generation: hide the generation.
        bool reference = i + 3 < stop && is_digit(buffer_byte_at(i + 1)) &&
                         is_blank_or_line_end(buffer_byte_at(i + 2)) && buffer_byte_at(i + 3) == 'R';
        if (reference) {
          skip_until = i + 4;
        } else if (mode == EXTRACT_PAIRS_ONLY) {
          warn_if_dropped(&counts);
          return 0;
        }
      }
    }

    // ---- 3. "/" starts a name ----
    if (c == '/' && in_name == -1) {
      in_name = 1;
      len = 0;
      append_token(name, &len, c);
    }

    // ---- 4. a digit outside a name grows a number ----
    if (is_digit(c) && i >= skip_until && in_name != 1) {
      in_number = 1;
      append_token(number, &len, c);
    }
  }
  warn_if_dropped(&counts);
  return counts.numbers;
}

// Pairs of names and numbers from [start, stop) into nn_global_tmp; returns the count of
// numbers. A bare reference gets an empty name. A span of -1, -1 gives 0.
int extract_obj_from_buffer(int start, int stop) { return extract_pairs(start, stop, EXTRACT_ANY); }

// The same, but 0 as soon as the span is not a list of "/Name N G R" pairs. Entries written
// before that stay in nn_global_tmp.
int extract_obj_from_buffer_with_safety_check(int start, int stop) {
  return extract_pairs(start, stop, EXTRACT_PAIRS_ONLY);
}

// ---- the byte-array forms: exported, called by nothing in the library ----

// 1 when the key occurs in array[0, length), else 0. The compare stays inside the array.
int dict_search(int64_t* array, int length, const int32_t* key, int key_length) {
  if (key_length < 1) return 0;
  for (int i = 0; i < length; i++) {
    if (array[i] != key[0]) continue;
    int m = 1;
    while (m < key_length && i + m < length && array[i + m] == key[m]) m++;
    if (m == key_length) return 1;
  }
  return 0;
}

// Kept for callers by name: the earlier form of the value look-up over a byte array. It works
// its span out and hands nothing back: the result is always 0.
int dict_find_key_value(int64_t* array, int length, const int32_t* key, int key_length) {
  KeyValueSpan span = {-1, -1, -1, -1, 0};
  if (key_length < 1) return 0;
  for (int i = 0; i < length; i++) {
    if (array[i] != key[0]) continue;
    span.key_start = i;
    int m = 1;
    while (m < key_length && i + m < length && array[i + m] == key[m]) m++;
    if (m != key_length) continue;
    span.key_stop = i + key_length;
    if (span.key_stop >= length) return 0;
    span.value_start = span.key_stop + 1;
    for (int k = span.value_start; k < length; k++) {
      if (array[k] == '/' && span.open == 0) {
        span.value_stop = k - 1;
        break;
      }
      if (array[k] == '>' && k + 1 < length && array[k + 1] == '>') {
        span.value_stop = k + 1;
        break;
      }
      if (array[k] == '<' && k + 1 < length && array[k + 1] == '<') span.open = 1;
    }
    if (span.value_stop == -1) span.value_stop = length;
    return 0;
  }
  return 0;
}

// The earlier extractor over a byte array: only the blank ends a token, a name takes any
// character, a digit inside a name also goes to the number token (so the shared length steps by
// two), and the generation test looks for a blank alone. Returns the count of numbers.
int extract_obj_from_dict_value(int64_t* array, int length) {
  int64_t name[TOKEN_MAX] = {0};
  int64_t number[TOKEN_MAX] = {0};
  PairCounts counts = {0, 0, false};
  int len = 0;
  int in_name = -1;
  int in_number = -1;
  int skip_until = 0;
  for (int i = 0; i < length; i++) {
    int64_t c = array[i];
    if (in_name == 1 && c != ' ') append_token(name, &len, static_cast<int>(c));
    if (c == ' ') {
      if (in_name == 1) {
        in_name = -1;
        in_number = -1;
        store_name(&counts, get_string_from_byte_array(name, len));
        memset(name, 0, sizeof name);
        len = 0;
      }
      if (in_number == 1) {
        in_number = -1;
        number[len] = 0;
        store_number(&counts, get_int_from_byte_array(number));
        memset(number, 0, sizeof number);
        len = 0;
        if (counts.names < counts.numbers) store_name(&counts, "");
        if (i + 3 < length && array[i + 1] >= '0' && array[i + 1] <= '9' && array[i + 2] == ' ' &&
            array[i + 3] == 'R') {
          skip_until = i + 4;
        }
      }
    }
    if (c == '/' && in_name == -1) {
      in_name = 1;
      memset(name, 0, sizeof name);
      len = 0;
      append_token(name, &len, '/');
    }
    if (c >= '0' && c <= '9' && i >= skip_until) {
      in_number = 1;
      append_token(number, &len, static_cast<int>(c));
    }
  }
  warn_if_dropped(&counts);
  return counts.numbers;
}

}  // extern "C"
