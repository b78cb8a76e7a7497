// images/image_common.cpp -- what every image handler shares: the time text and path of a new
// file, where a stream's data begin, the flush at capacity and the image brik itself.
// Reads: buffer, Pages, global_image_fp. Writes: Briks[global_brik_counter], the image counters
// and, at a flush, the brik counters. Limits: IMAGE_PATH_SIZE; image entries outside the arrays read 0.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "images/images.h"
#include "objects/objects.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int STREAM_KEYWORD_REACH = 15;  // bytes searched for "str" when the span is longer
constexpr int STREAM_KEYWORD_LENGTH = 6;  // "stream"
constexpr int LINE_ENDS_PASSED = 2;       // line-end bytes passed after the keyword, any mix

// Float position to int, toward zero; values past the int range are held at its ends.
static int truncate_position(float v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483648.0f) return 2147483647;
  if (v <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(v);
}

static PageRecord* page_of(int page_index) {
  if (Pages == nullptr || page_index < 0 || page_index > GLOBAL_MAX_PAGES) return nullptr;
  return &Pages[page_index];
}

static bool entry_exists(int image_index) { return image_index >= 0 && image_index < PAGE_MAX_IMAGES; }

extern "C" {

// Nothing of this folder lives from one document to the next (images.h).
void images_document_reset(void) {}

void image_time_text(char* text) {
  time_t now = time(nullptr);
  strftime(text, IMAGE_TIME_TEXT_SIZE, "%c", localtime(&now));
}

int image_file_path(char* path, const char* name) {
  int n = snprintf(path, IMAGE_PATH_SIZE, "%s%s", global_image_fp != nullptr ? global_image_fp : "", name);
  return n >= 0 && n < IMAGE_PATH_SIZE;
}

int image_data_start(int stream_start, int stream_stop) {
  int limit = stream_stop - stream_start;
  if (limit >= STREAM_KEYWORD_REACH + 1) limit = STREAM_KEYWORD_REACH;
  int offset = 0;
  for (int i = 0; i + 2 < limit; i++) {
    if (buffer_byte_at(stream_start + i) == 's' && buffer_byte_at(stream_start + i + 1) == 't' &&
        buffer_byte_at(stream_start + i + 2) == 'r') {
      offset = i + STREAM_KEYWORD_LENGTH;
      break;
    }
  }
  for (int k = 0; k < LINE_ENDS_PASSED; k++) {
    int c = buffer_byte_at(stream_start + offset);
    if (c == '\n' || c == '\r') offset++;
  }
  return offset;
}

void image_flush_at_capacity(char* account_name, char* library_name, char* time_text, int log_it) {
  if (global_brik_counter < GLOBAL_MAX_BRIKS) return;
  if (log_it) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - global_block_counter > 1000 - writing to disk now - %d \n",
           global_brik_counter);
  }
  // The briks of this flush carry the moment of the image, not the run's time stamp.
  if (GLOBAL_WRITE_TO_DB == 1) {
    write_to_db(0, global_brik_counter, account_name, library_name, master_doc_tracker,
                master_brik_tracker, time_text);
  } else {
    write_to_file(0, global_brik_counter, account_name, library_name, master_doc_tracker,
                  master_brik_tracker, time_text, global_write_to_filename);
  }
  if (global_brik_counter > global_brik_high_water) global_brik_high_water = global_brik_counter;
  master_brik_tracker += global_brik_counter;
  global_brik_counter = 0;
  master_page_brik_start = 0;
  master_page_brik_stop = 0;
}

int image_entry_height(int page_index, int image_index) {
  PageRecord* page = page_of(page_index);
  return page != nullptr && entry_exists(image_index) ? static_cast<int>(page->image_height[image_index]) : 0;
}

int image_entry_width(int page_index, int image_index) {
  PageRecord* page = page_of(page_index);
  return page != nullptr && entry_exists(image_index) ? static_cast<int>(page->image_width[image_index]) : 0;
}

void image_fill_brik(const char* file_name, int page_index, int image_index, int sub_index,
                     int height, int width, int page_success) {
  master_new_images_added++;
  BrikRecord* brik = &Briks[global_brik_counter];
  PageRecord* page = page_of(page_index);
  bool placed = page != nullptr && entry_exists(image_index);
  brik->master_index = page_index;
  brik->sub_index = sub_index;
  brik->coords_x = placed ? truncate_position(page->image_x[image_index]) : 0;
  brik->coords_y = placed ? truncate_position(page->image_y[image_index]) : 0;
  brik->coords_cx = height;  // Intended: height in cx and width in cy, across the whole family
  brik->coords_cy = width;
  snprintf(brik->content_type, sizeof brik->content_type, "%s", "image");
  snprintf(brik->external_files, sizeof brik->external_files, "%s", file_name);
  brik_text_clear(&brik->header_text);
  brik_text_clear(&brik->text);
  if (page_success == 0) {
    brik_text_set(&brik->table, "OCR_FLAG", 8);
  } else {
    brik_text_clear(&brik->table);
  }
}

void image_finish_brik(void) {
  nearby_text(master_page_brik_start, master_page_brik_stop,
              Briks[global_brik_counter].coords_x, Briks[global_brik_counter].coords_y,
              global_brik_counter);
  global_brik_counter++;
  master_image_tracker++;
}

}  // extern "C"
