// images/images.h -- image export: the handlers that write one image XObject of a page to a file
// in the work folder and add its image brik, and nearby_text, which gives that brik the text
// found around the image. Called by the page image pass (run/image_pass.cpp).
//
// Globals of the run that this folder writes (declared in run/run_state.h):
//   master_image_tracker     raised by one by a handler for each brik it adds; Run
//   master_new_images_added  raised by one for each image brik; Document
//   global_brik_counter, master_brik_tracker, master_page_brik_start, master_page_brik_stop:
//                            the flush at capacity inside each handler
// The folder's own globals are the two accumulators of nearby_text below; nothing in them lives
// from one call to the next.
#pragma once

extern "C" {

// ---- the folder's own state ----
constexpr int NEARBY_TEXT_SIZE = 50000;    // bytes of the text accumulator, terminator included
constexpr int NEARBY_HEADER_SIZE = 10000;  // bytes of the header accumulator, terminator included
extern char nearby_text_acc[NEARBY_TEXT_SIZE];      // nearby_text.cpp, nearby_text; emptied at each call
extern char nearby_header_acc[NEARBY_HEADER_SIZE];  // nearby_text.cpp, nearby_text; emptied at each call

// The folder's resets at the start of a document (pdf_builder's set-up). The folder carries
// nothing from one document to the next, so there is nothing to reset: the accumulators are
// emptied at each call, and master_new_images_added is pdf_builder's own reset.
void images_document_reset(void);

// ---- nearby text ----
// Fills text and header_text of Briks[self] from the briks start..stop (inclusive) of the page:
// those in the image's column or row band or within the radius, then every header. Returns the
// text's length, or 0 when the range is refused (the brik's fields are then left as they were).
int nearby_text(int start, int stop, int x, int y, int self);

// ---- Flate images: inflated, classified by length as RGB or grey, written as PNG ----
// 1 when a brik was added, 0 when not (inflate failed, no layout fits, uniform, file or PNG error).
int image_handler_flate(int height, int width, int stream_start, int stream_stop, int image_tracker,
                        char* account_name, char* library_name, int page_index, int image_index,
                        int dct_flag, int page_success, int png_convert, int cmyk_flag);

// ---- encoded images: the stream's bytes as they stand ----
// 1 when a brik was added, 0 when the data were too short to keep (or the file could not be
// written), -1 when the span was refused (not for jbig2).
int image_handler_dct(int stream_start, int stream_stop, int image_tracker, char* account_name,
                      char* library_name, int page_index, int image_index, int page_success,
                      int cmyk_flag);
int image_handler_ccitt(int stream_start, int stream_stop, int image_tracker, char* account_name,
                        char* library_name, int page_index, int image_index, int page_success,
                        int height, int width);
int image_handler_jpx(int stream_start, int stream_stop, int image_tracker, char* account_name,
                      char* library_name, int page_index, int image_index, int page_success);
int image_handler_jbig2(int stream_start, int stream_stop, int image_tracker, char* account_name,
                        char* library_name, int page_index, int image_index, int page_success);

// ---- helpers shared by the handlers (image_common.cpp) ----
constexpr int IMAGE_TIME_TEXT_SIZE = 64;    // "%c" of the moment of the handler's call
constexpr int IMAGE_FILE_NAME_SIZE = 50;    // BrikRecord::external_files
constexpr int IMAGE_PATH_SIZE = 1000;       // work folder followed by the file name

// "%c" local time into `text` (IMAGE_TIME_TEXT_SIZE bytes).
void image_time_text(char* text);
// Work folder followed by `name` into `path` (IMAGE_PATH_SIZE bytes); 0 when it does not fit.
int image_file_path(char* path, const char* name);
// Offset of the stream's data from stream_start: past "stream" (found by its first three
// letters within the first 15 bytes) and at most two line-end bytes of any mix.
int image_data_start(int stream_start, int stream_stop);
// Flush of Briks when it is full, with the handler's own time text; `log_it` writes the flush
// line first. Only acts when global_brik_counter is at or above GLOBAL_MAX_BRIKS.
void image_flush_at_capacity(char* account_name, char* library_name, char* time_text, int log_it);
// Fills Briks[global_brik_counter] as an image brik: position from the page's image entry,
// height and width as given, sub_index as given, "OCR_FLAG" when page_success is 0, both texts
// empty. Then image_finish_brik calls nearby_text and counts the brik and the image.
void image_fill_brik(const char* file_name, int page_index, int image_index, int sub_index,
                     int height, int width, int page_success);
void image_finish_brik(void);
// Height and width stored in the page's image entry; 0 outside the arrays.
int image_entry_height(int page_index, int image_index);
int image_entry_width(int page_index, int image_index);

}  // extern "C"
