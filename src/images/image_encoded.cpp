// images/image_encoded.cpp -- image_handler_dct, _ccitt, _jpx and _jbig2: images in a format the
// system does not decode go to a file byte for byte, and an image brik points at that file.
// Reads: buffer, Pages, global_image_fp. Writes: the image file, one image brik, the image counters.
// Limits: SPAN_MAX bytes of stream (not for jbig2); fewer data bytes than IMG_MIN_HxW are not kept.
#include <cstdint>
#include <cstdio>

#include "images/images.h"
#include "objects/objects.h"
#include "run/run_state.h"

constexpr int64_t SPAN_MAX = 10000000;  // a longer stream span is refused with -1
constexpr int CMYK_SUB_INDEX = -3;      // sub_index of a CMYK JPEG; the sinks print "CMYK_FLAG"

enum EncodedKind { ENCODED_DCT, ENCODED_CCITT, ENCODED_JPX, ENCODED_JBIG2 };

static const char* extension_of(int kind) {
  switch (kind) {
    case ENCODED_DCT: return "jpg";
    case ENCODED_CCITT: return "tiff";  // the raw CCITT data, with no TIFF header
    case ENCODED_JPX: return "jpx";
    default: return "jbig";
  }
}

static const char* handler_word(int kind) {
  switch (kind) {
    case ENCODED_DCT: return "image_handler_dct";
    case ENCODED_CCITT: return "image_handler_ccitt";
    case ENCODED_JPX: return "image_handler_jpx";
    default: return "image_handler_jbig2";
  }
}

// Writes buffer[from, from + length) to `path`; 0 (logged) when the file can not be opened.
static int write_stream_bytes(int kind, const char* path, int from, int64_t length) {
  FILE* out = fopen(path, "wb");
  if (out == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - %s - can not open image file - %s \n", handler_word(kind), path);
    return 0;
  }
  if (length > 0) fwrite(buffer + from, 1, static_cast<size_t>(length), out);
  fclose(out);
  return 1;
}

// The family, told once. The handlers differ in the file name, their log lines, the span test
// (none for jbig2) and the CMYK mark (dct only).
static int export_encoded(int kind, int stream_start, int stream_stop, char* account_name,
                          char* library_name, int page_index, int image_index, int page_success,
                          int cmyk_flag) {
  const bool dct = kind == ENCODED_DCT;
  // ---- 1. time text and file name ----
  char time_text[IMAGE_TIME_TEXT_SIZE];
  image_time_text(time_text);
  char name[IMAGE_FILE_NAME_SIZE];
  snprintf(name, sizeof name, "image%d_%d.%s", master_doc_tracker, master_image_tracker, extension_of(kind));
  char path[IMAGE_PATH_SIZE];
  int path_fits = image_file_path(path, name);

  // ---- 2. and 3. the span ----
  if (dct) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - image_handler_dct - creating buffer - %d - %d \n",
           stream_start, stream_stop);
  } else if (kind != ENCODED_JBIG2) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - creating buffer - %d - %d \n", handler_word(kind),
           stream_start, stream_stop);
  }
  int64_t span = static_cast<int64_t>(stream_stop) - stream_start;
  if (kind != ENCODED_JBIG2 && (span < 0 || span > SPAN_MAX)) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - error in computing filelen - %lld \n", handler_word(kind),
           static_cast<long long>(span));
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - no image being saved \n", handler_word(kind));
    return -1;
  }

  // ---- 4. and 5. the data, from the shared data-start rule up to the stream's stop ----
  // The bytes go from buffer straight to the file: no copy is made, so no allocation can fail.
  if (dct) log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - image_handler_dct - completed the malloc \n");
  int from = stream_start + image_data_start(stream_start, stream_stop);
  int end = stream_stop < buffer_capacity ? stream_stop : buffer_capacity;
  int64_t copied = (buffer != nullptr && from >= 0 && end > from) ? end - from : 0;

  // ---- 6. to 11. keep, write, flush, brik ----
  int result = 0;
  if (copied >= IMG_MIN_HxW) {
    if (dct && cmyk_flag == 1) {
      log_at(LOG_DEEP,
             "DEBUG: pdf_parser - image_handler_dct - found cmyk flag - will need to handle in "
             "post-processing \n");
    }
    int written = 0;
    if (path_fits) {
      written = write_stream_bytes(kind, path, from, copied);
    } else {
      log_at(LOG_WARN, "WARNING: pdf_parser - %s - image path too long - image dropped - %s \n", handler_word(kind), name);
    }
    if (written) {
      if (dct) {
        log_at(LOG_DEEP,
               "DEBUG: pdf_parser - image_handler_dct - writing to Brik - global counter - %d - "
               "page number - %d \n",
               global_brik_counter, page_index);
      }
      image_flush_at_capacity(account_name, library_name, time_text, 0);
      int sub_index = dct && cmyk_flag == 1 ? CMYK_SUB_INDEX : image_index;
      image_fill_brik(name, page_index, image_index, sub_index,
                      image_entry_height(page_index, image_index),
                      image_entry_width(page_index, image_index), page_success);
      if (dct) log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - image_handler_dct - calling on nearby text \n");
      image_finish_brik();
      result = 1;
    }
  }
  // ---- 12. ----
  if (dct) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser- completing image_handler_dct - going to free local buffer \n");
  }
  return result;
}

extern "C" {

int image_handler_dct(int stream_start, int stream_stop, int image_tracker, char* account_name,
                      char* library_name, int page_index, int image_index, int page_success,
                      int cmyk_flag) {
  return export_encoded(ENCODED_DCT, stream_start, stream_stop, account_name, library_name,
                        page_index, image_index, page_success, cmyk_flag);
}

// height and width are passed by the builder and not read: the brik takes them from the page.
int image_handler_ccitt(int stream_start, int stream_stop, int image_tracker, char* account_name,
                        char* library_name, int page_index, int image_index, int page_success,
                        int height, int width) {
  return export_encoded(ENCODED_CCITT, stream_start, stream_stop, account_name, library_name,
                        page_index, image_index, page_success, 0);
}

int image_handler_jpx(int stream_start, int stream_stop, int image_tracker, char* account_name,
                      char* library_name, int page_index, int image_index, int page_success) {
  return export_encoded(ENCODED_JPX, stream_start, stream_stop, account_name, library_name,
                        page_index, image_index, page_success, 0);
}

// No path of the page pass calls it: JBIG2 images are only counted. It flushes at capacity like
// the rest of the family.
int image_handler_jbig2(int stream_start, int stream_stop, int image_tracker, char* account_name,
                        char* library_name, int page_index, int image_index, int page_success) {
  return export_encoded(ENCODED_JBIG2, stream_start, stream_stop, account_name, library_name,
                        page_index, image_index, page_success, 0);
}

}  // extern "C"
