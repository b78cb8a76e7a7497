// fonts/cmap_reader.cpp -- the ToUnicode readers (process_cmap from an inflated stream,
// process_cmap_buffer_alt from buffer) and cmap_get_char, the look-up of every decoder.
// Reads: flate_dst_tmp_buffer or buffer, Font_CMAP. Writes: cmap_in, cmap_out, cmap_count of
// one font, cmap_work; frees flate_dst_tmp_buffer. Limits: the CMAP_* bounds below and in
// fonts.h; what passes them drops.
#include <cstdlib>
#include <cstring>

#include "fonts/font_internal.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

extern "C" {
CmapWork cmap_work;  // declared in fonts.h
}  // extern "C"

namespace {

constexpr int CMAP_SECTION_BYTES = 5000;    // bytes read of one section; the rest of it is not read
constexpr int CMAP_FLATE_DIGITS = 100;      // digits of one token (inflated stream); more are dropped
constexpr int CMAP_BUFFER_DIGITS = 10;      // digits of one token (stream in buffer); more are dropped
constexpr int CMAP_FLATE_PAIR_CAP = 1890;   // pairs past this stop the expansion (inflated stream)
constexpr int CMAP_BUFFER_PAIR_CAP = 890;   // the same for a stream read from buffer
constexpr int CMAP_EXTENSION_PAIRS = 150;   // the 3/32 copy takes entries 1..149 of record 0

// The two readers are close copies; these are the points where they differ.
struct ReaderMode {
  bool from_flate;        // process_cmap
  int digit_cap;          // token digits kept
  int pair_cap;           // expansion stops once the pair count is above it
  int array_slack;        // an array closes when values - array count is at least this
};

constexpr ReaderMode FLATE_MODE{true, CMAP_FLATE_DIGITS, CMAP_FLATE_PAIR_CAP, -1};
constexpr ReaderMode BUFFER_MODE{false, CMAP_BUFFER_DIGITS, CMAP_BUFFER_PAIR_CAP, -1001};

void add_value(int64_t v) {
  if (cmap_work.value_count < CMAP_MAX_VALUES) cmap_work.values[cmap_work.value_count++] = v;
}

bool matches(const unsigned char* src, int pos, const char* word) {
  for (int k = 0; word[k]; k++) {
    if (src[pos + k] != static_cast<unsigned char>(word[k])) return false;
  }
  return true;
}

bool is_blank(unsigned char b) { return b == ' ' || b == '\n' || b == '\r'; }

// ---- phase 1: section positions ----
void find_sections(const unsigned char* src, int len) {
  int consumed = 0;
  bool in_char = false, in_range = false;
  int pending_start = 0;
  cmap_work.char_count = 0;
  cmap_work.range_count = 0;
  for (int pos = 0; pos < len; pos++) {
    if (pos > consumed && !in_range && src[pos] == 'b' && len - pos > 11 &&
        matches(src, pos, "beginbfchar")) {
      in_char = true;
      pending_start = pos + 11;
      consumed = pending_start;
    }
    if (pos > consumed && in_char && src[pos] == 'e' && len - pos > 9 &&
        matches(src, pos, "endbfchar")) {
      in_char = false;
      consumed = pos + 9;
      if (cmap_work.char_count < CMAP_MAX_SECTIONS) {
        cmap_work.char_start[cmap_work.char_count] = pending_start;
        cmap_work.char_stop[cmap_work.char_count++] = pos - 1;
      }
    }
    if (pos > consumed && !in_char && src[pos] == 'b' && len - pos > 12 &&
        matches(src, pos, "beginbfrange")) {
      in_range = true;
      pending_start = pos + 12;
      consumed = pending_start;
    }
    if (pos > consumed && in_range && src[pos] == 'e' && len - pos > 10 &&
        matches(src, pos, "endbfrange")) {
      in_range = false;
      consumed = pos + 10;
      if (cmap_work.range_count < CMAP_MAX_SECTIONS) {
        cmap_work.range_start[cmap_work.range_count] = pending_start;
        cmap_work.range_stop[cmap_work.range_count++] = pos - 1;
      }
    }
  }
}

// The bytes of one section: from its start up to, not including, its stop.
int section_length(int start, int stop) {
  int n = stop - start;
  if (n < 0) n = 0;
  return n > CMAP_SECTION_BYTES ? CMAP_SECTION_BYTES : n;
}

// ---- phase 2: bfchar sections, each pair as the triple in, in, out ----
void read_bfchar(const unsigned char* src, const ReaderMode& mode) {
  bool input_next = true;  // kept across sections
  int64_t token[CMAP_FLATE_DIGITS + 1];
  for (int s = 0; s < cmap_work.char_count; s++) {
    const unsigned char* sec = src + cmap_work.char_start[s];
    const int n = section_length(cmap_work.char_start[s], cmap_work.char_stop[s]);
    bool in_token = false;
    int tlen = 0;
    for (int k = 0; k < n; k++) {
      const unsigned char b = sec[k];
      if (in_token && b != '>' && !is_blank(b) && tlen < mode.digit_cap) token[tlen++] = b;
      if (b == '<') in_token = true;
      bool ends = b == '>' || (mode.from_flate && is_blank(b) && tlen > 0);
      if (!ends) continue;
      in_token = false;
      if (tlen > 0 || !mode.from_flate) {
        int64_t v = get_hex(token, tlen);
        add_value(v);
        if (input_next) add_value(v);
      }
      input_next = !input_next;
      tlen = 0;
    }
  }
}

// ---- phase 3: bfrange sections, as triples first, last, output ----
void read_bfrange(const unsigned char* src, const ReaderMode& mode) {
  int64_t token[CMAP_FLATE_DIGITS + 1];
  int64_t array_token[CMAP_FLATE_DIGITS + 1];
  for (int s = 0; s < cmap_work.range_count; s++) {
    const unsigned char* sec = src + cmap_work.range_start[s];
    const int n = section_length(cmap_work.range_start[s], cmap_work.range_stop[s]);
    // The array count belongs to the section, not to one array: a second array in the same
    // section goes on counting (and storing) behind the first, and closes and expands by that
    // count, so its codes take the first array's outputs.
    int array_end = -1;
    int array_count = 0;
    bool array_open = false;
    bool in_token = false;
    int tlen = 0;
    for (int k = 0; k < n; k++) {
      const unsigned char b = sec[k];
      // 1. a bracketed array of outputs, one per code from the range's first code on
      if (b == '[' && k > array_end) {
        array_open = true;
        bool finished = false;
        bool in_array_token = false;
        int alen = 0;
        for (int j = k; j < n; j++) {
          const unsigned char a = sec[j];
          if (a == ']') {
            array_open = false;
            array_end = j;
            if (cmap_work.value_count - array_count >= mode.array_slack) {
              finished = true;
              break;
            }
          }
          if (in_array_token && a != '>' && a != '\r' && a != ' ' && alen < mode.digit_cap) {
            array_token[alen++] = a;
          }
          if (a == '<') in_array_token = true;
          if (a == '>') {
            in_array_token = false;
            if (array_count < CMAP_MAX_ARRAY) cmap_work.array_values[array_count++] = get_hex(array_token, alen);
            alen = 0;
          }
        }
        if (finished && cmap_work.value_count >= 2) {
          const int64_t lo = cmap_work.values[cmap_work.value_count - 2];
          cmap_work.values[cmap_work.value_count - 1] = lo;
          add_value(cmap_work.array_values[0]);
          for (int t = 1; t < array_count; t++) {
            add_value(lo + t);
            add_value(lo + t);
            add_value(cmap_work.array_values[t]);
          }
        }
      }
      // 2-4. plain tokens outside the array
      if (in_token && k > array_end && b != '>' && !is_blank(b) && tlen < mode.digit_cap) token[tlen++] = b;
      if (b == '<' && k > array_end) in_token = true;
      if (b == '>' && k > array_end && !array_open) {
        in_token = false;
        add_value(get_hex(token, tlen));
        tlen = 0;
      }
    }
  }
}

// ---- phase 4: triples into pairs of the font's map ----
int expand_pairs(int font_index, const ReaderMode& mode) {
  FontRecord& font = Font_CMAP[font_index];
  int pairs = 0;
  const bool dump = log_enabled(LOG_DEEP);
  auto add_pair = [&](int64_t in, int64_t out) {
    if (pairs >= FONT_MAP_SIZE) return false;
    font.cmap_in[pairs] = in;
    font.cmap_out[pairs] = out;
    pairs++;
    if (dump) {
      log_at(LOG_DEEP, mode.from_flate ? "DEBUG:  pdf_parser - deep debug - CMAP In/Out- %s - %d-%d \n"
                                : "DEBUG:  pdf_parser - deep debug - CMAP -BUFFER- In/Out- %s - %d-%d \n",
             font.font_name, static_cast<int>(in), static_cast<int>(out));
    }
    return true;
  };
  for (int v = 0; v < cmap_work.value_count; v++) {
    if (pairs > mode.pair_cap) {
      if (mode.from_flate) {
        log_at(LOG_DEEP, "DEBUG: pdf_parser - exceed max encodings found > 1890 - unusual - may have encoding impact (none, small or large). \n");
      } else {
        log_at(LOG_DEBUG, "DEBUG:  pdf_parser - exceed max encodings - unusual - likely indicates a metadata parsing error - may have impact on output. \n");
      }
      break;
    }
    if (v % 3 != 2) continue;
    const int64_t lo = cmap_work.values[v - 2], hi = cmap_work.values[v - 1], out = cmap_work.values[v];
    if (lo == hi) {
      add_pair(lo, out);
    } else {
      for (int64_t k = 0; k <= hi - lo; k++) {
        if (!add_pair(lo + k, out + k)) break;  // the map is full: the rest of the range drops
      }
    }
  }
  return pairs;
}

bool font_slot_ok(int font_index) {
  return font_index >= 0 && font_index < GLOBAL_MAX_FONT_ENCODINGS && Font_CMAP != nullptr;
}

int read_cmap(const unsigned char* src, int len, int font_index, const ReaderMode& mode) {
  cmap_index_forget(font_index);
  cmap_work.value_count = 0;
  find_sections(src, len);
  read_bfchar(src, mode);
  read_bfrange(src, mode);
  int pairs = expand_pairs(font_index, mode);
  Font_CMAP[font_index].cmap_count = pairs;
  return pairs;
}

}  // namespace

extern "C" {

// ToUnicode of font `font_index` from flate_dst_tmp_buffer[0, length); frees that buffer.
// A map of 1 to 4 pairs that begins 3 -> 32 takes entries 1..149 of record 0 behind it.
// Returns the pair count.
int process_cmap(int length, int font_index) {
  int pairs = 0;
  if (font_slot_ok(font_index) && flate_dst_tmp_buffer != nullptr && length > 0) {
    pairs = read_cmap(flate_dst_tmp_buffer, length, font_index, FLATE_MODE);
    FontRecord& font = Font_CMAP[font_index];
    if (pairs >= 1 && pairs <= 4 && font.cmap_in[0] == 3 && font.cmap_out[0] == 32) {
      for (int i = 1; i < CMAP_EXTENSION_PAIRS; i++) {
        font.cmap_in[i] = Font_CMAP[0].cmap_in[i];
        font.cmap_out[i] = Font_CMAP[0].cmap_out[i];
      }
      pairs += 145;
      font.cmap_count = pairs;
    }
  } else if (font_slot_ok(font_index)) {
    cmap_index_forget(font_index);
    Font_CMAP[font_index].cmap_count = 0;
  }
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  return pairs;
}

// ToUnicode of font `font_index` standing uncompressed in buffer[start, stop). The span is read
// in place: no scratch copy is taken, since nothing would read it. Returns the pair count.
int process_cmap_buffer_alt(int start, int stop, int font_index) {
  if (!font_slot_ok(font_index)) return 0;
  if (start < 0) start = 0;
  if (stop > buffer_capacity) stop = buffer_capacity;
  int len = (buffer != nullptr && stop > start) ? stop - start : 0;
  if (len == 0) {
    cmap_index_forget(font_index);
    Font_CMAP[font_index].cmap_count = 0;
    return 0;
  }
  return read_cmap(buffer + start, len, font_index, BUFFER_MODE);
}

}  // extern "C"
