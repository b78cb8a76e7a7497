// output/brik_file.cpp -- write_to_file: appends entries [start, stop) of Briks as text records
// to global_image_fp followed by file_name, one record per brik, each ended by "<END_BLOCK>".
// Reads: Briks, my_doc, global_headlines, GLOBAL_GET_HEADER_TEXT. Writes: the file, and the
// header text of a short image brik. Limits: the path is cut at PATH_SIZE; text_search holds
// TEXT_SEARCH_SIZE bytes.
#include <cstdio>
#include <cstdlib>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include "output/output.h"
#include "run/run_state.h"

constexpr int PATH_SIZE = 500;              // work folder plus file name
constexpr int TEXT_SEARCH_SIZE = 100000;    // a brik's text plus the headlines, for <text_search>
constexpr int SHORT_IMAGE_TEXT = 9;         // image briks with this much nearby text or less get the headlines
constexpr int SHORT_IMAGE_HEADER = 20;      // ... and, below this header length, the headlines in the header too
constexpr size_t HEADER_TEXT_SIZE = BRIK_HEADER_SIZE;

// Appends `src` to the zero-terminated `dst` of `size` bytes; what does not fit is dropped.
static void append_text(char* dst, size_t size, const char* src) {
  size_t n = strlen(dst);
  size_t add = strlen(src);
  if (n + 1 >= size) return;
  if (add > size - 1 - n) add = size - 1 - n;
  memcpy(dst + n, src, add);
  dst[n + add] = 0;
}

// One field of a record: its label, the value, and the comma that ends it.
static void field_text(std::string& record, std::string_view label, const char* value) {
  record += label;
  record += value;
  record += ',';
}

static void field_int(std::string& record, std::string_view label, int value) {
  char digits[16];
  auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;  // the digits of "%d"
  record += label;
  record.append(digits, static_cast<size_t>(end - digits));
  record += ',';
}

extern "C" {

// Result: brik_id plus the records written. The file is opened for append when it exists, and
// created otherwise, so records gather across batches, documents and runs.
int write_to_file(int start, int stop, char* account_name, char* library_name, int doc_id,
                  int brik_id, char* time_stamp, char* file_name) {
  log_at(LOG_DEEP, "DEBUG: pdf_parser - writing parsing output to file. \n");
  char path[PATH_SIZE];
  snprintf(path, sizeof path, "%s%s", global_image_fp != nullptr ? global_image_fp : "",
           file_name != nullptr ? file_name : "");
  FILE* probe = fopen(path, "r");
  FILE* out = nullptr;
  if (probe != nullptr) {
    fclose(probe);
    out = fopen(path, "a");
  } else {
    out = fopen(path, "w");
  }
  if (out == nullptr) {
    log_at(LOG_ERROR, "ERROR: pdf_parser - write_to_file - can not open output file - %s \n", path);
    return brik_id;
  }
  char* text_search = static_cast<char*>(malloc(TEXT_SEARCH_SIZE));
  const char* stamp = time_stamp != nullptr ? time_stamp : "";
  const char* headlines = global_headlines != nullptr ? global_headlines : "";
  std::string record;
  for (int i = start; i < stop; i++) {
    BrikRecord* brik = &Briks[i];
    // ---- 1. and 2. text_search; a short image brik takes the headlines ----
    text_search[0] = 0;
    append_text(text_search, TEXT_SEARCH_SIZE, brik->text);
    int is_image = strcmp(brik->content_type, "image") == 0;
    if (is_image && strlen(text_search) <= static_cast<size_t>(SHORT_IMAGE_TEXT) && headlines[0] != 0) {
      append_text(text_search, TEXT_SEARCH_SIZE, headlines);
      if (strlen(brik->header_text) < static_cast<size_t>(SHORT_IMAGE_HEADER) && GLOBAL_GET_HEADER_TEXT == 1) {
        brik_text_append(&brik->header_text, " ", 1, HEADER_TEXT_SIZE);
        brik_text_append(&brik->header_text, headlines, strlen(headlines), HEADER_TEXT_SIZE);
      }
    }
    // ---- 3. the CMYK mark of image briks ----
    const char* flag = is_image && brik->sub_index == -3 ? "CMYK_FLAG" : "";
    // ---- 4. the record ----
    // Built in one buffer and written with one call; the bytes are those of a formatted write
    // per field ("%d" and "%s"), without the cost of 27 formatted writes per brik.
    record.clear();
    field_int(record, "\n<block_ID>: ", brik_id);
    field_int(record, "\n<doc_ID>: ", doc_id);
    field_text(record, "\n<content_type>: ", brik->content_type);
    field_text(record, "\n<file_type>: ", "pdf");
    field_int(record, "\n<master_index>: ", brik->master_index + 1);
    field_int(record, "\n<master_index2>: ", 0);
    field_int(record, "\n<coords_x>: ", brik->coords_x);
    field_int(record, "\n<coords_y>: ", brik->coords_y);
    field_int(record, "\n<coords_cx>: ", brik->coords_cx);
    field_int(record, "\n<coords_cy>: ", brik->coords_cy);
    field_text(record, "\n<author_or_speaker>: ", my_doc.author);
    field_text(record, "\n<added_to_collection>: ", stamp);
    field_text(record, "\n<file_source>: ", my_doc.file_name);
    field_text(record, "\n<table>: ", brik->table);
    field_text(record, "\n<modified_date>: ", my_doc.modified_date);
    field_text(record, "\n<created_date>: ", my_doc.created_date);
    field_text(record, "\n<creator_tool>: ", my_doc.creator_tool);
    field_text(record, "\n<external_files>: ", brik->external_files);
    field_text(record, "\n<text>: ", brik->text);
    field_text(record, "\n<header_text>: ", brik->header_text);
    field_text(record, "\n<text_search>: ", text_search);
    field_text(record, "\n<user_tags>: ", "");
    field_text(record, "\n<special_field1>: ", "");
    field_text(record, "\n<special_field2>: ", "");
    field_text(record, "\n<special_field3>: ", flag);
    record += "\n<graph_status>: false";
    record += "\n<dialog>: false";
    record += "<END_BLOCK>\n";
    fwrite(record.data(), 1, record.size(), out);
    brik_id++;
  }
  fclose(out);
  free(text_search);
  return brik_id;
}

}  // extern "C"
