// objects/metadata.cpp -- fills the author, dates and creator tool of my_doc from the catalog's
// /Metadata stream, read as plain bytes (not inflated, not parsed as XML) by four fixed tags.
// Reads: the catalog's span, obj (get_obj), buffer. Writes: four fields of my_doc.
// Limits: the value windows and buffers below; what does not fit is dropped.
#include <cstring>

#include "objects/objects.h"
#include "run/run_state.h"

extern "C" {

constexpr int AUTHOR_BUFFER = 1000;         // author text gathered over all tags
constexpr int DATE_BUFFER = 100;            // each date text gathered over all tags
constexpr int CREATOR_TOOL_BUFFER = 500;    // creator tool text gathered over all tags
constexpr int DATE_WINDOW = 66;             // a date is read up to tag + 66: 50 bytes of value
constexpr int CREATOR_TOOL_WINDOW = 117;    // up to tag + 117: 100 bytes of value
constexpr int AUTHOR_WINDOW = 112;          // up to tag + 112
constexpr int AUTHOR_VALUE_MAX = 50;        // author characters kept

// A growing text with a fixed room; characters past the room are dropped.
struct BoundedText {
  char* text;
  int room;    // bytes, terminator included
  int length;
};

static void append_char(BoundedText* t, char c) {
  if (t->length < t->room - 1) {
    t->text[t->length++] = c;
    t->text[t->length] = 0;
  }
}

// True when the tag's bytes 1 onward stand at xml[i + 1 ..]; byte 0 is the "<" already seen.
static bool tag_at(const char* xml, int i, const int32_t* tag, int tag_length) {
  for (int m = 1; m < tag_length; m++) {
    if (static_cast<unsigned char>(xml[i + m]) != tag[m]) return false;
  }
  return true;
}

// The window's end: `i + reach` if the text is longer than that, else its last byte.
static int window_end(int i, int reach, int n) { return n > i + reach ? i + reach : n - 1; }

// Appends the bytes [from, end) up to the first "<", keeping those above 31 as signed bytes.
static void read_plain_value(const char* xml, int from, int end, BoundedText* out) {
  for (int j = from; j < end; j++) {
    if (xml[j] == '<') break;
    if (static_cast<signed char>(xml[j]) > 31) append_char(out, xml[j]);
  }
}

// Appends the first text that follows a ">" met in [from, end), up to the next "<". The author
// usually sits inside further tags; a bare "<dc:creator>Name" is not read, since its own ">"
// lies before `from`.
static void read_author_value(const char* xml, int from, int end, BoundedText* out) {
  bool in_text = false;
  bool after_tag = false;
  for (int j = from; j < end; j++) {
    char c = xml[j];
    if (after_tag && c != '\r' && c != '\n' && c != '<' && c != ' ') in_text = true;
    if (c == '<') {
      after_tag = false;
      if (in_text) return;
    } else if (in_text && static_cast<signed char>(c) >= 32 && c != '>') {
      if (out->length > AUTHOR_VALUE_MAX - 1) return;
      append_char(out, c);
    }
    if (c == '>') after_tag = true;
  }
}

// Copies a gathered value to a field of `size` bytes and logs it; an empty value empties it.
static void store_field(char* field, int size, const BoundedText* value, int which) {
  if (value->length == 0) {
    field[0] = 0;
    return;
  }
  int length = value->length < size - 1 ? value->length : size - 1;
  memcpy(field, value->text, length);
  field[length] = 0;
  switch (which) {
    case 0:
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - metadata_handler - author - %s \n", field);
      break;
    case 1:
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - metadata_handler - create_date - %s \n", field);
      break;
    case 2:
      log_at(LOG_DEBUG, "DEBUG: pdf_parser -  metadata_handler - modify_date - %s \n", field);
      break;
    default:
      log_at(LOG_DEBUG, "DEBUG: pdf metadata_handler - creator_tool - %s \n", field);
      break;
  }
}

// Fills my_doc's author, created_date, modified_date and creator_tool from the XMP stream that
// the catalog span [start, stop] names in /Metadata; each field not found is emptied. Returns 0.
int metadata_handler(int start, int stop) {
  char author[AUTHOR_BUFFER] = {0};
  char created[DATE_BUFFER] = {0};
  char modified[DATE_BUFFER] = {0};
  char tool[CREATOR_TOOL_BUFFER] = {0};
  BoundedText author_text = {author, AUTHOR_BUFFER, 0};
  BoundedText created_text = {created, DATE_BUFFER, 0};
  BoundedText modified_text = {modified, DATE_BUFFER, 0};
  BoundedText tool_text = {tool, CREATOR_TOOL_BUFFER, 0};

  // ---- 1. find the stream ----
  KeyValueSpan* meta = dict_find_key_value_buffer(start, stop, metadata_seq, 8);
  bool found = meta->value_start >= 0 && meta->value_stop >= 0 &&
               extract_obj_from_buffer(meta->value_start, meta->value_stop) >= 1 &&
               nn_global_tmp[0].number >= 0 && get_obj(nn_global_tmp[0].number) >= 0;

  if (found) {
    // ---- 2. take the text ----
    if (global_tmp_obj.dict_start >= 0 && global_tmp_obj.dict_stop >= 0) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - Meta Dict Str - %s \n",
             log_enabled(LOG_DEEP) ? get_string_from_buffer(global_tmp_obj.dict_start, global_tmp_obj.dict_stop) : "");
    }
    const char* xml = "";
    int n = 0;
    if (global_tmp_obj.stream_start < 0 || global_tmp_obj.stop < 0) {
      log_at(LOG_DEEP,
             "DEBUG: pdf_parser - xml meta stream not found - may not be able to extract key file "
             "metadata. \n");
    } else {
      xml = get_string_from_buffer(global_tmp_obj.stream_start, global_tmp_obj.stop);
      n = static_cast<int>(strlen(xml));
    }

    // ---- 3. walk the text: each "<" with 17 bytes behind it is tested against the four tags ----
    for (int i = 0; i < n; i++) {
      if (xml[i] != '<' || n <= i + 16) continue;
      if (tag_at(xml, i, xmp_modify_date_seq, 16)) {
        read_plain_value(xml, i + 16, window_end(i, DATE_WINDOW, n), &modified_text);
      }
      if (tag_at(xml, i, xmp_create_date_seq, 16)) {
        read_plain_value(xml, i + 16, window_end(i, DATE_WINDOW, n), &created_text);
      }
      if (tag_at(xml, i, xmp_creator_tool_seq, 17) && n > i + 17) {
        read_plain_value(xml, i + 17, window_end(i, CREATOR_TOOL_WINDOW, n), &tool_text);
      }
      if (tag_at(xml, i, dccreator_seq, 12)) {
        read_author_value(xml, i + 12, window_end(i, AUTHOR_WINDOW, n), &author_text);
      }
    }
  }

  // ---- 4. store ----
  store_field(my_doc.author, sizeof my_doc.author, &author_text, 0);
  store_field(my_doc.created_date, sizeof my_doc.created_date, &created_text, 1);
  store_field(my_doc.modified_date, sizeof my_doc.modified_date, &modified_text, 2);
  store_field(my_doc.creator_tool, sizeof my_doc.creator_tool, &tool_text, 3);
  return 0;
}

}  // extern "C"
