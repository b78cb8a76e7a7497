// objects/object_list.cpp -- finds every "obj ... endobj" in buffer by scanning bytes, never the
// cross-reference table, and looks objects up by number.
// Reads: buffer[0, file_length). Writes: obj[], global_obj_counter, global_tmp_obj, catalog,
// the get_obj index (obj_first_index_of, obj_indexed_*).
// Limits: GLOBAL_MAX_OBJ records; objects past it do not exist for the document.
#include <cstdint>
#include <cstring>
#include <unordered_map>

#include "objects/objects.h"
#include "run/run_state.h"

std::unordered_map<int32_t, int32_t> obj_first_index_of;  // declared in objects.h; see get_obj below

extern "C" {

// The document arrays declared in objects.h; pdf_builder allocates and frees them per document.
unsigned char* buffer = nullptr;
int buffer_capacity = 0;
ObjectRecord* obj = nullptr;
PageRecord* Pages = nullptr;
NameNumberPair* nn_global_tmp = nullptr;

ObjectRecord global_tmp_obj;
ObjectRecord catalog;

constexpr int NUMBER_WINDOW = 12;       // bytes before the body searched for "N G", "obj" included
constexpr int HEADER_SKIP = 9;          // the window's start for the first objects: past "%PDF-1.x\n"
constexpr int NUMBER_DIGITS_MAX = 9;    // digits kept of a number or generation; 10-element arrays

// ---- the index behind get_obj ----
// get_obj answers as a walk over obj[0, global_obj_counter) from index 0 would: the first entry
// with the number wins. The index (obj_first_index_of and the obj_indexed_* records, objects.h)
// maps each number to that first index. It is built lazily, and built again whenever obj is
// another array, global_obj_counter has changed since (object streams append hidden objects; a
// caller may refill the list), the first or last entry is no longer what was indexed, or a hit
// does not hold the number asked for. Only the cost of a look-up changes, not its answer.
const ObjectRecord* obj_indexed_array = nullptr;
int obj_indexed_count = -1;
ObjectRecord obj_indexed_first;
ObjectRecord obj_indexed_last;

// obj is handed out again at the same address for each document, so the index is forgotten
// before the new list is built.
void objects_document_reset(void) {
  obj_first_index_of.clear();
  obj_indexed_array = nullptr;
  obj_indexed_count = -1;
}

static int indexed_entries(void) {
  int count = global_obj_counter < GLOBAL_MAX_OBJ ? global_obj_counter : GLOBAL_MAX_OBJ;
  return count < 0 ? 0 : count;
}

static bool same_record(const ObjectRecord& a, const ObjectRecord& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

static bool index_is_current(void) {
  if (obj_indexed_array != obj || obj_indexed_count != global_obj_counter) return false;
  int count = indexed_entries();
  return count == 0 || (same_record(obj[0], obj_indexed_first) && same_record(obj[count - 1], obj_indexed_last));
}

static void index_rebuild(void) {
  obj_first_index_of.clear();
  int count = indexed_entries();
  obj_first_index_of.reserve(static_cast<size_t>(count) * 2);
  for (int i = 0; i < count; i++) obj_first_index_of.emplace(obj[i].number, i);
  obj_indexed_array = obj;
  obj_indexed_count = global_obj_counter;
  if (count > 0) {
    obj_indexed_first = obj[0];
    obj_indexed_last = obj[count - 1];
  }
}

// Index of the first entry with `number` in obj[0, global_obj_counter), or -1.
static int find_first_index(int number) {
  if (!index_is_current()) index_rebuild();
  auto hit = obj_first_index_of.find(number);
  if (hit == obj_first_index_of.end()) return -1;
  if (obj[hit->second].number == number) return hit->second;
  index_rebuild();  // the list was rewritten in place
  hit = obj_first_index_of.find(number);
  return hit == obj_first_index_of.end() ? -1 : hit->second;
}

// Copies the first entry with `number` (generation ignored) to global_tmp_obj and returns its
// index; or -1, with global_tmp_obj set to number -1, generation 0, all spans -1, hidden 0.
int get_obj(int number) {
  global_tmp_obj = ObjectRecord{-1, 0, -1, -1, -1, -1, -1, 0};
  if (obj == nullptr) return -1;
  int index = find_first_index(number);
  if (index < 0) return -1;
  global_tmp_obj = obj[index];
  return index;
}

// ---- the object scan ----

// The first bytes of the keywords inside an object: "<<", ">>" and "endobj".
static constexpr ByteSet KEYWORD_START("<>e");

// The first position in [i, end) whose byte starts one of those keywords, or end. Eight bytes
// are tested at a time while none of them can: a word holds the byte c when some byte of
// w ^ (c * 0x01..01) is zero, which (x - 0x01..01) & ~x & 0x80..80 tells exactly.
static int next_keyword_start(const unsigned char* bytes, int i, int end) {
  constexpr uint64_t ONES = 0x0101010101010101ULL;
  constexpr uint64_t HIGHS = 0x8080808080808080ULL;
  auto holds = [](uint64_t w, unsigned char c) {
    uint64_t x = w ^ (ONES * c);
    return (x - ONES) & ~x & HIGHS;
  };
  while (i + 8 <= end) {
    uint64_t w;
    memcpy(&w, bytes + i, sizeof w);
    if ((holds(w, '<') | holds(w, '>') | holds(w, 'e')) != 0) break;
    i += 8;
  }
  while (i < end && !KEYWORD_START[bytes[i]]) i++;
  return i;
}

static inline bool bytes_are(int i, const char* word, int length) {
  for (int k = 0; k < length; k++) {
    if (buffer[i + k] != static_cast<unsigned char>(word[k])) return false;
  }
  return true;
}

// Reads "N G" from the bytes [from, body): the first digit opens the number, each blank or line
// end moves on one step (number, generation, done). Digits past the room of the arrays are
// dropped. An empty text gives -1.
static void read_number_and_generation(int from, int body, int* number, int* generation) {
  int64_t num[NUMBER_DIGITS_MAX + 1] = {0};
  int64_t gen[NUMBER_DIGITS_MAX + 1] = {0};
  int num_len = 0;
  int gen_len = 0;
  int state = 0;
  for (int j = from; j < body; j++) {
    unsigned char c = buffer[j];
    if (c >= '0' && c <= '9') {
      if (state == 0) state = 1;
      if (state == 1 && num_len < NUMBER_DIGITS_MAX) num[num_len++] = c;
      else if (state == 2 && gen_len < NUMBER_DIGITS_MAX) gen[gen_len++] = c;
    } else if (c == ' ' || c == '\r' || c == '\n') {
      if (state == 2) state = 3;
      else if (state == 1) state = 2;
    }
  }
  *number = get_int_from_byte_array(num);
  *generation = get_int_from_byte_array(gen);
}

// Walks buffer[0, file_length) for "obj", "<<", ">>" and "endobj" and appends one record per
// object to obj in file order. Returns global_obj_counter. Logs once at the cap.
int build_obj_master_list(int file_length) {
  if (file_length > buffer_capacity) file_length = buffer_capacity;

  // ---- 0. scanner state ----
  int in_object = -1;
  int body = -1;
  int dict_first = -1;
  int dict_last = -1;
  int in_dict = -1;
  int depth = 0;
  int previous_stop = -1;
  int consumed = 0;  // no test matches at or before this position

  for (int i = 0; i < file_length; i++) {
    // Every test below needs its keyword's first byte at i: "obj" outside an object, "<<", ">>"
    // or "endobj" inside one. The bytes in between are passed over in one step, which finds
    // the same matches as testing each of them (at most one test matches at any i, and nothing
    // changes between matches).
    if (in_object == -1) {
      const void* next = memchr(buffer + i, 'o', static_cast<size_t>(file_length - i));
      if (next == nullptr) break;
      i = static_cast<int>(static_cast<const unsigned char*>(next) - buffer);
    } else {
      i = next_keyword_start(buffer, i, file_length);
      if (i >= file_length) break;
    }
    // ---- 1. object start ----
    if (i > consumed && in_object == -1 && i + 3 < file_length && bytes_are(i, "obj", 3)) {
      body = i + 3;
      in_object = 1;
      consumed = i + 2;
      depth = 0;
    }
    // ---- 2. dictionary open ----
    if (i > consumed && in_object == 1 && dict_last == -1 && i + 1 < file_length &&
        bytes_are(i, "<<", 2)) {
      if (dict_first == -1) dict_first = i;
      in_dict = 1;
      consumed = i + 1;
      depth++;
    }
    // ---- 3. dictionary close ----
    if (i > consumed && in_object == 1 && in_dict == 1 && i + 1 < file_length &&
        bytes_are(i, ">>", 2)) {
      depth--;
      if (depth < 1) {
        dict_last = i + 1;
        in_dict = -1;
      }
      consumed = i + 1;
    }
    // ---- 4. object end: record it ----
    if (i > consumed && in_object == 1 && i + 6 < file_length && bytes_are(i, "endobj", 6)) {
      int stop = i - 1;
      consumed = i + 6;

      int from = body > HEADER_SKIP + NUMBER_WINDOW ? body - NUMBER_WINDOW : HEADER_SKIP;
      if (from < previous_stop && previous_stop >= 0) from = previous_stop + 1;
      int number = -1;
      int generation = -1;
      read_number_and_generation(from, body, &number, &generation);

      if (global_obj_counter < GLOBAL_MAX_OBJ) {
        ObjectRecord* rec = &obj[global_obj_counter];
        rec->number = number;
        rec->generation = generation;
        rec->start = body;
        rec->stop = stop;
        rec->dict_start = dict_first != -1 ? dict_first : body;
        rec->dict_stop = dict_last != -1 ? dict_last : stop;
        rec->stream_start = dict_last;
        rec->hidden = 0;
        global_obj_counter++;
      }

      previous_stop = stop;
      body = -1;
      dict_first = -1;
      dict_last = -1;
      in_object = -1;

      if (global_obj_counter >= GLOBAL_MAX_OBJ) {
        log_at(LOG_WARN, "WARNING:  pdf_parser - too many objects in file -  unusual - exceeding cap-%d \n",
               global_obj_counter);
        return global_obj_counter;
      }
    }
  }
  return global_obj_counter;
}

}  // extern "C"
