// objects/flate.cpp -- inflates one stream of buffer into flate_dst_tmp_buffer, and unpacks an
// object stream: its objects are copied behind the file's bytes and listed as hidden objects.
// Reads: buffer. Writes: flate_dst_tmp_buffer, buffer[global_buffer_cursor..], obj[], counters.
// Limits: FLATE_OUTPUT_SIZE bytes per inflation; the header and copy limits below.
#include <libdeflate.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "objects/objects.h"
#include "run/run_state.h"

extern "C" {

unsigned char* flate_dst_tmp_buffer = nullptr;
unsigned char* objstm_flate_buffer = nullptr;
int flate_count = 0;

constexpr int STREAM_KEYWORD_REACH = 15;  // bytes after the dictionary searched for "str"
constexpr int FLATE_GUARD_BYTES = 16;     // zero bytes kept behind every inflation result, so a
                                          // consumer that reads a little past the end reads zeros

constexpr int OBJSTM_HEADER_MAX = 50000;       // numbers and offsets of one header; more are dropped
constexpr int OBJSTM_DIGITS_MAX = 10000;       // digits of one header number; more are dropped
constexpr int OBJSTM_LAST_OBJECT_MAX = 10000;  // bytes of a stream's last object; the rest is dropped
constexpr int OBJSTM_LARGE_STREAM = 1000000;   // an inflated stream past this is logged
constexpr int OBJ_COUNTER_WARN = 199000;       // past this, each hidden object is warned of
constexpr int OBJ_COUNTER_KEEP = 199998;       // records stop being counted at this

// The whole-buffer decompressor, made once and kept for the run.
static libdeflate_decompressor* quick_decompressor = nullptr;

// A complete, sound zlib stream of `length` bytes at `from` into flate_dst_tmp_buffer in one
// call: the inflated length, or -1 for anything else (damaged, cut short, larger than the
// buffer, no input), which then goes through zlib's inflate as before. A stream the quick
// decompressor accepts is one that inflate finishes with the same bytes and Z_STREAM_END, so the
// result is the same; it is only about twice as fast.
static int quick_inflate(const unsigned char* from, int length) {
  if (from == nullptr || length <= 0) return -1;
  if (quick_decompressor == nullptr) quick_decompressor = libdeflate_alloc_decompressor();
  if (quick_decompressor == nullptr) return -1;
  size_t used_in = 0;
  size_t made = 0;
  libdeflate_result r = libdeflate_zlib_decompress_ex(quick_decompressor, from, static_cast<size_t>(length),
                                                     flate_dst_tmp_buffer, FLATE_OUTPUT_SIZE, &used_in, &made);
  return r == LIBDEFLATE_SUCCESS ? static_cast<int>(made) : -1;
}

// Inflates the stream whose dictionary ends at `start` (the object's stream_start) and whose
// object ends at `stop`. Returns the inflated length, or -1. flate_dst_tmp_buffer always holds a
// fresh allocation afterwards, which the caller frees.
int flate_handler_buffer_v2(int start, int stop) {
  // ---- 1. the result buffer: malloc, since zeroing 15 MB per call costs more than the inflation ----
  flate_dst_tmp_buffer = static_cast<unsigned char*>(malloc(FLATE_OUTPUT_SIZE + FLATE_GUARD_BYTES));

  // ---- 2. the "stream" keyword, by its first three letters within 15 bytes ----
  int n = (stop - start < STREAM_KEYWORD_REACH + 1) ? stop - start : STREAM_KEYWORD_REACH;
  int offset = 0;
  for (int i = 0; i < n; i++) {
    if (buffer_byte_at(start + i) == 's' && buffer_byte_at(start + i + 1) == 't' && buffer_byte_at(start + i + 2) == 'r' &&
        i + 2 < n) {
      offset = i + 6;
      break;
    }
  }

  // ---- 3. up to two line-end bytes ----
  for (int k = 0; k < 2; k++) {
    int c = buffer_byte_at(start + offset);
    if (c == '\n' || c == '\r') offset++;
  }

  // ---- 4. one inflate with Z_FINISH over [start + offset, stop) ----
  int from = start + offset;
  int end = stop < buffer_capacity ? stop : buffer_capacity;
  int input_length = (from >= 0 && end > from) ? end - from : 0;
  int quick = quick_inflate(input_length > 0 ? buffer + from : nullptr, input_length);
  if (quick >= 0) {
    memset(flate_dst_tmp_buffer + quick, 0, FLATE_GUARD_BYTES);
    return quick;
  }
  z_stream zs;
  memset(&zs, 0, sizeof zs);
  zs.next_in = input_length > 0 ? buffer + from : nullptr;
  zs.avail_in = static_cast<uInt>(input_length);
  zs.next_out = flate_dst_tmp_buffer;
  zs.avail_out = FLATE_OUTPUT_SIZE;
  int init = inflateInit(&zs);
  int ret = init;
  if (init == Z_OK) {
    ret = inflate(&zs, Z_FINISH);
    inflateEnd(&zs);
  }
  int total = init == Z_OK ? static_cast<int>(zs.total_out) : 0;
  memset(flate_dst_tmp_buffer + total, 0, FLATE_GUARD_BYTES);

  // ---- 5. and 6. the result ----
  if (ret < 0) {
    log_at(LOG_DEEP,
           "DEBUG:  pdf_parser - inflate problem (may be small or large impact - likely to result "
           "in some content missing in file)- err-%d-ret-%d-%d-%d \n",
           init, ret, buffer_byte_at(from), buffer_byte_at(from + 1));
    return -1;
  }
  if (ret == Z_OK || ret == Z_STREAM_END) return total;
  return -1;
}

// ---- object streams ----

// Where an object's bytes begin in the inflated data: `first` plus its offset, `first` for a
// negative offset, never past the data's end.
// The sum is formed in 64 bits: both parts come from the file and may be near the int limit.
static int object_source_start(int first, int offset, int length) {
  int64_t at = offset < 0 ? first : static_cast<int64_t>(first) + offset;
  return at > length ? length : static_cast<int>(at);
}

// ---- 1. inflate ----
// The stream's inflated length in flate_dst_tmp_buffer; or -1 when there is nothing, the buffer
// then freed.
static int objstm_inflate(int start, int stop) {
  int length = flate_handler_buffer_v2(start, stop);
  if (length <= 0) {
    log_at(LOG_DEBUG,
           "DEBUG:  pdf_parser - objstm_handler - no stream found - could not decompress Flate "
           "ObjStm- skipping. \n");
    free(flate_dst_tmp_buffer);
    flate_dst_tmp_buffer = nullptr;
    return -1;
  }
  if (length > OBJSTM_LARGE_STREAM) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - objstm_handler - large stream found - %d \n", length);
  }
  return length;
}

// ---- 2. the header: object numbers and offsets, up to the first "<" or "[" ----
// An offset that the header never gave is taken as the data's end: the object gets no bytes.
struct ObjstmHeader {
  std::vector<int> numbers;  // the object numbers read, at most OBJSTM_HEADER_MAX
  std::vector<int> offsets;  // the offsets read, at most OBJSTM_HEADER_MAX; see offset_of
  int count;                 // object numbers read
  int first;                 // position of the first "<" or "["; 0 when there is none
};

static void objstm_read_header(const unsigned char* data, int length, ObjstmHeader* h) {
  h->numbers.clear();
  h->offsets.clear();
  h->count = 0;
  h->first = 0;
  std::vector<int64_t> digits(OBJSTM_DIGITS_MAX + 1, 0);
  int offset_count = 0;
  int digit_count = 0;
  int in_number = 0;
  int expect_number = 1;
  bool header_full = false;
  for (int i = 0; i < length; i++) {
    unsigned char c = data[i];
    if (in_number == 1 && (c == ' ' || c == '\n' || c == '\r')) {
      digits[digit_count] = 0;
      int value = get_int_from_byte_array(digits.data());
      digit_count = 0;
      in_number = 0;
      if (expect_number == 1) {
        if (h->count < OBJSTM_HEADER_MAX) h->numbers.push_back(value), h->count++;
        else header_full = true;
        expect_number = 0;
      } else {
        if (offset_count < OBJSTM_HEADER_MAX) h->offsets.push_back(value), offset_count++;
        else header_full = true;
        expect_number = 1;
      }
    }
    if (c == '<' || c == '[') {
      h->first = i;
      break;
    }
    if (c >= '0' && c <= '9') {
      if (digit_count < OBJSTM_DIGITS_MAX) digits[digit_count++] = c;
      in_number = 1;
    }
  }
  if (header_full) {
    log_at(LOG_WARN, "WARNING: pdf_parser - objstm_handler - more than %d objects in header - rest dropped \n",
           OBJSTM_HEADER_MAX);
  }
}

// ---- 3. copy each object behind the file and list it ----
// Where the copy stands from one object of the stream to the next.
// Intended: in_dict and depth run on across the objects of a stream, so a dictionary left open
// in one object is still open in the next.
struct ObjstmCopy {
  int in_dict;
  int depth;
  bool bytes_dropped;             // a byte fell past the end of buffer
  int added;                      // records counted
  ObjectRecord overflow_record;   // takes the record when obj is already full
};

// 3.1 and 3.2: the source span of object k in the inflated data; the last object takes at most
// OBJSTM_LAST_OBJECT_MAX bytes.
// Offset k as read, or the data's length where the header gave none. (The lists grow as the
// header is read instead of being filled to their capacity for every stream.)
static int offset_of(const ObjstmHeader& h, int k, int length) {
  return k < static_cast<int>(h.offsets.size()) ? h.offsets[k] : length;
}

static void objstm_source_span(const ObjstmHeader& h, int k, int length, int* src_start, int* src_stop) {
  *src_start = object_source_start(h.first, offset_of(h, k, length), length);
  if (k + 1 < h.count) {
    *src_stop = object_source_start(h.first, offset_of(h, k + 1, length), length);
  } else {
    *src_stop = *src_start + OBJSTM_LAST_OBJECT_MAX < length ? *src_start + OBJSTM_LAST_OBJECT_MAX : length;
  }
}

// 3.3 and 3.4: the record of the next hidden object, starting at the cursor; warned of past
// OBJ_COUNTER_WARN.
static ObjectRecord* objstm_open_record(int number, ObjstmCopy* copy) {
  ObjectRecord* rec = global_obj_counter < GLOBAL_MAX_OBJ ? &obj[global_obj_counter] : &copy->overflow_record;
  rec->number = number;
  rec->generation = 0;
  rec->hidden = 1;
  rec->start = global_buffer_cursor;
  rec->dict_start = global_buffer_cursor;
  rec->dict_stop = -1;
  if (global_obj_counter > OBJ_COUNTER_WARN) {
    log_at(LOG_WARN,
           "WARNING: pdf_parser - global obj counter exceeeded MAX - 200,000 objects- unusual "
           "case - %d - %d \n",
           global_obj_counter, global_buffer_cursor);
  }
  return rec;
}

// 3.5: copies data[src_start, src_stop) to buffer at the cursor, marking the dictionary's close;
// bytes past the end of buffer are dropped, the cursor moves on regardless.
static void objstm_copy_bytes(const unsigned char* data, int src_start, int src_stop, ObjectRecord* rec,
                              ObjstmCopy* copy) {
  int in_dict = copy->in_dict;
  int depth = copy->depth;
  for (int j = src_start; j < src_stop; j++) {
    if (data[j] == '<' && j + 1 < src_stop && data[j + 1] == '<') {
      in_dict = 1;
      depth++;
    }
    if (data[j] == '>' && j + 1 < src_stop && data[j + 1] == '>' && in_dict == 1) {
      depth--;
      if (depth < 1) {
        in_dict = 0;
        rec->dict_stop = global_buffer_cursor + 1;
        rec->stream_start = global_buffer_cursor + 2;
      }
    }
    if (global_buffer_cursor < buffer_capacity) buffer[global_buffer_cursor] = data[j];
    else copy->bytes_dropped = true;
    global_buffer_cursor++;
  }
  copy->in_dict = in_dict;
  copy->depth = depth;
}

// 3.6 and 3.7: the record's ends; it is counted while obj has room and the counter is below
// OBJ_COUNTER_KEEP.
static void objstm_close_record(ObjectRecord* rec, ObjstmCopy* copy) {
  if (rec->dict_stop == -1) rec->dict_stop = global_buffer_cursor - 1;
  rec->stop = global_buffer_cursor - 1;
  if (global_obj_counter < OBJ_COUNTER_KEEP && rec != &copy->overflow_record) {
    global_obj_counter++;
    copy->added++;
  }
}

// Unpacks the object stream of the object whose stream_start and stop are given. Each object is
// copied to buffer at global_buffer_cursor and gets a hidden record in obj. Returns the records
// added, or -1 when the stream could not be inflated. Frees flate_dst_tmp_buffer.
int objstm_handler(int start, int stop) {
  // ---- 1. inflate ----
  int length = objstm_inflate(start, stop);
  if (length < 0) return -1;
  const unsigned char* data = flate_dst_tmp_buffer;

  // ---- 2. the header ----
  ObjstmHeader header;
  objstm_read_header(data, length, &header);

  // ---- 3. copy each object behind the file and list it ----
  ObjstmCopy copy = {};
  for (int k = 0; k < header.count; k++) {
    int src_start = 0;
    int src_stop = 0;
    objstm_source_span(header, k, length, &src_start, &src_stop);
    ObjectRecord* rec = objstm_open_record(header.numbers[k], &copy);
    objstm_copy_bytes(data, src_start, src_stop, rec, &copy);
    objstm_close_record(rec, &copy);
  }
  if (copy.bytes_dropped) {
    log_at(LOG_WARN,
           "WARNING: pdf_parser - objstm_handler - hidden objects reach past the end of buffer - "
           "bytes dropped - %d \n",
           global_buffer_cursor);
  }

  // ---- 4. done ----
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  return copy.added;
}

}  // extern "C"
