// run/entry_batch.cpp -- the three folder entry points (levels 1, 2 and 3 of one function): list
// a folder, run pdf_builder on every PDF in it, keep the run's totals and report to the database.
// Writes: the run's configuration, trackers and texts, files, my_doc, log_stream.
// Limits: GLOBAL_MAX_INPUT_FILES paths of FILES_PATH_SIZE bytes; more are left out and logged.
#include <dirent.h>
#include <mongoc/mongoc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "output/output.h"
#include "pdfbriks.h"
#include "run/run_state.h"

constexpr int TIME_STAMP_SIZE = 64;   // "%c" of the call's start
constexpr int JOB_NAME_SIZE = 1000;   // library name, "_pdf_parser_", job id; cut if longer
constexpr int STATUS_FLOOR = 20;      // status updates only in runs of more files than this
constexpr int LEVEL_1_INTERVAL = 10;  // level 1 reports its status every 10 files

char (*files)[FILES_PATH_SIZE] = nullptr;

static const char mongo_text[] = "mongo";
static const char empty_text[] = "";
static const char zero_text[] = "0";

// The driver's global cleanup can run only once per process, and no client may be used after
// it; a host runs many batches in one process. So the cleanup a run asks for is done once, when
// the library is unloaded.
int driver_cleanup_wanted = 0;  // declared in run_state.h

__attribute__((destructor)) static void driver_cleanup_at_unload() {
  if (driver_cleanup_wanted) mongoc_cleanup();
}

static char* text_arg(const char* text) { return const_cast<char*>(text != nullptr ? text : ""); }

static void copy_text(char* dst, size_t size, const char* src) {
  snprintf(dst, size, "%s", src != nullptr ? src : "");
}

// The configuration of one batch call; level 3 fills every field, levels 1 and 2 fewer.
struct BatchArgs {
  int level;
  const char* account_name;
  const char* library_name;
  const char* input_folder;
  const char* db_kind;
  const char* db_uri;
  const char* db_name;
  const char* image_folder;
  int debug_mode;
  int image_save;
  int write_to_db;
  const char* write_to_filename;
  int brik_size;
  int unique_doc_num;
  int status_flag;
  int status_interval;
  const char* job_id;
};

// ---- the folder scan ----

// 1 if a directory entry's name is taken by the scan: it sorts after "." and ".." in byte order
// and is not ".DS_Store". Intended: an ordering, so names that sort before "." (a leading blank,
// "!", "#", "(", "+", ",", "-") are passed over too.
static int name_is_listed(const char* name) {
  return strcmp(name, ".") > 0 && strcmp(name, "..") > 0 && strcmp(name, ".DS_Store") != 0;
}

// Lists the PDFs of `folder` into files in the order the directory yields them, without
// sub-folders; result: the count stored. A folder that does not open gives an empty list.
static int scan_folder(const char* folder) {
  DIR* dir = opendir(folder);
  if (dir == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - input folder can not be opened - no files to process - %s \n", folder);
    return 0;
  }
  int file_count = 0;
  for (struct dirent* entry = readdir(dir); entry != nullptr; entry = readdir(dir)) {
    if (!name_is_listed(entry->d_name)) continue;
    const char* type = get_file_type(entry->d_name);
    if (type == nullptr || (strcmp(type, "pdf") != 0 && strcmp(type, "PDF") != 0)) continue;
    if (file_count >= GLOBAL_MAX_INPUT_FILES) {
      log_at(LOG_WARN, "WARNING: pdf_parser - too many input files - exceeded GLOBAL_MAX_INPUT_FILES = %d - left out - %s \n",
             GLOBAL_MAX_INPUT_FILES, entry->d_name);
      continue;
    }
    int n = snprintf(files[file_count], FILES_PATH_SIZE, "%s%s", folder, entry->d_name);
    if (n < 0 || n >= FILES_PATH_SIZE) {
      log_at(LOG_WARN, "WARNING: pdf_parser - input file path too long - left out - %s%s \n", folder, entry->d_name);
      continue;
    }
    file_count++;
  }
  closedir(dir);
  return file_count;
}

// ---- one batch run, shared by the three levels ----

static int run_batch(const BatchArgs& a) {
  // ---- 1. log and options (the caller has set the level-3 options and the log) ----
  if (a.level == 2) {
    GLOBAL_ENCODING = 2;
    CHUNKING_SMART_EDGE = 1;
    MAX_CHUNK_SIZE = 600;
  }

  // ---- 2. time stamp and the file list; the previous run's list is given back ----
  char time_stamp[TIME_STAMP_SIZE];
  time_t now = time(nullptr);
  strftime(time_stamp, sizeof time_stamp, "%c", localtime(&now));
  free(files);
  files = static_cast<char(*)[FILES_PATH_SIZE]>(calloc(GLOBAL_MAX_INPUT_FILES, FILES_PATH_SIZE));

  // ---- 3. and 4. the run's configuration and trackers ----
  global_db_uri_string = text_arg(a.db_uri);
  global_db = a.level == 1 ? text_arg(mongo_text) : text_arg(a.db_kind);
  global_db_name = a.level == 1 ? text_arg(a.account_name) : text_arg(a.db_name);
  global_image_fp = text_arg(a.image_folder);
  GLOBAL_BRIK_SIZE = a.brik_size;
  GLOBAL_WRITE_TO_DB = a.write_to_db;
  global_write_to_filename = text_arg(a.write_to_filename);
  debug_mode = a.debug_mode;
  global_table_count = 0;
  IMG_MIN_HEIGHT = 5;
  IMG_MIN_WIDTH = 5;
  IMG_MIN_HxW = 250;
  global_ccitt_image_save_on = 1;
  global_png_convert_on = 1;
  master_brik_tracker = 0;
  master_doc_tracker = 0;
  master_image_tracker = 0;
  global_total_pages_added = 0;
  global_image_save_on = a.image_save == 1 ? 1 : -1;

  // ---- 5. the database library; level 3 starts it for MongoDB alone ----
  int is_mongo = strcmp(global_db, "mongo") == 0;
  if (GLOBAL_WRITE_TO_DB == 1 && (a.level < 3 || is_mongo)) mongoc_init();
  // One PostgreSQL connection serves the whole run (closed below, before the result).
  db_pg_session_begin();

  // ---- the folder scan ----
  int file_count = scan_folder(text_arg(a.input_folder));
  int pdf_count = file_count;  // Intended: both totals are written, and they are always equal

  // ---- after the scan ----
  clock_t started = clock();
  global_account_name = text_arg(a.account_name);
  global_library_name = text_arg(a.library_name);
  global_time_stamp = time_stamp;
  char* job_id = a.level == 1 ? text_arg(zero_text) : text_arg(a.job_id);
  char job_name[JOB_NAME_SIZE];
  snprintf(job_name, sizeof job_name, "%s_pdf_parser_%s", global_library_name, job_id);
  char status_text[] = "In Progress";
  // Intended: level 1 always reports its status, every LEVEL_1_INTERVAL files, whatever it was given.
  int status_flag = a.level == 1 ? 1 : a.status_flag;
  int status_interval = a.level == 1 ? LEVEL_1_INTERVAL : a.status_interval;
  int status_due = file_count > STATUS_FLOOR && a.write_to_db == 1 && status_flag == 1;
  if (status_due && status_interval <= 0) {
    log_at(LOG_WARN, "WARNING: pdf_parser - status interval not above 0 - no status updates in this run - %d \n",
           status_interval);
  }

  // ---- the file loop ----
  int docs_done = 0;
  int blocks_total = 0;
  int images_total = 0;
  for (int file_index = 0; file_index < file_count; file_index++) {
    char* path = files[file_index];
    // ---- 1. the document's record ----
    copy_text(my_doc.library_name, sizeof my_doc.library_name, a.library_name);
    copy_text(my_doc.account_name, sizeof my_doc.account_name, a.account_name);
    copy_text(my_doc.file_path, sizeof my_doc.file_path, path);
    char path_copy[FILES_PATH_SIZE];
    copy_text(path_copy, sizeof path_copy, path);
    copy_text(my_doc.file_name, sizeof my_doc.file_name, get_file_name(path_copy));

    // ---- 2. the processing line ----
    // Intended: at level 1 the line has two blanks after "INFO:".
    if (a.level == 1) {
      log_at(LOG_WARN, "INFO:  pdf_parser - processing file - %d - %s \n", file_index, my_doc.file_name);
    } else {
      log_at(LOG_WARN, "INFO: pdf_parser - processing file - %d - %s \n", file_index, my_doc.file_name);
    }

    // ---- 3. status every status_interval files, in runs of more than 20 files ----
    if (status_due && status_interval > 0 && file_index % status_interval == 0) {
      register_status_update(job_name, status_text, text_arg(empty_text), text_arg(empty_text), file_count,
                             file_index);
      log_at(LOG_WARN, "INFO: pdf_parser - registered status to database - %s - %s - %d - %d \n", job_name,
             status_text, file_index, file_count);
    }

    // ---- 4. the document number ----
    int doc_number = a.unique_doc_num < 0 ? pull_new_doc_id(global_account_name, global_library_name)
                                          : a.unique_doc_num + docs_done;
    if (doc_number < 1) doc_number = docs_done + 1000000;
    master_doc_tracker = doc_number;

    // ---- 5. to 7. the document and what its result means ----
    int blocks = pdf_builder(path, global_account_name, global_library_name, time_stamp);
    if (blocks >= 1) {
      if (a.level == 1) {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - finished reading document- added total new blocks - %d \n", blocks);
      } else {
        // Intended: an INFO line at debug level.
        log_at(LOG_DEBUG, "INFO: pdf_parser - finished reading document- added total new blocks - %d \n", blocks);
      }
      docs_done++;
      master_brik_tracker = 0;
      master_image_tracker = 0;
      blocks_total += blocks;
      images_total += master_new_images_added;
    } else {
      if (a.level < 3) {
        log_at(LOG_WARN, "WARNING: pdf_parser - no content captured - blocks_created = %d \n", blocks);
      } else {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - no content captured - blocks_created = %d \n", blocks);
      }
      char* event = nullptr;
      char no_catalog[] = "NO_CATALOG";
      char encrypted[] = "ENCRYPTED";
      char no_content[] = "NO_CONTENT_FOUND";
      char yes_text[] = "yes";
      char fail_text[] = "fail";
      if (blocks == -1) event = no_catalog;
      if (blocks == -2) event = encrypted;
      if (blocks == 0) event = no_content;
      if (a.level > 1 && event != nullptr) {
        register_parser_event(job_id, my_doc.library_name, my_doc.account_name, path, event,
                              yes_text, fail_text, time_stamp);
      }
    }

    // ---- 8. missing text and unhandled images ----
    int no_text = global_text_found == 0 || blocks == 0;
    if (no_text) {
      if (a.level < 3) {
        log_at(LOG_WARN, "WARNING: pdf_parser - no text content found - even though images found - %d \n",
               master_new_images_added);
      } else {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - no text content found - even though images found - %d \n",
               master_new_images_added);
      }
      if (a.level == 1) log_at(LOG_WARN, "WARNING: pdf_parser - no text found in parsing. \n");
    }
    if (global_unhandled_img_counter > 0) {
      if (a.level == 1) {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - global unhandled img counter > 0 - flag for triage processing - %d \n",
               global_unhandled_img_counter);
      } else if (a.level == 2) {
        log_at(LOG_WARN, "WARNING: pdf_parser - global unhandled img counter > 0 - flag for Triage processing - %d \n",
               global_unhandled_img_counter);
      } else {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - global unhandled img counter > 0 - flag for Triage processing - %d \n",
               global_unhandled_img_counter);
        if (no_text) log_at(LOG_WARN, "WARNING: pdf_parser - no text found - only images in document.\n");
      }
    }
  }

  // ---- end of the run: library totals and the closing status, with whatever my_doc holds ----
  if (GLOBAL_WRITE_TO_DB == 1) {
    if (a.level == 2) {
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - completed parsing - registering updates - update_library_inc_totals and status_update.\n");
    }
    if (a.level == 3) {
      log_at(LOG_DEBUG, "INFO:  pdf_parser - completed parsing - registering updates - update_library_inc_totals and status_update.\n");
    }
    update_library_inc_totals(my_doc.account_name, my_doc.library_name, docs_done, blocks_total,
                              images_total, global_total_pages_added, global_table_count);
    char completed[] = "Completed";
    register_status_update(job_name, completed, text_arg(empty_text), text_arg(empty_text), pdf_count,
                           pdf_count);
  }

  // ---- the closing summary, one flush at its end ----
  double elapsed = static_cast<double>(clock() - started) / 1000000;
  int summary_on = log_enabled(LOG_WARN) || (a.level > 1 && status_flag == 1);
  if (summary_on) {
    FILE* out = log_stream != nullptr ? log_stream : stdout;
    fprintf(out, "INFO: pdf_parser - total pdf files processed - %d \n", pdf_count);
    fprintf(out, "INFO: pdf_parser - total input files received - %d \n", file_count);
    fprintf(out, "INFO: pdf_parser - total blocks created - %d \n", blocks_total);
    fprintf(out, "INFO: pdf_parser - total images created - %d \n", images_total);
    fprintf(out, "INFO: pdf_parser - total tables created - %d \n", global_table_count);
    fprintf(out, "INFO: pdf_parser - total pages added - %d \n", global_total_pages_added);
    fprintf(out, "INFO: pdf_parser - PDF Processing - Finished - time elapsed - %f \n", elapsed);
    fflush(out);
  }
  // Level 1's status flag is fixed at 1, so this line is always written there.
  if (a.level == 1 || summary_on) {
    log_always("INFO: pdf_parser - Completed Parsing - processing time - %f \n", elapsed);
  }

  // ---- the database library's cleanup, whatever global_db says ----
  if (GLOBAL_WRITE_TO_DB == 1) driver_cleanup_wanted = 1;
  db_pg_session_end();
  return global_total_pages_added;
}

extern "C" {

int add_pdf_main_dorvane(const char* account_name, const char* library_name,
                         const char* input_folder, const char* db_uri, const char* image_folder,
                         int debug_mode, int image_save, int write_to_db,
                         const char* write_to_filename, int brik_size, int unique_doc_num,
                         const char* spare_1, const char* spare_2) {
  log_stream = stdout;
  BatchArgs a = {1, account_name, library_name, input_folder, nullptr, db_uri, nullptr,
                 image_folder, debug_mode, image_save, write_to_db, write_to_filename, brik_size,
                 unique_doc_num, 1, LEVEL_1_INTERVAL, nullptr};
  return run_batch(a);
}

int add_pdf_main_dorvane_config(const char* account_name, const char* library_name,
                                const char* input_folder, const char* db_kind,
                                const char* db_uri, const char* db_name, const char* spare_1,
                                const char* spare_2, const char* image_folder, int debug_mode,
                                int image_save, int write_to_db, const char* write_to_filename,
                                int brik_size, int unique_doc_num, int status_flag,
                                int status_interval, const char* job_id) {
  log_stream = stdout;
  BatchArgs a = {2, account_name, library_name, input_folder, db_kind, db_uri, db_name,
                 image_folder, debug_mode, image_save, write_to_db, write_to_filename, brik_size,
                 unique_doc_num, status_flag, status_interval, job_id};
  return run_batch(a);
}

int add_pdf_main_dorvane_config_new(const char* account_name, const char* library_name,
                                    const char* input_folder, const char* db_kind,
                                    const char* db_uri, const char* db_name,
                                    const char* spare_1, const char* spare_2,
                                    const char* image_folder, int debug_mode, int image_save,
                                    int write_to_db, const char* write_to_filename,
                                    int brik_size, int unique_doc_num, int status_flag,
                                    int status_interval, const char* job_id, int strip_header,
                                    int table_strategy, int smart_edge, int max_chunk_size,
                                    int encoding, int get_header_text, int table_grid,
                                    int logger_level, const char* log_file_path) {
  // ---- 1. the log (debug mode 60 logs to a file), its level and the text options ----
  FILE* log_file = nullptr;
  if (debug_mode == 60) {
    log_file = log_file_path != nullptr ? fopen(log_file_path, "w") : nullptr;
    if (log_file == nullptr) {
      fprintf(stdout, "WARNING: pdf_parser - log file can not be opened - logging to standard output - %s \n",
              text_arg(log_file_path));
      fflush(stdout);
    }
  }
  log_stream = log_file != nullptr ? log_file : stdout;
  GLOBAL_LOGGER_LEVEL = logger_level;
  GLOBAL_STRIP_HEADER = strip_header;
  TABLE_STRATEGY = table_strategy;
  CHUNKING_SMART_EDGE = smart_edge;
  MAX_CHUNK_SIZE = max_chunk_size;
  GLOBAL_ENCODING = encoding;
  GLOBAL_GET_HEADER_TEXT = get_header_text;
  TABLE_GRID = table_grid;

  BatchArgs a = {3, account_name, library_name, input_folder, db_kind, db_uri, db_name,
                 image_folder, debug_mode, image_save, write_to_db, write_to_filename, brik_size,
                 unique_doc_num, status_flag, status_interval, job_id};
  int pages = run_batch(a);

  // ---- the log file is closed; the log goes back to standard output ----
  if (log_file != nullptr) {
    fclose(log_file);
    log_stream = stdout;
  }
  return pages;
}

}  // extern "C"
