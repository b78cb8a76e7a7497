// output/brik_file.cpp -- write_to_file: appends entries [start, stop) of Briks as text records
// to global_image_fp followed by file_name, one record per brik, each ended by "<END_BLOCK>".
// Reads: Briks, my_doc, global_headlines, GLOBAL_GET_HEADER_TEXT. Writes: the file, and the
// header text of a short image brik. Limits: the path is cut at PATH_SIZE; text_search holds
// TEXT_SEARCH_SIZE bytes.
#include <cstdio>
#include <cstdlib>
#include <cstring>

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
    fprintf(out, "\n<block_ID>: %d,", brik_id);
    fprintf(out, "\n<doc_ID>: %d,", doc_id);
    fprintf(out, "\n<content_type>: %s,", brik->content_type);
    fprintf(out, "\n<file_type>: %s,", "pdf");
    fprintf(out, "\n<master_index>: %d,", brik->master_index + 1);
    fprintf(out, "\n<master_index2>: %d,", 0);
    fprintf(out, "\n<coords_x>: %d,", brik->coords_x);
    fprintf(out, "\n<coords_y>: %d,", brik->coords_y);
    fprintf(out, "\n<coords_cx>: %d,", brik->coords_cx);
    fprintf(out, "\n<coords_cy>: %d,", brik->coords_cy);
    fprintf(out, "\n<author_or_speaker>: %s,", my_doc.author);
    fprintf(out, "\n<added_to_collection>: %s,", stamp);
    fprintf(out, "\n<file_source>: %s,", my_doc.file_name);
    fprintf(out, "\n<table>: %s,", brik->table.c_str());
    fprintf(out, "\n<modified_date>: %s,", my_doc.modified_date);
    fprintf(out, "\n<created_date>: %s,", my_doc.created_date);
    fprintf(out, "\n<creator_tool>: %s,", my_doc.creator_tool);
    fprintf(out, "\n<external_files>: %s,", brik->external_files);
    fprintf(out, "\n<text>: %s,", brik->text.c_str());
    fprintf(out, "\n<header_text>: %s,", brik->header_text.c_str());
    fprintf(out, "\n<text_search>: %s,", text_search);
    fprintf(out, "\n<user_tags>: %s,", "");
    fprintf(out, "\n<special_field1>: %s,", "");
    fprintf(out, "\n<special_field2>: %s,", "");
    fprintf(out, "\n<special_field3>: %s,", flag);
    fprintf(out, "\n<graph_status>: false");
    fprintf(out, "\n<dialog>: false");
    fprintf(out, "%s\n", "<END_BLOCK>");
    brik_id++;
  }
  fclose(out);
  free(text_search);
  return brik_id;
}

}  // extern "C"
