// run/run_state.cpp -- definitions of the run's globals with their built-in values, and the log.
// Reads: GLOBAL_LOGGER_LEVEL, log_stream. Writes: nothing but the log stream.
#include "run/run_state.h"

#include <cstdarg>

extern "C" {

int GLOBAL_MAX_OBJ = 200000;
int GLOBAL_MAX_PAGES = 5000;
int GLOBAL_MAX_BRIKS = 1010;
int GLOBAL_MAX_FONTS = 10000;
int GLOBAL_MAX_FONT_ENCODINGS = 10000;
int GLOBAL_MAX_INPUT_FILES = 5000;
int GLOBAL_NN_TMP_COUNT = 10000;
int GLOBAL_DEFAULT_WIDTH_SIZE = 500;
int GLOBAL_PAGE_CMAP = -1;
int GLOBAL_FONT_SIZE = 10;
int GLOBAL_ENCODING = 2;
int CHUNKING_SMART_EDGE = 1;
int MAX_CHUNK_SIZE = 600;
int TABLE_STRATEGY = 1;
int TABLE_GRID = 1;
int GLOBAL_GET_HEADER_TEXT = 1;
int DEBUG_STANDARD_LOGGER = 10;
int INFO_LOGGER = 20;
int WARNING_LOGGER = 30;
int ERROR_LOGGER = 40;
int DEBUG_DEEP_LOGGER = 0;
int GLOBAL_LOGGER_LEVEL = 20;

int GLOBAL_BRIK_SIZE = 0;
int GLOBAL_WRITE_TO_DB = 0;
int GLOBAL_STRIP_HEADER = 0;
int GLOBAL_STRIP_FOOTER = 0;
int GLOBAL_ACTUAL_TEXT_FLAG = 0;
int IMG_MIN_HEIGHT = 0;
int IMG_MIN_WIDTH = 0;
int IMG_MIN_HxW = 0;
int global_image_save_on = 0;
int global_ccitt_image_save_on = 0;
int global_png_convert_on = 0;
int debug_mode = 0;

FILE* log_stream = nullptr;
char* global_db = nullptr;
char* global_db_uri_string = nullptr;
char* global_db_name = nullptr;
char* global_account_name = nullptr;
char* global_library_name = nullptr;
char* global_time_stamp = nullptr;
char* global_image_fp = nullptr;
char* global_write_to_filename = nullptr;
char* global_workspace_fp = nullptr;
char* global_master_fp = nullptr;

int global_obj_counter = 0;
int global_page_count = 0;
int global_font_count = 0;
int global_brik_counter = 0;
int global_brik_high_water = 0;
int global_buffer_cursor = 0;
int global_text_found = 0;
int global_unhandled_img_counter = 0;
int global_brik_save_off = -1;
int master_new_briks_added = 0;
int master_new_images_added = 0;
int master_page_brik_start = 0;
int master_page_brik_stop = 0;
int master_brik_tracker = 0;
int master_doc_tracker = 0;
int master_image_tracker = 0;
int global_table_count = 0;
int global_total_pages_added = 0;

BrikRecord* Briks = nullptr;
DocumentRecord my_doc;
char* global_headlines = nullptr;

int log_enabled(int limit) { return GLOBAL_LOGGER_LEVEL <= limit; }

static void write_line(const char* format, va_list args) {
  FILE* out = log_stream ? log_stream : stdout;
  vfprintf(out, format, args);
  fflush(out);
}

void log_at(int limit, const char* format, ...) {
  if (GLOBAL_LOGGER_LEVEL > limit) return;
  va_list args;
  va_start(args, format);
  write_line(format, args);
  va_end(args);
}

void log_always(const char* format, ...) {
  va_list args;
  va_start(args, format);
  write_line(format, args);
  va_end(args);
}

}  // extern "C"
