// images/image_flate.cpp -- image_handler_flate: inflates a FlateDecode image stream, decides from
// the inflated length alone whether it is 8-bit RGB or grey, drops uniform images, writes a PNG.
// Reads: buffer, Pages, global_image_fp. Writes: the image file, one image brik, the image counters.
// Limits: FLATE_IMAGE_MAX inflated bytes; a stream that inflates to more is refused.
#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "images/images.h"
#include "objects/objects.h"
#include "run/run_state.h"

constexpr int64_t FLATE_IMAGE_MAX = 25000000;  // the largest inflated image; more is a failed inflate

enum ImageKind { KIND_NONE = -1, KIND_RGB = 1, KIND_GREY = 2 };

// libpng reports an error here instead of ending the process: the write is abandoned.
static void png_error_to_jump(png_structp png, png_const_charp message) {
  log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - png error - image dropped - %s \n",
         message != nullptr ? message : "");
  png_longjmp(png, 1);
}

// Writes `height` rows of `width` samples (3 bytes each for RGB) from `data` as a PNG at `path`;
// grey samples are complemented when `invert`. Returns 1, or 0 after a libpng error or a failed
// open (logged; the partial file is removed).
static int write_png(const char* path, const char* name, const unsigned char* data, int height,
                     int width, int kind, int invert, int cmyk_flag) {
  FILE* out = fopen(path, "wb");
  if (out == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - can not open image file - %s \n", path);
    return 0;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, png_error_to_jump, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  size_t row_bytes = static_cast<size_t>(width) * (kind == KIND_RGB ? 3 : 1);
  unsigned char* row = static_cast<unsigned char*>(malloc(row_bytes));
  if (png == nullptr || info == nullptr || row == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - out of memory - image dropped - %s \n", name);
    png_destroy_write_struct(&png, &info);
    free(row);
    fclose(out);
    remove(path);
    return 0;
  }
  // ---- the write; a libpng error comes back here through png_error_to_jump ----
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    free(row);
    fclose(out);
    remove(path);
    return 0;
  }
  png_init_io(png, out);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               kind == KIND_RGB ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int r = 0; r < height; r++) {
    const unsigned char* from = data + static_cast<size_t>(r) * row_bytes;
    if (invert) {
      for (size_t i = 0; i < row_bytes; i++) row[i] = static_cast<unsigned char>(~from[i]);
    } else {
      memcpy(row, from, row_bytes);
    }
    png_write_row(png, row);
  }
  if (debug_mode == 3 && cmyk_flag == 1) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - image_handler_flate - identified inverted cmyk images - %s \n", name);
  }
  png_write_end(png, info);
  fclose(out);
  png_destroy_write_struct(&png, &info);
  free(row);
  return 1;
}

static int write_raw(const char* path, const unsigned char* data, int64_t length) {
  FILE* out = fopen(path, "wb");
  if (out == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - can not open image file - %s \n", path);
    return 0;
  }
  fwrite(data, 1, static_cast<size_t>(length), out);
  fclose(out);
  return 1;
}

extern "C" {

int image_handler_flate(int height, int width, int stream_start, int stream_stop, int image_tracker,
                        char* account_name, char* library_name, int page_index, int image_index,
                        int dct_flag, int page_success, int png_convert, int cmyk_flag) {
  // ---- 1. and 2. time text and file name ----
  char time_text[IMAGE_TIME_TEXT_SIZE];
  image_time_text(time_text);
  const char* extension = dct_flag >= 0 ? "jpg" : png_convert == 1 ? "png" : "ras";
  char name[IMAGE_FILE_NAME_SIZE];
  snprintf(name, sizeof name, "image%d_%d.%s", master_doc_tracker, master_image_tracker, extension);
  char path[IMAGE_PATH_SIZE];
  int path_fits = image_file_path(path, name);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - image_handler_flate - creating buffer - %d - %d \n",
         stream_start, stream_stop);

  // ---- 4. the output buffer ----
  // Sized from the image: one byte more than an RGB image of this size, never more than the
  // largest image. An image that inflates to more fits no layout, and an inflate that fills the
  // buffer fails, so every result is the one a buffer of the full largest size would give.
  int64_t rgb_length = static_cast<int64_t>(height) * width * 3;
  int64_t grey_length = static_cast<int64_t>(height) * width;
  int64_t capacity = rgb_length > 0 ? rgb_length + 1 : 1;
  if (capacity > FLATE_IMAGE_MAX) capacity = FLATE_IMAGE_MAX;
  unsigned char* out = static_cast<unsigned char*>(malloc(static_cast<size_t>(capacity)));
  if (out == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - out of memory - image dropped - %lld \n",
           static_cast<long long>(capacity));
    return 0;
  }

  // ---- 5. and 6. the stream's data, inflated in one call ----
  int from = stream_start + image_data_start(stream_start, stream_stop);
  int end = stream_stop < buffer_capacity ? stream_stop : buffer_capacity;
  int input_length = (buffer != nullptr && from >= 0 && end > from) ? end - from : 0;
  z_stream zs;
  memset(&zs, 0, sizeof zs);
  zs.next_in = input_length > 0 ? buffer + from : nullptr;
  zs.avail_in = static_cast<uInt>(input_length);
  zs.next_out = out;
  zs.avail_out = static_cast<uInt>(capacity);
  int ret = inflateInit(&zs);
  if (ret == Z_OK) {
    ret = inflate(&zs, Z_FINISH);
    inflateEnd(&zs);
  }
  int64_t length = static_cast<int64_t>(zs.total_out);

  // ---- 7. classify by length alone; a uniform image is dropped ----
  int64_t out_len = -1;
  int kind = KIND_NONE;
  int keep = 1;
  if ((ret == Z_OK || ret == Z_STREAM_END) && length > 0) {
    out_len = length;
    if (length == rgb_length) {
      kind = KIND_RGB;
    } else if (length == grey_length) {
      kind = KIND_GREY;
    } else {
      keep = dct_flag >= 0 ? 1 : -1;
    }
    if (kind != KIND_NONE) {
      unsigned char first = out[0];
      int64_t i = 1;
      while (i < length && out[i] == first) i++;
      if (i == length) keep = -1;
    }
  }

  // ---- 8. and 9. the file ----
  int accepted = out_len >= 0 && keep == 1 && kind != KIND_NONE;
  if (accepted && !path_fits) {
    log_at(LOG_WARN, "WARNING: pdf_parser - image_handler_flate - image path too long - image dropped - %s \n", name);
    accepted = 0;
  }
  if (accepted && png_convert == 0) {
    accepted = write_raw(path, out, out_len);
  } else if (accepted && png_convert == 1) {
    // Only grey samples are complemented: an RGB-sized image with the CMYK mark keeps its bytes.
    int invert = kind == KIND_GREY && cmyk_flag == 1;
    accepted = write_png(path, name, out, height, width, kind, invert, cmyk_flag);
  }
  // Intended: any other png_convert writes no file (.ras name) and still adds the brik.
  free(out);
  if (!accepted) return 0;

  // ---- 10. to 13. the flush at capacity and the brik ----
  image_flush_at_capacity(account_name, library_name, time_text, 1);
  image_fill_brik(name, page_index, image_index, image_index, height, width, page_success);
  image_finish_brik();
  return 1;
}

}  // extern "C"
