// output/db_text.cpp -- db_prepare_text: the prepared text of one brik for the database sinks.
// Reads: Briks[i], global_headlines, GLOBAL_GET_HEADER_TEXT. Writes: the scratch text, and the
// header_text of a short image brik. Limits: DB_SCRATCH_SIZE and the 50000-byte header; what does
// not fit is dropped.
#include "output/db_text.h"

#include <bson/bson.h>

#include <cstring>
#include <string>

#include "run/run_state.h"

constexpr size_t HEADER_TEXT_SIZE = BRIK_HEADER_SIZE;

// Appends `add` bytes of `src` to the zero-terminated `dst` of `size` bytes, dropping what does
// not fit. `n` is strlen(dst); the new length is returned.
static size_t append_bytes(char* dst, size_t n, size_t size, const char* src, size_t add) {
  if (n + 1 >= size) return n;
  if (add > size - 1 - n) add = size - 1 - n;
  memcpy(dst + n, src, add);
  dst[n + add] = 0;
  return n + add;
}

static bool is_valid_utf8(const char* text) {
  return bson_utf8_validate(text, strlen(text), true);
}

// Bytes kept from a text that is not valid UTF-8: those above 31 as a signed byte, so 32 to 127.
// Intended: every byte of 128 and more goes, those of well-formed characters too, and so do tab
// and newline. One pass with a moving end instead of one formatted append per byte.
static size_t remediate_into(char* dst, size_t n, size_t size, const char* src) {
  for (const char* p = src; *p != 0 && n + 1 < size; p++) {
    if (static_cast<signed char>(*p) > 31) dst[n++] = *p;
  }
  dst[n] = 0;
  return n;
}

// With `apply` 0 nothing is logged and header_text is left alone: the text of a brik that was
// prepared before, made again for a second sending.
static const char* prepare(int i, char* scratch, int invalid_header_rule, const char* remediation_line,
                           int apply) {
  BrikRecord* brik = &Briks[i];
  // ---- 1. to 3. the brik's text, remediated when it is not valid UTF-8 ----
  size_t n = 0;
  scratch[0] = 0;
  if (is_valid_utf8(brik->text)) {
    n = append_bytes(scratch, 0, DB_SCRATCH_SIZE, brik->text, strlen(brik->text));
  } else {
    if (apply) log_at(LOG_DEBUG, "%s", remediation_line);
    n = remediate_into(scratch, 0, DB_SCRATCH_SIZE, brik->text);
  }
  // ---- 4. a short image brik takes the headlines ----
  int is_image = strcmp(brik->content_type, "image") == 0;
  const char* headlines = global_headlines != nullptr ? global_headlines : "";
  if (is_image && n <= static_cast<size_t>(DB_SHORT_IMAGE_TEXT) && headlines[0] != 0) {
    size_t h = strlen(brik->header_text);
    if (is_valid_utf8(headlines)) {
      n = append_bytes(scratch, n, DB_SCRATCH_SIZE, " ", 1);
      n = append_bytes(scratch, n, DB_SCRATCH_SIZE, headlines, strlen(headlines));
      if (apply && h < static_cast<size_t>(DB_SHORT_IMAGE_HEADER) && GLOBAL_GET_HEADER_TEXT == 1) {
        brik_text_append(&brik->header_text, " ", 1, HEADER_TEXT_SIZE);
        brik_text_append(&brik->header_text, headlines, strlen(headlines), HEADER_TEXT_SIZE);
      }
    } else {
      // Intended: no blank before the kept bytes, and no length test on the header; PostgreSQL
      // even ignores GLOBAL_GET_HEADER_TEXT here.
      n = remediate_into(scratch, n, DB_SCRATCH_SIZE, headlines);
      if (apply && (invalid_header_rule == DB_INVALID_HEADER_ALWAYS || GLOBAL_GET_HEADER_TEXT == 1)) {
        std::string kept(strlen(headlines) + 1, '\0');
        size_t k = remediate_into(&kept[0], 0, kept.size(), headlines);
        brik_text_append(&brik->header_text, kept.data(), k, HEADER_TEXT_SIZE);
      }
    }
  }
  // ---- 5. the CMYK mark of image briks ----
  return is_image && brik->sub_index == -3 ? "CMYK_FLAG" : "";
}

extern "C" {

const char* db_prepare_text(int i, char* scratch, int invalid_header_rule, const char* remediation_line) {
  return prepare(i, scratch, invalid_header_rule, remediation_line, 1);
}

void db_prepare_text_again(int i, char* scratch) {
  prepare(i, scratch, DB_INVALID_HEADER_IF_ON, "", 0);
}

}  // extern "C"
