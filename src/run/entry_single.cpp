// run/entry_single.cpp -- add_one_pdf and add_one_pdf_opts: one named PDF into the brik file,
// with no database and no image export; and the file-name helpers shared with the batch entries.
// Writes: the run's configuration, trackers and text pointers, my_doc, log_stream,
// file_type_scratch.
#include <cstdio>
#include <cstring>
#include <ctime>

#include "pdfbriks.h"
#include "run/run_state.h"

extern "C" {

constexpr int FOLDER_COPY_SIZE = 200;   // first copy of input_folder
constexpr int FOLDER_PATH_SIZE = 300;   // second copy, the one the path is made from
constexpr int PATH_SIZE = 1000;         // input_folder followed by file_name
constexpr int TIME_STAMP_SIZE = 64;     // "%c" of the call's start

static const char mongo_text[] = "mongo";

char file_type_scratch[FILE_TYPE_SIZE];  // declared in run_state.h

char* get_file_name(char* path) {
  if (path == nullptr) return nullptr;
  char* last = nullptr;
  char* save = nullptr;
  for (char* token = strtok_r(path, "/", &save); token != nullptr; token = strtok_r(nullptr, "/", &save)) {
    last = token;
  }
  return last;
}

char* get_file_type(char* name) {
  char* scratch = file_type_scratch;
  if (name == nullptr) return nullptr;
  snprintf(scratch, FILE_TYPE_SIZE, "%.*s", FILE_TYPE_SIZE - 1, name);  // a longer name is cut
  char* last = nullptr;
  char* save = nullptr;
  for (char* token = strtok_r(scratch, ".", &save); token != nullptr; token = strtok_r(nullptr, ".", &save)) {
    last = token;
  }
  return last;
}

static void copy_text(char* dst, size_t size, const char* src) {
  snprintf(dst, size, "%s", src != nullptr ? src : "");
}

static int is_pdf_type(const char* type) {
  return type != nullptr && (strcmp(type, "pdf") == 0 || strcmp(type, "PDF") == 0);
}

// Steps 2 to 12 of a single-file call, shared by both entries. The caller has set log_stream,
// the level and the options.
static int run_single_file(const char* account_name, const char* library_name,
                           const char* input_folder, const char* file_name,
                           const char* image_folder, const char* write_to_filename, int brik_size) {
  // ---- 2. time stamp and folder copies ----
  char time_stamp[TIME_STAMP_SIZE];
  time_t now = time(nullptr);
  strftime(time_stamp, sizeof time_stamp, "%c", localtime(&now));
  char folder_copy[FOLDER_COPY_SIZE];
  char folder_path[FOLDER_PATH_SIZE];
  copy_text(folder_copy, sizeof folder_copy, input_folder);
  copy_text(folder_path, sizeof folder_path, input_folder);

  // ---- 3. and 4. the run's configuration and trackers ----
  global_image_fp = const_cast<char*>(image_folder);
  GLOBAL_BRIK_SIZE = brik_size;
  global_ccitt_image_save_on = 1;
  global_png_convert_on = 1;
  IMG_MIN_HEIGHT = 5;
  IMG_MIN_WIDTH = 5;
  IMG_MIN_HxW = 250;
  GLOBAL_WRITE_TO_DB = 0;
  global_db = const_cast<char*>(mongo_text);
  global_db_name = const_cast<char*>(account_name);
  global_write_to_filename = const_cast<char*>(write_to_filename);
  debug_mode = 0;
  master_brik_tracker = 0;
  master_doc_tracker = 0;
  master_image_tracker = 0;
  global_total_pages_added = 0;
  global_image_save_on = -1;

  // ---- 5. and 6. the name's type, then the path; only a PDF name is ever opened ----
  int file_status = -1;
  char path[PATH_SIZE] = "";
  char name_copy[PATH_SIZE];
  copy_text(name_copy, sizeof name_copy, file_name);
  if (is_pdf_type(get_file_type(name_copy))) {
    file_status = 1;
    int n = snprintf(path, sizeof path, "%s%s", folder_path, file_name != nullptr ? file_name : "");
    FILE* probe = n < PATH_SIZE ? fopen(path, "rb") : nullptr;
    if (probe == nullptr) {
      file_status = -2;
    } else {
      fclose(probe);
    }
  }

  // ---- 7. run texts ----
  global_account_name = const_cast<char*>(account_name);
  global_library_name = const_cast<char*>(library_name);
  global_time_stamp = time_stamp;

  // ---- 8. the document ----
  int pdf_files = 0;
  int processed_files = 0;
  int blocks_total = 0;
  clock_t started = clock();
  if (file_status == 1) {
    copy_text(my_doc.library_name, sizeof my_doc.library_name, library_name);
    copy_text(my_doc.account_name, sizeof my_doc.account_name, account_name);
    copy_text(my_doc.file_path, sizeof my_doc.file_path, path);
    copy_text(my_doc.file_name, sizeof my_doc.file_name, file_name);
    pdf_files = 1;
    int blocks = pdf_builder(path, const_cast<char*>(account_name), const_cast<char*>(library_name),
                             time_stamp);
    if (blocks >= 1) {
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - finished reading document- added total new blocks - %d \n", blocks);
      processed_files = 1;
      blocks_total = blocks;
    } else {
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - blocks_created = \n");
    }
  }

  // ---- 9. names that were not read ----
  if (file_status == -1) log_at(LOG_WARN, "WARNING: pdf_parser - file is not PDF. \n");
  if (file_status == -2) log_at(LOG_WARN, "WARNING: pdf_parser - file not found at this path. \n");

  // ---- 10. the closing summary, one flush at its end ----
  double elapsed = static_cast<double>(clock() - started) / 1000000;
  if (log_enabled(LOG_WARN)) {
    FILE* out = log_stream != nullptr ? log_stream : stdout;
    fprintf(out, "INFO: pdf_parser - pdf files-%d \n", pdf_files);
    fprintf(out, "INFO: pdf_parser - total processed upload files-%d \n", processed_files);
    fprintf(out, "INFO: pdf_parser - total blocks created - %d \n", blocks_total);
    fprintf(out, "INFO: pdf_parser - total pages added - %d \n", global_total_pages_added);
    fprintf(out, "INFO: pdf_parser - PDF Processing - Finished - time elapsed - %f \n", elapsed);
    fflush(out);
  }
  return global_total_pages_added;
}

int add_one_pdf(const char* account_name, const char* library_name, const char* input_folder,
                const char* file_name, const char* image_folder, const char* write_to_filename,
                int brik_size) {
  log_stream = stdout;
  return run_single_file(account_name, library_name, input_folder, file_name, image_folder,
                         write_to_filename, brik_size);
}

int add_one_pdf_opts(const char* account_name, const char* library_name,
                     const char* input_folder, const char* file_name, const char* image_folder,
                     const char* write_to_filename, int brik_size, const char* spare_1,
                     int strip_header, int table_strategy, int smart_edge, int max_chunk_size,
                     int encoding, int get_header_text, int table_grid, const char* spare_2,
                     int logger_level, const char* log_file_path, int log_mode) {
  // ---- 1. options and the log ----
  GLOBAL_STRIP_HEADER = strip_header;
  TABLE_STRATEGY = table_strategy;
  CHUNKING_SMART_EDGE = smart_edge;
  MAX_CHUNK_SIZE = max_chunk_size;
  GLOBAL_ENCODING = encoding;
  GLOBAL_GET_HEADER_TEXT = get_header_text;
  TABLE_GRID = table_grid;
  GLOBAL_BRIK_SIZE = brik_size;
  FILE* log_file = nullptr;
  if (log_mode == 60 && log_file_path != nullptr) log_file = fopen(log_file_path, "w");
  log_stream = log_file != nullptr ? log_file : stdout;
  GLOBAL_LOGGER_LEVEL = logger_level;

  int pages = run_single_file(account_name, library_name, input_folder, file_name, image_folder,
                              write_to_filename, brik_size);

  // ---- 11. the log file is closed; the log goes back to standard output ----
  if (log_file != nullptr) {
    fclose(log_file);
    log_stream = stdout;
  }
  return pages;
}

}  // extern "C"
