// text/brik_chunking.cpp -- cuts the decoded text of a content stream into text briks: at most
// one brik at the end of each text box, and all that is left in the closing pass.
// Reads: box_text, core_text, head_text, tm_x, tm_y and the chunking options. Writes: Briks,
// global_brik_counter, global_headlines, page_headline, core_text_out; flushes Briks when full.
// Limits: core_text CORE_TEXT_SIZE, page_headline under PAGE_HEADLINE_LIMIT, global_headlines
// under HEADLINES_LIMIT; text past them is not added.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "run/run_state.h"
#include "text/text.h"
#include "text/text_page_work.h"

constexpr int PAGE_HEADLINE_LIMIT = 2000;  // page_headline plus a headline must stay below this
constexpr int HEADLINES_LIMIT = 1000;      // global_headlines grows only while shorter than this
constexpr int HEAD_PIECE_LIMIT = 1000;     // a headline longer than this is not added to global_headlines
constexpr int SHORT_TAIL_SIZE = 100;       // a last tail below this joins the previous brik
constexpr int SHORT_TAIL_JOIN_LIMIT = 49995;  // the previous brik plus the tail must stay below this

extern "C" {
char* core_text = nullptr;
char* core_text_out = nullptr;
char* page_headline = nullptr;
}

extern "C" {

int core_text_len = 0;
int core_text_out_len = 0;
int page_headline_len = 0;

// The buffers are taken on the first call and kept: their sizes never change, so nothing is
// gained by giving them back between content streams. The remainder of a cut is moved down in
// place, which needs no third buffer.
void brik_chunking_begin(void) {
  if (core_text == nullptr) {
    core_text = static_cast<char*>(malloc(CORE_TEXT_SIZE));
    core_text_out = static_cast<char*>(malloc(CORE_TEXT_SIZE));
    page_headline = static_cast<char*>(malloc(PAGE_HEADLINE_SIZE));
  }
  core_text[0] = 0;
  core_text_out[0] = 0;
  page_headline[0] = 0;
  core_text_len = 0;
  core_text_out_len = 0;
  page_headline_len = 0;
}

int truncate_position(float v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483648.0f) return 2147483647;
  if (v <= -2147483648.0f) return -2147483647 - 1;
  return static_cast<int>(v);
}

static int is_line_end(char c) { return c == '\r' || c == '\n'; }

// Steps 2 to 5 of the cut for byte k of `text` (length `len`), the chunk so far being `chunk_len`
// bytes long with k as its last byte. `cut_now` comes in as set by the caller's own tests.
static int cut_rules(const char* text, int len, int k, int chunk_len, int cut_now, int end_clause) {
  signed char c = static_cast<signed char>(text[k]);
  // ---- 2. hard bound: never inside a multi-byte character ----
  if (chunk_len >= MAX_CHUNK_SIZE && c > 0) cut_now = 1;
  // ---- 3. plain edge: the first single-byte character past the target ----
  if (chunk_len >= GLOBAL_BRIK_SIZE && CHUNKING_SMART_EDGE == 0 && c > 0) cut_now = 1;
  // ---- 4. smart edge: a blank past the target ----
  if (chunk_len >= GLOBAL_BRIK_SIZE && CHUNKING_SMART_EDGE == 1 && c == ' ') cut_now = 1;
  // ---- 5. sentence ends and paragraph breaks, whatever the edge option says ----
  if (chunk_len >= GLOBAL_BRIK_SIZE && (c == '.' || is_line_end(c))) {
    if (k + 1 < len) {
      char next = text[k + 1];
      if (is_line_end(c) && is_line_end(next)) cut_now = 1;
      if (c == '.') {
        if (next == ' ') {
          cut_now = 1;
          for (int j = k - 5; j < k; j++) {
            if (j >= 0 && text[j] == '.') cut_now = 0;
          }
        }
        // Abbreviations and numbers hold the chunk back even past the hard bound.
        int mr = k >= 2 && text[k - 2] == 'M' && text[k - 1] == 'r';
        int mrs = k >= 3 && text[k - 3] == 'M' && text[k - 2] == 'r' && text[k - 1] == 's';
        int dr = k >= 2 && text[k - 2] == 'D' && text[k - 1] == 'r';
        int digit = k >= 1 && text[k - 1] >= '0' && text[k - 1] <= '9';
        if (mr || mrs || dr || digit) cut_now = 0;
      }
    } else if (end_clause) {
      cut_now = 1;
    }
  }
  return cut_now;
}

// Header steps 1 and 2 of a text brik: feeds global_headlines and page_headline, and gives the
// brik its header text.
static void fill_header_text(BrikRecord* brik) {
  if (strnlen(global_headlines, HEADLINES_LIMIT) < static_cast<size_t>(HEADLINES_LIMIT) &&
      head_text_len > 0 && head_text_len < HEAD_PIECE_LIMIT) {
    size_t n = strlen(global_headlines);
    memcpy(global_headlines + n, head_text, head_text_len);
    global_headlines[n + head_text_len] = ' ';
    global_headlines[n + head_text_len + 1] = 0;
  }
  if (head_text_len == 0 || head_text_len >= PAGE_HEADLINE_LIMIT) {
    brik_text_clear(&brik->header_text);
    return;
  }
  if (GLOBAL_GET_HEADER_TEXT == 1) {
    brik_text_set(&brik->header_text, head_text, head_text_len);
  } else {
    brik_text_clear(&brik->header_text);
  }
  if (page_headline_len + head_text_len < PAGE_HEADLINE_LIMIT) {
    memcpy(page_headline + page_headline_len, head_text, head_text_len);
    page_headline_len += head_text_len;
    page_headline[page_headline_len++] = ' ';
    page_headline[page_headline_len] = 0;
  }
}

static void flush_when_full(void) {
  if (global_brik_counter >= GLOBAL_MAX_BRIKS) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - global_block_counter > 1000 - writing to disk now - %d \n",
           global_brik_counter);
    flush_brik_batch();
  }
}

// One text brik from core_text_out at Briks[global_brik_counter], with its header text.
static void add_text_brik(int page, int box_index) {
  // A table brik may leave the counter at the capacity (its flush test is strict); make room
  // first rather than write past the array.
  flush_when_full();
  BrikRecord* brik = &Briks[global_brik_counter];
  strcpy(brik->content_type, "text");
  strcpy(brik->file_type, "PDF");
  brik->master_index = page;
  brik_text_set(&brik->text, core_text_out, core_text_out_len);
  brik->coords_x = truncate_position(tm_x);
  brik->coords_y = truncate_position(tm_y);
  brik->coords_cx = page;
  brik->coords_cy = box_index;
  brik->sub_index = box_index;
  brik->external_files[0] = 0;
  fill_header_text(brik);
  brik_text_clear(&brik->table);
}

static int chunk_log_limit(int page) { return page < 10 ? LOG_DEBUG : LOG_DEEP; }

// ---- end of a text box: box_text joins core_text, and at most one brik is cut ----
int brik_cut_at_box_end(int page, int box_index) {
  // ---- 1. a join that would overflow core_text blocks this box and all later ones ----
  if (box_text_len + core_text_len >= CORE_JOIN_LIMIT) return 0;

  // ---- 2. join ----
  memcpy(core_text + core_text_len, box_text, box_text_len + 1);
  core_text_len += box_text_len;
  box_text[0] = 0;
  box_text_len = 0;
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - creating block from core text - len - %d.\n",
         core_text_len);

  // ---- 3. the cut, once the text has reached the target size ----
  if (core_text_len < GLOBAL_BRIK_SIZE || global_brik_save_off >= 0) return 0;
  int cut_at = -1;
  for (int k = 0; k < core_text_len; k++) {
    if (cut_rules(core_text, core_text_len, k, k + 1, 0, 1)) {
      cut_at = k;
      break;
    }
  }
  // The chunk copy: up to the cut, or the whole text when no edge was found (that copy stays
  // in core_text_out, where the closing pass and the table brik look at it).
  core_text_out_len = cut_at >= 0 ? cut_at + 1 : core_text_len;
  memcpy(core_text_out, core_text, core_text_out_len);
  core_text_out[core_text_out_len] = 0;
  if (cut_at < 0) return 0;
  memmove(core_text, core_text + cut_at + 1, core_text_len - (cut_at + 1));
  core_text_len -= cut_at + 1;
  core_text[core_text_len] = 0;

  if (log_enabled(chunk_log_limit(page))) {
    log_at(chunk_log_limit(page), "DEBUG: pdf_parser - core_text_out (block > %d) - %d - %s \n",
           GLOBAL_BRIK_SIZE, core_text_out_len, core_text_out);
  }
  add_text_brik(page, box_index);
  // head_text is kept here on purpose: later briks of the call repeat it.
  global_brik_counter++;
  flush_when_full();
  return 1;
}

static int has_non_blank(const char* text, int len) {
  for (int k = 0; k < len; k++) {
    if (text[k] != ' ') return 1;
  }
  return 0;
}

// ---- after the last box: the short tail joins the previous brik, a long tail is cut up ----
int brik_closing_pass(int page, int box_count) {
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - checking for one last block(s).\n");
  if (box_text_len == 0 && core_text_len == 0) return 0;
  if (box_text_len + core_text_len >= CORE_JOIN_LIMIT || global_brik_save_off >= 0) return 0;

  // ---- 1. join (box_text is left as it is; nothing reads it afterwards) ----
  memcpy(core_text + core_text_len, box_text, box_text_len + 1);
  core_text_len += box_text_len;

  // ---- 2. short tail: onto the previous brik, if this call cut a chunk with text in it ----
  // Repair mode: a tail whose stream cut no brik of its own becomes a brik below.
  if (core_text_len < SHORT_TAIL_SIZE && global_brik_counter > 0 &&
      !(GLOBAL_REPAIR_MODE && !has_non_blank(core_text_out, core_text_out_len))) {
    BrikRecord* previous = &Briks[global_brik_counter - 1];
    size_t previous_len = strlen(previous->text);
    if (static_cast<size_t>(core_text_len) + previous_len < static_cast<size_t>(SHORT_TAIL_JOIN_LIMIT) &&
        has_non_blank(core_text_out, core_text_out_len)) {
      brik_text_append(&previous->text, core_text, core_text_len, BRIK_TEXT_SIZE);
    }
    return 0;
  }

  // ---- 3. long tail: cut into as many briks as it takes; the last byte always ends one ----
  if (!has_non_blank(core_text, core_text_len)) return 0;
  int made = 0;
  int chunk_start = 0;
  core_text_out[0] = 0;
  core_text_out_len = 0;
  for (int k = 0; k < core_text_len; k++) {
    int cut_now = k + 1 >= core_text_len;
    cut_now = cut_rules(core_text, core_text_len, k, k + 1 - chunk_start, cut_now, 0);
    if (!cut_now) continue;
    core_text_out_len = k + 1 - chunk_start;
    memcpy(core_text_out, core_text + chunk_start, core_text_out_len);
    core_text_out[core_text_out_len] = 0;
    chunk_start = k + 1;
    if (log_enabled(chunk_log_limit(page))) {
      log_at(chunk_log_limit(page), "DEBUG: pdf_parser - core text brik (last-split) - %d - %s \n",
             core_text_out_len, core_text_out);
    }
    add_text_brik(page, box_count);
    core_text_out[0] = 0;
    core_text_out_len = 0;
    head_text[0] = 0;
    head_text_len = 0;
    global_brik_counter++;
    made++;
    flush_when_full();
  }
  return made;
}

}  // extern "C"
