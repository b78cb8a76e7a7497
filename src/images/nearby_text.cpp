// images/nearby_text.cpp -- nearby_text: the text of an image brik, from the page's briks that lie
// in the image's column or row band or within a radius of it, then every header of the page.
// Reads: Briks, global_headlines, GLOBAL_GET_HEADER_TEXT. Writes: text and header_text of
// Briks[self], nearby_text_acc, nearby_header_acc.
// Limits: the two accumulators (images.h); a text that does not fit is passed over, not cut.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "images/images.h"
#include "run/run_state.h"

constexpr int TEXT_FIT = 49998;          // accumulated length plus a brik's text, at most
constexpr int TEXT_HEADER_FIT = 48999;   // ... plus a header, in the text accumulator
constexpr int HEADER_FIT = 9899;         // ... plus a header, in the header accumulator
constexpr int BAND = 299;                // |dx| or |dy| up to this: in the image's column or row band
constexpr float RADIUS = 700.0f;         // off both bands, nearer than this
constexpr int HEADLINE_MAX = 999;        // a longer headline is never taken as the fallback

// The accumulators live for the whole run: one image at a time, emptied at each call.
extern "C" {
char nearby_text_acc[NEARBY_TEXT_SIZE];      // declared in images.h
char nearby_header_acc[NEARBY_HEADER_SIZE];  // declared in images.h
}  // extern "C"

static int append_with_blank(char* acc, int len, const char* src, int src_len) {
  memcpy(acc + len, src, static_cast<size_t>(src_len));
  acc[len + src_len] = ' ';
  acc[len + src_len + 1] = 0;
  return len + src_len + 1;
}

// Differences formed in 32 bits with wrap-around, as the positions are 32-bit integers.
static int32_t wrap_sub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

static bool is_near(const BrikRecord& brik, int x, int y) {
  int32_t dx = wrap_sub(brik.coords_x, x);
  int32_t dy = wrap_sub(brik.coords_y, y);
  if ((dx >= -BAND && dx <= BAND) || (dy >= -BAND && dy <= BAND)) return true;
  // Intended: the squares are summed as 32-bit integers (wrapping on far-off positions), and
  // the root of that integer sum is taken in double and kept as a float.
  uint32_t sum = static_cast<uint32_t>(dx) * static_cast<uint32_t>(dx) +
                 static_cast<uint32_t>(dy) * static_cast<uint32_t>(dy);
  float d = static_cast<float>(std::sqrt(static_cast<double>(static_cast<int32_t>(sum))));
  return d < RADIUS;
}

static int headline_length_if_usable() {
  if (global_headlines == nullptr || global_headlines[0] == 0) return -1;
  size_t n = strnlen(global_headlines, HEADLINE_MAX + 1);
  return n <= static_cast<size_t>(HEADLINE_MAX) ? static_cast<int>(n) : -1;
}

extern "C" {

int nearby_text(int start, int stop, int x, int y, int self) {
  // ---- 1. and 2. the range ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - nearby_text processing - %d - %d - %d - %d - %d \n",
         start, stop, self, x, y);
  nearby_text_acc[0] = 0;
  nearby_header_acc[0] = 0;
  // A negative start is refused as well: there is no brik before the first.
  if (!(start < GLOBAL_MAX_BRIKS && stop < GLOBAL_MAX_BRIKS && start <= stop) || start < 0 ||
      Briks == nullptr) {
    log_at(LOG_DEEP,
           "DEBUG: pdf_parser - deep debug - nearby_text processing - unable to capture nearby "
           "text due to block counter out of range.\n");
    return 0;
  }
  bool self_exists = self >= 0 && self < GLOBAL_MAX_BRIKS;

  // ---- 3. text pass: near briks in index order, each followed by a blank ----
  int text_len = 0;
  for (int i = start; i <= stop; i++) {
    if (i == self) continue;
    const BrikRecord& brik = Briks[i];
    if (!is_near(brik, x, y)) continue;
    int n = static_cast<int>(strnlen(brik.text, BRIK_TEXT_SIZE - 1));
    if (text_len + n <= TEXT_FIT) text_len = append_with_blank(nearby_text_acc, text_len, brik.text, n);
  }

  // ---- 4. header pass: every header of the range, self included, at any distance ----
  int header_len = 0;
  if (GLOBAL_GET_HEADER_TEXT == 1) {
    for (int i = start; i <= stop; i++) {
      const BrikRecord& brik = Briks[i];
      if (brik.header_text[0] == 0) continue;
      int n = static_cast<int>(strnlen(brik.header_text, BRIK_TEXT_SIZE - 1));
      if (text_len + n <= TEXT_HEADER_FIT) text_len = append_with_blank(nearby_text_acc, text_len, brik.header_text, n);
      if (header_len + n <= HEADER_FIT) header_len = append_with_blank(nearby_header_acc, header_len, brik.header_text, n);
    }
  }

  // ---- 5. and 6. store; the page's headline when nothing was found ----
  if (self_exists) {
    BrikRecord& own = Briks[self];
    int headline = headline_length_if_usable();
    if (text_len > 0) {
      brik_text_set(&own.text, nearby_text_acc, static_cast<size_t>(text_len));
    } else if (headline >= 0) {
      brik_text_set(&own.text, global_headlines, static_cast<size_t>(headline));
    } else {
      brik_text_clear(&own.text);
    }
    if (header_len > 0 && GLOBAL_GET_HEADER_TEXT == 1) {
      brik_text_set(&own.header_text, nearby_header_acc, static_cast<size_t>(header_len));
    } else if (headline >= 0 && GLOBAL_GET_HEADER_TEXT == 1) {
      brik_text_set(&own.header_text, global_headlines, static_cast<size_t>(headline));
    } else {
      brik_text_clear(&own.header_text);
    }
  }

  // ---- 7. result ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - nearby_text processing complete - %d \n", text_len);
  return text_len;
}

}  // extern "C"
