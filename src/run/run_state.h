// run/run_state.h -- the run's global state: tunables, counters, text pointers, the two shared
// records (BrikRecord, DocumentRecord) and the log. One copy per loaded library.
// Written by the entry points (run), by pdf_builder (document) and by the passes named below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// A set of byte values fixed at compile time: the scans pass over the bytes outside it in one
// step, since only a byte in it can make them act.
struct ByteSet {
  bool has[256] = {};
  constexpr explicit ByteSet(const char* bytes) {
    for (const char* p = bytes; *p != 0; p++) has[static_cast<unsigned char>(*p)] = true;
  }
  constexpr bool operator[](unsigned char c) const { return has[c]; }
};

extern "C" {

// ---- capacities and tuning values with a built-in value ----
extern int GLOBAL_MAX_OBJ;              // 200000: entries of obj; never written
extern int GLOBAL_MAX_PAGES;            // 5000: entries of Pages and the page cap; never written
extern int GLOBAL_MAX_BRIKS;            // 1010: entries of Briks and the flush threshold; never written
extern int GLOBAL_MAX_FONTS;            // 10000: declared, never read
extern int GLOBAL_MAX_FONT_ENCODINGS;   // 10000: entries of Font_CMAP; never written
extern int GLOBAL_MAX_INPUT_FILES;      // 5000: entries of files; never written
extern int GLOBAL_NN_TMP_COUNT;         // 10000: entries of nn_global_tmp; never written
extern int GLOBAL_DEFAULT_WIDTH_SIZE;   // 500: width of a glyph nothing is known about
extern int GLOBAL_PAGE_CMAP;            // -1: font in force; -1 before each page (pdf_builder), carried by text_processor_page
extern int GLOBAL_FONT_SIZE;            // 10: size in force; stored back by text_processor_page, never reset
extern int GLOBAL_ENCODING;             // 2: 1 one byte per character, 2 UTF-8; entry
extern int CHUNKING_SMART_EDGE;         // 1: cut chunks on blanks and sentence ends; entry
extern int MAX_CHUNK_SIZE;              // 600: hard bound of a chunk; entry
extern int TABLE_STRATEGY;              // 1: 0 or below no tables, 2 the loose test as well; entry
extern int TABLE_GRID;                  // 1: table text with row and cell marks; entry
extern int GLOBAL_GET_HEADER_TEXT;      // 1: briks carry header text; entry
extern int DEBUG_STANDARD_LOGGER;       // 10: named level, never read
extern int INFO_LOGGER;                 // 20: named level, never read
extern int WARNING_LOGGER;              // 30: named level, never read
extern int ERROR_LOGGER;                // 40: named level, never read
extern int DEBUG_DEEP_LOGGER;           // 0: named level, never read
extern int GLOBAL_LOGGER_LEVEL;         // 20: the log's threshold; entry
extern int GLOBAL_REPAIR_MODE;          // 0: 1 reads the text the standard reading loses; set_repair_mode only

// ---- values written by every entry (zero at load) ----
extern int GLOBAL_BRIK_SIZE;            // target size of a text brik
extern int GLOBAL_WRITE_TO_DB;          // 1: briks go to write_to_db, else write_to_file
extern int GLOBAL_STRIP_HEADER;         // strip-header option; has no effect on the text
extern int GLOBAL_STRIP_FOOTER;         // declared, never written or read
extern int GLOBAL_ACTUAL_TEXT_FLAG;     // set by hex_handler_new, read and set by text_processor_page
extern int IMG_MIN_HEIGHT;              // 5 on every run
extern int IMG_MIN_WIDTH;               // 5 on every run
extern int IMG_MIN_HxW;                 // 250 on every run
extern int global_image_save_on;        // 1: the image pass of each page runs; -1: it does not
extern int global_ccitt_image_save_on;  // 1 on every run
extern int global_png_convert_on;       // 1 on every run
extern int debug_mode;                  // the entry's debug mode; 3 alone has a meaning

// ---- run-wide texts, borrowed from the entry's arguments or locals for the call ----
extern FILE* log_stream;                // standard output, or the log file at log mode 60
extern char* global_db;                 // "mongo", "postgres" or "sqlite"
extern char* global_db_uri_string;      // batch entries only
extern char* global_db_name;            // stored, never read
extern char* global_account_name;
extern char* global_library_name;
extern char* global_time_stamp;         // "%c" time of the entry's start
extern char* global_image_fp;           // work folder; images and the brik file go here
extern char* global_write_to_filename;  // the brik file's name inside the work folder
extern char* global_workspace_fp;       // declared, never written or read
extern char* global_master_fp;          // declared, never written or read

// ---- counters and trackers (Run: reset by the entry; Document: reset by pdf_builder) ----
extern int global_obj_counter;          // Document: used entries of obj
extern int global_page_count;           // Document: used entries of Pages
extern int global_font_count;           // Document: used entries of Font_CMAP
extern int global_brik_counter;         // Document, 0 at each flush: briks not yet flushed
extern int global_brik_high_water;     // Document: most entries of Briks filled before a flush; set by
                                       // the flushes, read and reset by pdf_builder (what to clear)
extern int global_buffer_cursor;        // Document (file length): first free byte of buffer
extern int global_text_found;           // Document: briks made by text_processor_page
extern int global_unhandled_img_counter;// Document: images of kinds not exported
extern int global_brik_save_off;        // Document (-1): briks are cut while negative
extern int master_new_briks_added;      // Document: set to 0, never otherwise touched
extern int master_new_images_added;     // Document: images exported in this document
extern int master_page_brik_start;      // each page, 0 at each flush: first brik of the page
extern int master_page_brik_stop;       // each page, 0 at each flush: past the page's last text brik
extern int master_brik_tracker;         // Run: block number of the next brik to the sink
extern int master_doc_tracker;          // Run: document number
extern int master_image_tracker;        // Run: number of the next image
extern int global_table_count;          // batch entries only: tables made
extern int global_total_pages_added;    // Run: pages that yielded a brik; every entry's result

// ---- the two shared records ----
// A text field of a brik record. Its bytes live in memory of their own, as long as what was
// written into it, so a record is small and a thousand records with short texts take a few
// hundred kilobytes instead of 200 KB of fixed arrays each (of which every record touched three
// pages). It reads as a zero-terminated text, "" when never written, and it holds what was last
// written into it until the record's field is written again, as a fixed array would; what a
// writer puts in stays within the field's capacity (the BRIK_*_SIZE below), as before. Writers
// go through brik_text_set, brik_text_append and brik_text_clear; the fields of every record are
// released with the document's arrays (brik_texts_release).
struct BrikText {
  char* data;    // null: never written, reads as ""
  uint32_t cap;  // bytes at data
  operator const char*() const { return data != nullptr ? data : ""; }
  const char* c_str() const { return data != nullptr ? data : ""; }
};
constexpr size_t BRIK_TEXT_SIZE = 50000;     // capacity of text, terminating zero included
constexpr size_t BRIK_HEADER_SIZE = 50000;   // of header_text
constexpr size_t BRIK_TABLE_SIZE = 100000;   // of table

struct BrikRecord {
  int32_t master_index;        // zero-based page number
  int32_t sub_index;           // image number on the page (-3 CMYK), or box index
  int32_t coords_x;
  int32_t coords_y;
  int32_t coords_cx;           // image height, or page index on text and table briks
  int32_t coords_cy;           // image width, or box index on text and table briks
  char content_type[20];       // "text", "table" or "image"
  char file_type[20];          // "PDF" on text, "pdf" on tables
  char external_files[50];     // exported image file name
  BrikText text;               // BRIK_TEXT_SIZE
  BrikText header_text;        // BRIK_HEADER_SIZE
  BrikText table;              // BRIK_TABLE_SIZE
};

// brik_text.cpp. The field becomes the first `n` bytes of `src` (n below its capacity), then a
// zero. Appending adds `add` bytes of `src` behind the field's text, dropping what would not fit
// in `size` bytes with the terminating zero, as an append into a fixed array of `size` bytes
// would. Clearing empties the field without taking memory. Should memory run out, the field
// keeps what it held, and a line says so in the log.
void brik_text_set(BrikText* field, const char* src, size_t n);
void brik_text_append(BrikText* field, const char* src, size_t add, size_t size);
void brik_text_clear(BrikText* field);
// Releases the text fields of Briks[0, count) and leaves them empty (document_arrays_end).
void brik_texts_release(int count);

struct DocumentRecord {
  char author[1000];
  char file_path[300];
  char file_name[300];
  char created_date[300];
  char modified_date[300];
  char creator_tool[300];
  char account_name[100];
  char library_name[100];
};

extern BrikRecord* Briks;              // GLOBAL_MAX_BRIKS entries; per document, zero-filled
extern DocumentRecord my_doc;          // not cleared between documents
extern char* global_headlines;         // 50000 bytes; per document, first byte 0
constexpr int FILES_PATH_SIZE = 300;   // one path of files; a longer path is left out of the run
extern char (*files)[FILES_PATH_SIZE];  // batch entries: GLOBAL_MAX_INPUT_FILES paths, made per run, kept after it

// ---- the log ----
// A line is written when GLOBAL_LOGGER_LEVEL is at or below its limit. Each line is one formatted
// write and a flush. A null log_stream (a library used before any entry ran) means standard output.
constexpr int LOG_DEEP = 9;    // deep debug: every step of every pass
constexpr int LOG_DEBUG = 10;  // debug: one line per page, per pass and per flush
constexpr int LOG_WARN = 39;   // warnings and info: a document or row that is left out
constexpr int LOG_ERROR = 49;  // errors: a run that cannot go on
int log_enabled(int limit);
void log_at(int limit, const char* format, ...) __attribute__((format(printf, 2, 3)));
// The same write with no level test, for the few lines that are always written.
void log_always(const char* format, ...) __attribute__((format(printf, 1, 2)));

// ---- the flush of Briks, shared by every place that finds it full ----
// Hands entries [0, global_brik_counter) to write_to_db or write_to_file, adds the count to
// master_brik_tracker and sets global_brik_counter, master_page_brik_start and
// master_page_brik_stop to 0. The sink's result is ignored.
void flush_brik_batch(void);

void set_repair_mode(int on);      // GLOBAL_REPAIR_MODE = on != 0; kept until the next call

// ---- the document builder and the file-name helpers of the entries ----
int pdf_builder(char* path, char* account, char* library, char* time_stamp);

// Working values of the page loop that the image pass reads and raises (run/image_pass.cpp).
struct PageWork {
  int page_briks;      // briks added on this page; 0 at each page
  int page_success;    // result of the page's latest text_processor_page; 0 at each page
  int blocks_created;  // the document's result so far
  int image_result;    // latest image handler result, or -1; 0 when the document starts
};
// The image pass of page `page`: image export and the text of Form XObjects. Runs only while
// global_image_save_on is 1 and the page has image entries. account and library go to flushes.
void run_image_pass(int page, char* account, char* library, PageWork* work);
int document_arrays_begin(void);   // Briks, Font_CMAP, Pages, obj, nn_global_tmp, global_headlines; 0 if out of memory
int document_buffer_begin(int capacity);  // a zero-filled buffer of `capacity` bytes; 0 if out of memory
void document_buffer_end(void);    // frees buffer; safe to call twice
void document_arrays_end(void);    // frees buffer and the arrays; safe to call twice
char* get_file_name(char* path);   // last "/" component; splits `path` in place; null if none
char* get_file_type(char* name);   // scratch text after the last "."; null if none

// ---- the folder's own state; each group is defined in the file it names ----
// pdf_builder.cpp: the per-document arrays stay mapped from one document to the next; each record
// holds its array while no document has it. Run-wide on purpose: none of these is ever reset.
struct KeptArray {
  void* data;       // the kept array, all zeros (its end against the guard page); null if none
  size_t size;      // its byte size
  void* lent;       // the whole array while it is handed out
  size_t lent_size;
};
extern KeptArray kept_briks;            // Briks between documents
extern KeptArray kept_fonts;            // Font_CMAP between documents
extern KeptArray kept_pages;            // Pages between documents
extern KeptArray kept_objects;          // obj between documents
extern KeptArray kept_pairs;            // nn_global_tmp between documents
extern KeptArray kept_buffer;           // buffer between documents, at the largest capacity so far
extern int kept_swap_checked;           // 1 once /proc/swaps was read
extern int kept_has_swap;               // the machine has swap (or it could not be told)
extern unsigned char* kept_resident;    // mincore's answer while an array is cleared; grown, never freed
extern size_t kept_resident_cap;        // bytes of kept_resident
// pdf_builder.cpp: the /Encrypt search over the file's tail, kept until the cursor moves.
extern int encrypt_tail_result;         // the last search's result
extern int encrypt_tail_cursor;         // global_buffer_cursor at that search; -1 at each object pass
// entry_batch.cpp, entry_single.cpp.
extern int driver_cleanup_wanted;       // 1 once a batch wrote to a database; read at unload, never reset
constexpr int FILE_TYPE_SIZE = 500;     // scratch copy of a name split at "."
extern char file_type_scratch[FILE_TYPE_SIZE];  // get_file_type's result; rewritten at each call

}  // extern "C"
