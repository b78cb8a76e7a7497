// objects/repair_objects.cpp -- the object rules of the repair mode (GLOBAL_REPAIR_MODE 1): the
// catalog by its /Type name, object streams read from /First with their dictionaries closed
// once, streams decoded through every filter of their chain, and resources inherited from the
// page tree. The passes call these at their decision points only while the mode is on.
// Reads: buffer, obj. Writes: flate_dst_tmp_buffer (repair_decode_stream), and for object
// streams buffer behind global_buffer_cursor, obj[] and global_obj_counter, as objstm_handler.
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "objects/objects.h"
#include "run/run_state.h"

namespace {

constexpr int FLATE_GUARD = 16;             // zero bytes behind a result, as the inflater keeps
constexpr int STREAM_KEYWORD_REACH = 20;    // bytes after a dictionary searched for "stream"
constexpr int FILTER_CHAIN_MAX = 8;         // filters of one chain; a longer chain is refused
constexpr int RESOURCE_PARENTS_MAX = 32;    // /Parent steps looked up for inherited resources
constexpr int OBJSTM_OBJECTS_MAX = 50000;   // objects of one stream's header

enum Filter { NONE_FILTER, FLATE, LZW, ASCII85, ASCIIHEX, UNKNOWN_FILTER };

// Position of the first "/name" (as a whole name) in [start, stop], or -1.
int find_name(int start, int stop, const char* name) {
  int n = static_cast<int>(strlen(name));
  if (start < 0) start = 0;
  for (int i = start; i + n <= stop + 1; i++) {
    if (buffer_byte_at(i) != '/') continue;
    int k = 0;
    while (k < n && buffer_byte_at(i + 1 + k) == static_cast<unsigned char>(name[k])) k++;
    if (k == n && is_pdf_delimiter(buffer_byte_at(i + 1 + n))) return i;
  }
  return -1;
}

int skip_white(int i, int stop) {
  while (i <= stop && is_pdf_white(buffer_byte_at(i))) i++;
  return i;
}

// The unsigned integer at i (after blanks), or -1.
int integer_at(int i, int stop) {
  i = skip_white(i, stop);
  int64_t v = 0;
  int digits = 0;
  while (i <= stop && buffer_byte_at(i) >= '0' && buffer_byte_at(i) <= '9' && digits < 10) {
    v = v * 10 + (buffer_byte_at(i) - '0');
    i++;
    digits++;
  }
  return digits > 0 && v <= INT32_MAX ? static_cast<int>(v) : -1;
}

// Value of a /Key holding an integer, or -1.
int integer_value(int start, int stop, const char* key) {
  int at = find_name(start, stop, key);
  return at < 0 ? -1 : integer_at(at + 1 + static_cast<int>(strlen(key)), stop);
}

Filter filter_of(const char* name, int n) {
  auto is = [&](const char* a) { return static_cast<int>(strlen(a)) == n && memcmp(name, a, n) == 0; };
  if (is("FlateDecode") || is("Fl")) return FLATE;
  if (is("LZWDecode") || is("LZW")) return LZW;
  if (is("ASCII85Decode") || is("A85")) return ASCII85;
  if (is("ASCIIHexDecode") || is("AHx")) return ASCIIHEX;
  return UNKNOWN_FILTER;
}

// The /Filter chain of a dictionary: a name or an array of names. Returns the count, 0 for
// none, -1 for a filter this system can not decode.
int filter_chain(int start, int stop, Filter* chain) {
  int at = find_name(start, stop, "Filter");
  if (at < 0) return 0;
  int i = skip_white(at + 7, stop);
  bool array = buffer_byte_at(i) == '[';
  if (array) i++;
  int count = 0;
  while (i <= stop) {
    i = skip_white(i, stop);
    int c = buffer_byte_at(i);
    if (c != '/') break;
    char name[32];
    int n = 0;
    i++;
    while (i <= stop && !is_pdf_delimiter(buffer_byte_at(i))) {
      if (n < 31) name[n++] = static_cast<char>(buffer_byte_at(i));
      i++;
    }
    if (count >= FILTER_CHAIN_MAX) return -1;
    chain[count] = filter_of(name, n);
    if (chain[count] == UNKNOWN_FILTER) return -1;
    count++;
    if (!array) break;
  }
  return count;
}

// ---- the decoders: each appends at most `limit` bytes to out; a damaged tail ends the data ----
void inflate_into(const unsigned char* in, size_t n, std::vector<unsigned char>& out, size_t limit) {
  z_stream zs;
  memset(&zs, 0, sizeof zs);
  if (inflateInit(&zs) != Z_OK) return;
  zs.next_in = const_cast<unsigned char*>(in);
  zs.avail_in = static_cast<uInt>(n);
  unsigned char chunk[65536];
  int ret = Z_OK;
  while (ret == Z_OK && out.size() < limit) {
    zs.next_out = chunk;
    zs.avail_out = sizeof chunk;
    ret = inflate(&zs, Z_NO_FLUSH);
    size_t got = sizeof chunk - zs.avail_out;
    out.insert(out.end(), chunk, chunk + got);
    if (got == 0 && ret == Z_OK) break;  // no progress: the input is spent
  }
  inflateEnd(&zs);
  if (out.size() > limit) out.resize(limit);
}

void lzw_into(const unsigned char* in, size_t n, std::vector<unsigned char>& out, size_t limit) {
  std::vector<std::vector<unsigned char>> table;
  auto reset = [&]() {
    table.assign(258, {});
    for (int k = 0; k < 256; k++) table[k] = {static_cast<unsigned char>(k)};
  };
  reset();
  int width = 9;
  uint32_t bits = 0;
  int have = 0;
  int previous = -1;
  for (size_t i = 0; i < n && out.size() < limit; i++) {
    bits = (bits << 8) | in[i];
    have += 8;
    while (have >= width) {
      int code = static_cast<int>((bits >> (have - width)) & ((1u << width) - 1));
      have -= width;
      if (code == 256) {
        reset();
        width = 9;
        previous = -1;
        continue;
      }
      if (code == 257) return;
      std::vector<unsigned char> entry;
      if (code < static_cast<int>(table.size())) {
        entry = table[code];
        if (entry.empty()) return;
      } else if (code == static_cast<int>(table.size()) && previous >= 0) {
        entry = table[previous];
        entry.push_back(table[previous][0]);
      } else {
        return;
      }
      out.insert(out.end(), entry.begin(), entry.end());
      if (previous >= 0 && table.size() < 4096) {
        std::vector<unsigned char> grown = table[previous];
        grown.push_back(entry[0]);
        table.push_back(grown);
      }
      previous = code;
      // Early change: the width grows one code before the table fills it.
      if (table.size() + 1 >= (1u << width) && width < 12) width++;
    }
  }
}

void ascii85_into(const unsigned char* in, size_t n, std::vector<unsigned char>& out, size_t limit) {
  uint32_t group = 0;
  int count = 0;
  for (size_t i = 0; i < n && out.size() < limit; i++) {
    unsigned char c = in[i];
    if (c == '~') break;
    if (c == 'z' && count == 0) {
      out.insert(out.end(), 4, 0);
      continue;
    }
    if (c < '!' || c > 'u') continue;
    group = group * 85 + (c - '!');
    if (++count == 5) {
      for (int k = 3; k >= 0; k--) out.push_back(static_cast<unsigned char>(group >> (8 * k)));
      group = 0;
      count = 0;
    }
  }
  if (count > 1) {
    for (int k = count; k < 5; k++) group = group * 85 + 84;
    for (int k = 0; k < count - 1; k++) out.push_back(static_cast<unsigned char>(group >> (8 * (3 - k))));
  }
}

int hex_value(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void asciihex_into(const unsigned char* in, size_t n, std::vector<unsigned char>& out, size_t limit) {
  int high = -1;
  for (size_t i = 0; i < n && out.size() < limit; i++) {
    if (in[i] == '>') break;
    int v = hex_value(in[i]);
    if (v < 0) continue;
    if (high < 0) {
      high = v;
    } else {
      out.push_back(static_cast<unsigned char>(high * 16 + v));
      high = -1;
    }
  }
  if (high >= 0) out.push_back(static_cast<unsigned char>(high * 16));
}

// The stream's data: after "stream" and its line end, up to the last "endstream" before stop.
bool stream_data(int stream_start, int stop, int* from, int* to) {
  if (stream_start < 0 || stop < stream_start) return false;
  int at = -1;
  for (int i = stream_start; i < stream_start + STREAM_KEYWORD_REACH && i + 6 <= stop + 1; i++) {
    if (buffer_byte_at(i) == 's' && buffer_byte_at(i + 1) == 't' && buffer_byte_at(i + 2) == 'r' && buffer_byte_at(i + 3) == 'e' &&
        buffer_byte_at(i + 4) == 'a' && buffer_byte_at(i + 5) == 'm') {
      at = i + 6;
      break;
    }
  }
  if (at < 0) return false;
  if (buffer_byte_at(at) == '\r') at++;
  if (buffer_byte_at(at) == '\n') at++;
  int end = stop + 1;
  if (end > buffer_capacity) end = buffer_capacity;
  for (int i = end - 9; i >= at; i--) {
    if (buffer_byte_at(i) == 'e' && memcmp(buffer + i, "endstream", 9) == 0) {
      end = i;
      break;
    }
  }
  *from = at;
  *to = end;
  return end > at;
}

// Decodes the stream into `out` (at most FLATE_OUTPUT_SIZE bytes); false when a filter is
// unknown or the stream has no data.
bool decode_to(int dict_start, int dict_stop, int stream_start, int stop, std::vector<unsigned char>& out) {
  Filter chain[FILTER_CHAIN_MAX];
  int count = filter_chain(dict_start, dict_stop, chain);
  int from = 0, to = 0;
  if (count < 0 || !stream_data(stream_start, stop, &from, &to)) return false;
  const size_t limit = FLATE_OUTPUT_SIZE;
  std::vector<unsigned char> in;
  const unsigned char* data = buffer + from;
  size_t length = static_cast<size_t>(to - from);
  if (count == 0) {
    out.assign(data, data + (length < limit ? length : limit));
    return true;
  }
  for (int k = 0; k < count; k++) {
    out.clear();
    switch (chain[k]) {
      case FLATE: inflate_into(data, length, out, limit); break;
      case LZW: lzw_into(data, length, out, limit); break;
      case ASCII85: ascii85_into(data, length, out, limit); break;
      case ASCIIHEX: asciihex_into(data, length, out, limit); break;
      default: return false;
    }
    if (k + 1 < count) {
      in.swap(out);
      data = in.data();
      length = in.size();
    }
  }
  return true;
}

}  // namespace

extern "C" {

// 1 when the span names its /Type as /Catalog, else -1.
int repair_is_catalog(int start, int stop) {
  for (int at = find_name(start, stop, "Type"); at >= 0; at = find_name(at + 5, stop, "Type")) {
    int i = skip_white(at + 5, stop);
    if (buffer_byte_at(i) != '/') continue;
    static const char word[] = "Catalog";
    int k = 0;
    while (k < 7 && buffer_byte_at(i + 1 + k) == word[k]) k++;
    if (k == 7 && is_pdf_delimiter(buffer_byte_at(i + 8))) return 1;
  }
  return -1;
}

// The stream of the object with these spans through its whole filter chain (none, Flate, LZW,
// ASCII85, ASCIIHex, in any order). Returns the decoded length in flate_dst_tmp_buffer, which
// the caller frees, or -1 (the buffer is then null). A damaged Flate tail keeps what came before.
int repair_decode_stream(int dict_start, int dict_stop, int stream_start, int stop) {
  flate_dst_tmp_buffer = nullptr;
  // The common case, a single Flate filter, inflates straight into the result.
  Filter chain[FILTER_CHAIN_MAX];
  int from = 0, to = 0;
  if (filter_chain(dict_start, dict_stop, chain) == 1 && chain[0] == FLATE &&
      stream_data(stream_start, stop, &from, &to)) {
    unsigned char* out = static_cast<unsigned char*>(malloc(FLATE_OUTPUT_SIZE + FLATE_GUARD));
    z_stream zs;
    memset(&zs, 0, sizeof zs);
    zs.next_in = buffer + from;
    zs.avail_in = static_cast<uInt>(to - from);
    zs.next_out = out;
    zs.avail_out = FLATE_OUTPUT_SIZE;
    int total = 0;
    if (inflateInit(&zs) == Z_OK) {
      inflate(&zs, Z_FINISH);  // a damaged tail keeps what came before it
      total = static_cast<int>(zs.total_out);
      inflateEnd(&zs);
    }
    if (total <= 0) {
      free(out);
      return -1;
    }
    memset(out + total, 0, FLATE_GUARD);
    flate_dst_tmp_buffer = out;
    return total;
  }
  std::vector<unsigned char> out;
  if (!decode_to(dict_start, dict_stop, stream_start, stop, out) || out.empty()) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - repair - stream not decoded - %d \n", stream_start);
    return -1;
  }
  flate_dst_tmp_buffer = static_cast<unsigned char*>(malloc(out.size() + FLATE_GUARD));
  memcpy(flate_dst_tmp_buffer, out.data(), out.size());
  memset(flate_dst_tmp_buffer + out.size(), 0, FLATE_GUARD);
  return static_cast<int>(out.size());
}

// Object stream with the /First of its dictionary: the header before /First gives the pairs of
// number and offset, each object's bytes run from its offset to the next one, and a dictionary
// ends at its own ">>" (strings and hex strings are passed over). Adds hidden objects as
// objstm_handler does and returns their count, or -1 when the stream can not be decoded.
int repair_objstm_handler(int dict_start, int dict_stop, int stream_start, int stop) {
  std::vector<unsigned char> data;
  if (!decode_to(dict_start, dict_stop, stream_start, stop, data) || data.empty()) return -1;
  const int length = static_cast<int>(data.size());
  int first = integer_value(dict_start, dict_stop, "First");
  if (first < 0 || first > length) return -1;

  // ---- the header ----
  std::vector<int> numbers, offsets;
  int i = 0;
  while (i < first && static_cast<int>(numbers.size()) < OBJSTM_OBJECTS_MAX) {
    int v[2];
    for (int k = 0; k < 2; k++) {
      while (i < first && !(data[i] >= '0' && data[i] <= '9')) i++;
      int64_t x = 0;
      int digits = 0;
      while (i < first && data[i] >= '0' && data[i] <= '9' && digits < 10) x = x * 10 + (data[i++] - '0'), digits++;
      v[k] = digits > 0 && x <= INT32_MAX ? static_cast<int>(x) : -1;
    }
    if (v[0] < 0 || v[1] < 0) break;
    numbers.push_back(v[0]);
    offsets.push_back(v[1]);
  }

  // ---- each object behind the file ----
  int added = 0;
  for (size_t k = 0; k < numbers.size(); k++) {
    int64_t s = static_cast<int64_t>(first) + offsets[k];
    int64_t e = k + 1 < numbers.size() ? static_cast<int64_t>(first) + offsets[k + 1] : length;
    if (s > length) s = length;
    if (e > length) e = length;
    if (e < s) e = s;
    if (global_obj_counter >= GLOBAL_MAX_OBJ - 2 || global_buffer_cursor + (e - s) >= buffer_capacity) {
      log_at(LOG_WARN, "WARNING: pdf_parser - repair - object stream objects dropped - no room - %d \n",
             global_buffer_cursor);
      break;
    }
    ObjectRecord* rec = &obj[global_obj_counter];
    rec->number = numbers[k];
    rec->generation = 0;
    rec->hidden = 1;
    rec->start = global_buffer_cursor;
    rec->dict_start = global_buffer_cursor;
    rec->dict_stop = -1;
    rec->stream_start = -1;
    int depth = 0;
    bool dict_seen = false;
    for (int64_t j = s; j < e; j++) {
      unsigned char c = data[j];
      if (rec->dict_stop == -1) {
        if (c == '(') {  // a literal string, copied whole
          int nest = 0;
          int64_t q = j;
          for (; q < e; q++) {
            if (data[q] == '\\') { q++; continue; }
            if (data[q] == '(') nest++;
            if (data[q] == ')' && --nest == 0) break;
          }
          if (q >= e) q = e - 1;
          memcpy(buffer + global_buffer_cursor, data.data() + j, q - j + 1);
          global_buffer_cursor += static_cast<int>(q - j + 1);
          j = q;
          continue;
        }
        if (c == '<' && j + 1 < e && data[j + 1] == '<') {
          if (!dict_seen) rec->dict_start = global_buffer_cursor;
          dict_seen = true;
          depth++;
          buffer[global_buffer_cursor++] = c;
          buffer[global_buffer_cursor++] = data[++j];
          continue;
        }
        if (c == '<') {  // a hex string, copied whole
          int64_t q = j;
          while (q < e && data[q] != '>') q++;
          if (q >= e) q = e - 1;
          memcpy(buffer + global_buffer_cursor, data.data() + j, q - j + 1);
          global_buffer_cursor += static_cast<int>(q - j + 1);
          j = q;
          continue;
        }
        if (c == '>' && j + 1 < e && data[j + 1] == '>' && depth > 0) {
          buffer[global_buffer_cursor++] = c;
          buffer[global_buffer_cursor++] = data[++j];
          if (--depth == 0) {
            rec->dict_stop = global_buffer_cursor - 1;
            rec->stream_start = global_buffer_cursor;
          }
          continue;
        }
      }
      buffer[global_buffer_cursor++] = c;
    }
    if (rec->dict_stop == -1) rec->dict_stop = global_buffer_cursor - 1;
    rec->stop = global_buffer_cursor - 1;
    global_obj_counter++;
    added++;
  }
  return added;
}

// Where the fonts of a page are looked for: the page's own span when it names /Resources,
// else the first ancestor (by /Parent) that does. The span is changed in place.
void repair_resources_span(int* start, int* stop) {
  if (find_name(*start, *stop, "Resources") >= 0 || find_name(*start, *stop, "Font") >= 0) return;
  int s = *start, e = *stop;
  for (int step = 0; step < RESOURCE_PARENTS_MAX; step++) {
    int at = find_name(s, e, "Parent");
    if (at < 0) return;
    int number = integer_at(at + 7, e);
    if (number < 0 || get_obj(number) < 0) return;
    s = global_tmp_obj.dict_start;
    e = global_tmp_obj.dict_stop;
    if (find_name(s, e, "Resources") >= 0) {
      *start = s;
      *stop = e;
      return;
    }
  }
}

}  // extern "C"
