// text/text_page.cpp -- text_processor_page: one content stream in flate_dst_tmp_buffer becomes
// text briks and at most one table brik. The scan finds the text boxes (BT...ET), the cm in
// front of each, the fonts set outside boxes and the image placements; the box loop turns the
// show operators into text, headline text and table cells; brik_chunking.cpp cuts the briks.
// Reads: flate_dst_tmp_buffer[0, length), Pages[page], Font_CMAP, the text options.
// Writes: Briks (through the cutting and the table pass), the pen globals, the image placements
// of Pages[page], GLOBAL_PAGE_CMAP, GLOBAL_FONT_SIZE, GLOBAL_ACTUAL_TEXT_FLAG.
// Limits: MAX_TEXT_BOXES boxes per stream; NO_BOX_STREAM_LIMIT bytes of a stream without boxes;
// TEXT_APPEND_LIMIT bytes of line, cell and hex text; HEAD_APPEND_LIMIT for headline appends.
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"
#include "text/text.h"
#include "text/text_page_state.h"
#include "text/text_page_work.h"


constexpr int NO_BOX_STREAM_LIMIT = 10000; // a stream without BT is read as one box of this many bytes
constexpr int CM_WINDOW = 50;              // bytes read in front of cm and Tm
constexpr int TD_WINDOW = 20;              // bytes read in front of Td and TD
constexpr int TF_WINDOW = 25;              // bytes searched in front of Tf for the font name and size
constexpr int TEXT_APPEND_LIMIT = 99998;   // line, cell and hex text take no more appends from here
constexpr int HEAD_APPEND_LIMIT = 1000;    // head_text takes appends only while shorter than this
constexpr int LINE_JOIN_LIMIT = 49998;     // a hex result joins line_text only below this
constexpr int IMAGES_COMPARED = 500;       // image names compared at a "/"; a larger count is lowered
constexpr int HEADLINE_SIZE = 18;          // scaled size from which text counts as a headline

// ---- the run state of the pass (declared in text_page_state.h and text_page_work.h) ----
extern "C" {
float last_x = 0;
float last_y = 0;
int layout_jump_count = 0;
char* cell_text = nullptr;
int cell_ready = 0;

char* box_text = nullptr;
int box_text_len = 0;
char* head_text = nullptr;
int head_text_len = 0;
char* line_text = nullptr;
int line_text_len = 0;
char* hex_text = nullptr;
int hex_len = 0;
int cell_text_len = 0;

int box_start[MAX_TEXT_BOXES];
int box_stop[MAX_TEXT_BOXES];
int box_has_cm[MAX_TEXT_BOXES];
char box_cm_text[MAX_TEXT_BOXES][CM_TEXT_SIZE];

const unsigned char* text_stream = nullptr;
int text_stream_len = 0;
int text_stream_bytes = 0;
int text_stream_page = 0;
int font_index = -1;
int font_size = 10;
float text_scale = 1.0f;
float cm_scale = 1.0f;
float cm_x = 0;
float cm_y = 0;
int first_tm_pending = -1;
int is_bold = 0;
int is_italic = 0;

int in_string = 0;
int in_hex = 0;
int in_array = 0;
int escape_active = 0;
int escape_on_char = 0;
int skip_until = 0;

char kern_text[KERN_TEXT_SIZE];
int kern_len = 0;
int kern_dot = 0;
int last_char_width = 0;
int last_string_len = 0;
int last_array_len = 0;
int last_hex_len = 0;
int hex_space_pending = 0;
int head_y = 0;
int actual_text_active = 0;

void append_bytes(char* dst, int* len, int size, const char* src, int n) {
  int room = size - 1 - *len;
  if (n > room) n = room;
  if (n <= 0) return;
  if (n <= 8) {
    for (int k = 0; k < n; k++) dst[*len + k] = src[k];  // one character's text, most often
  } else {
    memcpy(dst + *len, src, n);
  }
  *len += n;
  dst[*len] = 0;
}
}  // extern "C"

int text_font_lookup_ready = 0;
std::unordered_map<std::string, int> text_font_name_ids;
std::unordered_map<uint64_t, int> text_last_font_of;

static void buffers_begin(void) {
  if (box_text == nullptr) {
    box_text = static_cast<char*>(malloc(BOX_TEXT_SIZE));
    head_text = static_cast<char*>(malloc(HEAD_TEXT_SIZE));
    line_text = static_cast<char*>(malloc(LINE_TEXT_SIZE));
    hex_text = static_cast<char*>(malloc(HEX_TEXT_SIZE));
    cell_text = static_cast<char*>(malloc(CELL_TEXT_SIZE));
  }
  box_text[0] = 0;
  box_text_len = 0;
  head_text[0] = 0;
  head_text_len = 0;
  line_text[0] = 0;
  line_text_len = 0;
  hex_text[0] = 0;
  hex_len = 0;
  cell_text[0] = 0;
  cell_text_len = 0;
}

__attribute__((always_inline)) inline static int font_is_known(int f) {
  return f >= 0 && f < GLOBAL_MAX_FONT_ENCODINGS && Font_CMAP != nullptr;
}

static PageRecord* page_record(int page) {
  if (Pages == nullptr || page < 0 || page > GLOBAL_MAX_PAGES) return nullptr;
  return &Pages[page];
}

// Copies the bytes [from, to) of the stream into `out`, dropping zero bytes as the "%c" copy does.
static int copy_window(int from, int to, char* out) {
  int n = 0;
  for (int j = from; j < to; j++) {
    if (text_stream[j] != 0) out[n++] = static_cast<char>(text_stream[j]);
  }
  out[n] = 0;
  return n;
}

// ---- the font look-up of the page loop ----
// The walk in read_font_operator compares the name with every font record and then looks for
// the page in each match's page list; the last record that has both wins. In a document that
// gives every page fonts of its own, that walk costs fonts times pages at every Tf. While the
// page loop runs the records do not change, so pdf_builder has the answers built once per
// document: a map from name and page to the last record holding both. The walk stays for any
// other caller and for the deep debug level, whose lines it writes. The maps and their flag are
// declared in text_page_work.h.

static uint64_t font_page_key(int name_id, int page) {
  return static_cast<uint64_t>(static_cast<uint32_t>(name_id)) << 32 | static_cast<uint32_t>(page);
}

static int indexed_font(const char* name, int page) {
  auto id = text_font_name_ids.find(name);
  if (id == text_font_name_ids.end()) return -1;
  auto hit = text_last_font_of.find(font_page_key(id->second, page));
  return hit == text_last_font_of.end() ? -1 : hit->second;
}

extern "C" {

static void font_lookup_clear(void) {
  text_font_lookup_ready = 0;
  text_font_name_ids.clear();
  text_last_font_of.clear();
}

void text_document_reset(void) {
  // ---- 1. the font look-up: off and empty until text_font_lookup_begin builds it ----
  font_lookup_clear();
}

void text_font_lookup_begin(void) {
  font_lookup_clear();
  if (Font_CMAP == nullptr) return;
  int fonts = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  for (int f = 0; f < fonts; f++) {
    const FontRecord* font = &Font_CMAP[f];
    int name_id = text_font_name_ids.emplace(font->font_name, static_cast<int>(text_font_name_ids.size())).first->second;
    int pages = font->page_count < FONT_PAGE_LIST_SIZE ? font->page_count : FONT_PAGE_LIST_SIZE;
    for (int p = 0; p < pages; p++) text_last_font_of[font_page_key(name_id, font->page_list[p])] = f;
  }
  text_font_lookup_ready = 1;
}

void text_font_lookup_end(void) { font_lookup_clear(); }

}  // extern "C"

// strtol of `n` decimal digits (nothing else): LONG_MAX past its range, as strtol gives.
static long digits_value(const char* digits, int n) {
  unsigned long v = 0;
  for (int k = 0; k < n; k++) {
    unsigned long d = static_cast<unsigned long>(digits[k] - '0');
    if (v > (static_cast<unsigned long>(LONG_MAX) - d) / 10) return LONG_MAX;
    v = v * 10 + d;
  }
  return static_cast<long>(v);
}

// ---- font reader: the name and size in the TF_WINDOW bytes in front of the "T" of Tf at i ----
static void read_font_operator(int i, int inside_box) {
  int w = i - TF_WINDOW > 0 ? i - TF_WINDOW : 0;
  int start = w;
  for (int j = i - 1; j >= w; j--) {
    if (text_stream[j] == '/') {
      start = j;
      break;
    }
  }
  char name[TF_WINDOW + 2];
  int name_len = 0;
  char digits[TF_WINDOW + 2];
  int digit_len = 0;
  int name_state = 0;
  int size_state = 0;
  for (int j = start; j < i; j++) {
    unsigned char b = text_stream[j];
    if (name_state == 1) {
      if (b == ' ' || b == '\n' || b == '\r') {
        name_state = 2;
      } else if (b != 0) {
        name[name_len++] = static_cast<char>(b);
      }
    }
    if (size_state == 1 && (b == ' ' || b == '.' || b == '\n' || b == '\r')) {
      size_state = 2;
      digits[digit_len] = 0;
      font_size = static_cast<int>(digits_value(digits, digit_len));
      if (inside_box && font_size == 0) font_size = 1;
      if (font_size > 1) text_scale = 1.0f;
    }
    if (b >= '0' && b <= '9' && name_state == 2 && size_state < 2) {
      size_state = 1;
      digits[digit_len++] = static_cast<char>(b);
    }
    if (b == '/') {
      name[0] = '/';
      name_len = 1;
      name_state = 1;
    }
  }
  name[name_len] = 0;
  if (Font_CMAP == nullptr) return;
  if (text_font_lookup_ready && !log_enabled(LOG_DEEP)) {
    int f = indexed_font(name, text_stream_page);
    if (f < 0 && GLOBAL_REPAIR_MODE) f = repair_font_past_list(name);  // pages past a full list
    if (f >= 0) {
      font_index = f;
      if (inside_box) {
        is_bold = Font_CMAP[f].bold == 1;
        is_italic = Font_CMAP[f].italic == 1;
      }
    }
    return;
  }
  int fonts = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  for (int f = 0; f < fonts; f++) {
    const FontRecord* font = &Font_CMAP[f];
    if (strcmp(font->font_name, name) != 0) continue;
    if (inside_box) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - found matching font name -%d- %s.\n", f, name);
    }
    int pages = font->page_count < FONT_PAGE_LIST_SIZE ? font->page_count : FONT_PAGE_LIST_SIZE;
    for (int p = 0; p < pages; p++) {
      if (font->page_list[p] != text_stream_page) continue;
      font_index = f;
      if (inside_box) {
        is_bold = font->bold == 1;
        is_italic = font->italic == 1;
      } else if (text_stream_page >= 0 && text_stream_page <= 3) {
        log_at(LOG_DEEP, "DEBUG: pdf_parser - TEXT PROCESSOR - Found matching font outside BT-ET -%d-%s-CMAP val- %d \n",
               f, name, font->cmap_count);
      }
      break;
    }
  }
}

// ---- image name at a "/" outside the boxes: places every image whose name the bytes begin with ----
static void place_images_at(int i, int* img_on_page_count, PageRecord* record) {
  if (log_enabled(LOG_DEEP)) {
    char shown[21];
    int n = 0;
    for (int j = i; j < text_stream_len && n < 20; j++) {
      if (text_stream[j] != 0) shown[n++] = static_cast<char>(text_stream[j]);
    }
    shown[n] = 0;
    log_at(LOG_DEEP, "DEBUG:  pdf_parser - text_processor_page - Image Do str - %s \n", shown);
  }
  if (*img_on_page_count > IMAGES_COMPARED) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - potential error - img_on_page_count > max - %d. \n", *img_on_page_count);
    *img_on_page_count = IMAGES_COMPARED;
  }
  for (int k = 0; k < *img_on_page_count; k++) {
    const char* name = record->image_name[k];
    if (name[0] == 0) continue;
    int j = 0;
    // A name byte is compared as a signed character, a stream byte as unsigned, so a name byte
    // of 128 or more never matches; bytes past the stream's end are absent and match nothing.
    while (j < IMAGE_NAME_SIZE && name[j] != 0) {
      if (i + j >= text_stream_len) break;
      if (static_cast<int>(static_cast<signed char>(name[j])) != static_cast<int>(text_stream[i + j])) break;
      j++;
    }
    if (j == IMAGE_NAME_SIZE || name[j] == 0) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - found Image name match - %s-%f-%f-%f-%d \n", name, cm_x, cm_y,
             cm_scale, k);
      record->image_x[k] = cm_x;
      record->image_y[k] = cm_y;
      record->image_placed[k] = 1;
    }
  }
}

// The bytes the scan acts on outside a box.
static constexpr ByteSet SCAN_ACTS_OUTSIDE("B/Tc");

// ---- 2. the scan: text boxes, cm, fonts and image names outside the boxes ----
static int scan_stream(void) {
  int box_count = 0;
  int boxes_seen = 0;  // counts on past MAX_TEXT_BOXES for the warning
  int in_bt = 0;
  int cm_pending = 0;
  PageRecord* record = page_record(text_stream_page);
  int img_on_page_count = record != nullptr ? record->image_count : 0;
  const int deep = log_enabled(LOG_DEEP);
  const int repair = GLOBAL_REPAIR_MODE;
  const unsigned char* const bytes = text_stream;  // hot globals held in locals for the loop
  const int length = text_stream_len;
  for (int i = 0; i < length; i++) {
    // Inside a box only an "E" can change anything here (step 2), so without the deep debug
    // lines of every byte the scan goes straight to the next "E".
    // The repair mode stops at strings as well, to pass over them.
    if (in_bt && !deep && !repair) {
      const void* e = memchr(bytes + i, 'E', static_cast<size_t>(length - i));
      if (e == nullptr) break;
      i = static_cast<int>(static_cast<const unsigned char*>(e) - bytes);
    } else if (in_bt && !deep) {  // repair: on to the next "E" or string
      while (i < length && bytes[i] != 'E' && bytes[i] != '(' && bytes[i] != '<') i++;
      if (i >= length) break;
    } else if (!deep) {
      // Outside a box only "B" (BT), "/" (an image name), "T" (Tf) and "c" (cm) act here.
      while (i < length && !SCAN_ACTS_OUTSIDE[bytes[i]]) i++;
      if (i >= length) break;
    }
    unsigned char c = bytes[i];
    // ---- 1. BT ----
    if (c == 'B' && !in_bt) {
      if (deep) log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - processing BT \n");
      if (i + 2 < length && bytes[i + 1] == 'T') {
        unsigned char after = bytes[i + 2];
        if (after == ' ' || after == '\n' || after == '\r' || after == '-') {
          in_bt = 1;
          if (box_count < MAX_TEXT_BOXES) box_start[box_count] = i + 2;
        }
      }
    }
    if (deep) log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - processing BT ended \n");
    // Repair mode: the bytes of a string inside a box are passed over, so "ET" in a string
    // does not end the box.
    if (repair && in_bt && (c == '(' || c == '<')) {
      if (c == '<' && i + 1 < length && bytes[i + 1] == '<') i++;
      else i = repair_string_end(bytes, i, length);
      continue;
    }
    // ---- 2. ET: no test of what follows, so an "ET" inside a string ends the box there ----
    if (c == 'E' && in_bt && i + 1 < length && bytes[i + 1] == 'T') {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - processing ET.\n");
      in_bt = 0;
      boxes_seen++;
      if (box_count < MAX_TEXT_BOXES) {
        box_stop[box_count] = i;
        if (!cm_pending) {
          box_has_cm[box_count] = 0;
          box_cm_text[box_count][0] = 0;
        }
        box_count++;
      }
      if (boxes_seen >= MAX_TEXT_BOXES) {
        log_at(LOG_WARN, "DEBUG:  pdf_parser - unusual - exceeded max text box count -  %d \n", boxes_seen);
      }
      cm_pending = 0;
    }
    if (deep) log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - finished ET processing.\n");
    if (in_bt) continue;
    // ---- 3. image name ----
    if (c == '/' && img_on_page_count > 0) place_images_at(i, &img_on_page_count, record);
    // ---- 4. bytes outside text are not kept: nothing reads them ----
    // ---- 5. Tf outside a box: a size of 0 stays 0 here ----
    if (c == 'T' && i + 1 < length && bytes[i + 1] == 'f') read_font_operator(i, 0);
    // ---- 6. Tm outside a box has no effect ----
    // ---- 7. cm: the next box keeps the last one in front of it ----
    if (c == 'c' && i + 1 < length && bytes[i + 1] == 'm') {
      cm_pending = 1;
      char window[CM_WINDOW + 1];
      int n = copy_window(i - CM_WINDOW > 0 ? i - CM_WINDOW : 0, i, window);
      if (box_count < MAX_TEXT_BOXES) {
        memcpy(box_cm_text[box_count], window, n + 1);
        box_has_cm[box_count] = 1;
      }
      TextState* r = get_text_state(window, n);
      cm_x = r->x;
      cm_y = r->y;
      cm_scale = r->scale;
    }
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - BT/ET text boxes found- %d.\n", box_count);
  return box_count;
}

// =====================================================================================
// The box loop: per-call decoding state and the steps taken at each byte of a box.
// =====================================================================================

static void decode_state_begin(void) {
  kern_text[0] = 0;
  kern_len = 0;
  kern_dot = 0;
  last_char_width = 0;
  last_string_len = 0;
  last_array_len = 0;
  last_hex_len = 0;
  hex_space_pending = 0;
  head_y = 0;
  is_bold = 0;
  is_italic = 0;
  actual_text_active = 0;
}

static int size_test(void) {
  return static_cast<float>(font_size) * text_scale * cm_scale >= HEADLINE_SIZE;
}
static int headline_test(void) { return size_test() || is_bold || is_italic; }

static void append_line(const char* text, int n) {
  if (line_text_len >= TEXT_APPEND_LIMIT) return;
  append_bytes(line_text, &line_text_len, LINE_TEXT_SIZE, text, n);
}
static void append_cell(const char* text, int n) {
  if (cell_text_len >= TEXT_APPEND_LIMIT) return;
  append_bytes(cell_text, &cell_text_len, CELL_TEXT_SIZE, text, n);
}
static void append_box(const char* text, int n) { append_bytes(box_text, &box_text_len, BOX_TEXT_SIZE, text, n); }
static void append_head(const char* text, int n) { append_bytes(head_text, &head_text_len, HEAD_TEXT_SIZE, text, n); }

// A blank for head_text where a word gap opens in large type that already has some text.
static void head_space_if_sized(void) {
  if (size_test() && head_text_len > 0 && head_text_len < HEAD_APPEND_LIMIT) append_head(" ", 1);
}

// The headline rule: a new line of large type starts with a blank.
static void headline_rule(const char* text, int n) {
  if (std::fabs(tm_y - static_cast<float>(head_y)) >= 1.0f) {
    if (head_text_len < HEAD_APPEND_LIMIT) {
      append_head(" ", 1);
      append_head(text, n);
    }
  } else if (head_text_len < HEAD_APPEND_LIMIT) {
    append_head(text, n);
  }
  head_y = truncate_position(tm_y);
}

// The capture step of the table pass; it only ever empties cell_text, so the count follows.
static int close_pending_cell(void) {
  int opened_row = table_close_pending_cell();
  if (cell_text[0] == 0) cell_text_len = 0;
  return opened_row;
}

static int distance_now(void) {
  return evaluate_text_distance(tml_x, tm_y, last_x, last_y, font_size, text_scale);
}

// The array number gathered in front of a string or hex string: pulls the pen back and, past
// `space_below`, gives a word space. Returns nothing; clears the number.
static void apply_kerning(int space_below, int use_char_width) {
  kern_dot = 0;
  if (kern_len <= 0 || !in_array) return;
  // The value atoi gives for a sign and at most eight or nine digits, read without the call.
  int n = 0;
  int k = kern_text[0] == '-' ? 1 : 0;
  for (; k < kern_len && k < KERN_TEXT_SIZE - 1; k++) n = n * 10 + (kern_text[k] - '0');
  if (kern_text[0] == '-') n = -n;
  tml_x = tml_x - n * (font_size * text_scale) / 1000.0f;
  if (n > 499 || n < -499) layout_jump_count++;
  int word_space = n < space_below;
  if (use_char_width && last_char_width > 0 && last_char_width * 0.8 <= -n) word_space = 1;
  if (word_space) {
    append_line(" ", 1);
    head_space_if_sized();
    append_cell(" ", 1);
  }
  kern_len = 0;
  kern_text[0] = 0;
}

// Which operator follows a closing ")", "]" or ">" at i: 1 for Tj or TJ starting within three
// bytes, 2 for a quote within five, -1 for none. In a stream without boxes the bytes past the
// lowered length are still looked at; only bytes past the whole stream are absent.
static int operator_after(int i) {
  for (int j = 1; j <= 5; j++) {
    if (i + j >= text_stream_bytes) return -1;
    unsigned char b = text_stream[i + j];
    if (b == 'T' && j + 1 < 5 && i + j + 1 < text_stream_bytes &&
        (text_stream[i + j + 1] == 'J' || text_stream[i + j + 1] == 'j')) {
      return 1;
    }
    if (b == '"' || b == '\'') return 2;
  }
  return -1;
}

__attribute__((always_inline)) inline static int char_width(int code) {
  const int f = font_index;
  if (!font_is_known(f)) return 500;
  if (code < 0 || code >= FONT_WIDTHS_SIZE) return 0;
  return static_cast<int32_t>(Font_CMAP[f].widths.get(code));
}

// Mapped code of one literal string character: the font's map, else the code as it stands
// (no-break space as a blank, the ligature slots of kinds 1, 2, 3), then the accent folds.
__attribute__((always_inline)) inline static int map_literal_code(int code, int unknown_escape) {
  const int f = font_index;
  int mapped = unknown_escape ? -2 : cmap_get_char(code, f);
  int known = font_is_known(f);
  if (mapped == -1) {
    if (!known) {
      mapped = code == 160 ? 32 : code;
    } else {
      int kind = Font_CMAP[f].encoding_kind;
      if (kind != -99) mapped = code;
      if (code == 160) mapped = 32;
      if (kind == 1 && mapped == 222) mapped = 64257;
      if (kind == 1 && mapped == 223) mapped = 64258;
      if (kind == 2 && mapped == 147) mapped = 64257;
      if (kind == 2 && mapped == 148) mapped = 64258;
      if (kind == 3 && mapped == 174) mapped = 64257;
      if (kind == 3 && mapped == 175) mapped = 64258;
    }
  }
  if (known && mapped > 127) {
    int kind = Font_CMAP[f].encoding_kind;
    if (kind == 1 || kind == 9) mapped = standard_encoding_variances_handler(mapped, kind);
  }
  return mapped;
}

// Length of the text of one character (a few bytes); an inline walk is cheaper here than a call.
static inline int short_text_length(const char* text) {
  if (text[0] == 0) return 0;
  if (text[1] == 0) return 1;
  return 1 + static_cast<int>(strlen(text + 1));
}

// The width times the size is formed in 64 bits: both come from the file unchecked, and their
// product, exact in 64 bits, turns into the same float an int product in range would.
__attribute__((always_inline)) inline static void move_pen_after(int code) {
  last_char_width = char_width(code);
  tml_x = tml_x + static_cast<int64_t>(last_char_width) * font_size * text_scale / 1000.0f;
}

// Plain branch: one character of a literal string, or an unknown escape that shows nothing.
// `escape` is escape_active.
static void show_plain_char(int code, int unknown_escape, int escape) {
  int mapped = map_literal_code(code, unknown_escape);
  if (mapped == -1 && font_is_known(font_index)) return;
  const char* out;
  int n;
  if (mapped >= 32 && mapped <= 127) {
    // A printable ASCII code is its own one-byte text: what the character writer gives for it,
    // written into its scratch as it would be, without the call.
    char_string_scratch[0] = static_cast<char>(mapped);
    char_string_scratch[1] = 0;
    out = char_string_scratch;
    n = 1;
  } else {
    out = char_special_handler_string(mapped, escape);
    n = short_text_length(out);
  }
  append_line(out, n);
  append_cell(out, n);
  if (n == 0) return;
  if (headline_test()) headline_rule(out, n);
  move_pen_after(code);
}

// Octal branch: like the plain one, but any output makes the cell ready, and the headline rule
// runs even for empty output (it can add a lone blank).
static void show_octal_char(int code) {
  int mapped = map_literal_code(code, 0);
  const char* out = mapped < 0 ? "" : char_special_handler_string(mapped, 1);
  int n = short_text_length(out);
  append_line(out, n);
  append_cell(out, n);
  if (n > 0) cell_ready = 1;
  if (headline_test()) headline_rule(out, n);
  if (n > 0) move_pen_after(code);
}

static int escaped_code(unsigned char c, int* known) {
  *known = 1;
  switch (c) {
    case 'r': return 13;
    case 'n': return 10;
    case 't': return 9;
    case 'f': return 12;
    case '\\': return 92;
    case '(': return 40;
    case ')': return 41;
    case 'b': return 8;
    default: *known = -1; return c;
  }
}

// Moves the shown line into box_text, when box_text has room for it.
static void line_to_box(void) {
  if (box_text_len + line_text_len < BOX_JOIN_LIMIT) append_box(line_text, line_text_len);
}

static void empty_line(void) {
  line_text[0] = 0;
  line_text_len = 0;
}

static void empty_hex(void) {
  hex_text[0] = 0;
  hex_len = 0;
}

// ---- Tm: absolute line start; a jump along the line (or the first Tm) closes the cell ----
static void text_matrix_at(int i) {
  char window[CM_WINDOW + 1];
  copy_window(i - CM_WINDOW > 0 ? i - CM_WINDOW : 0, i, window);
  TextState* r = get_text_state(window, CM_WINDOW);
  float new_scale = std::fabs(r->scale);
  tm_x = r->x;
  tml_x = tm_x;
  tm_y = r->y;
  if ((truncate_position(tm_y) == truncate_position(last_y) && last_x + 10 < tm_x) || first_tm_pending == -1) {
    layout_jump_count++;
    if (first_tm_pending == -1) {
      last_x = tm_x;
      last_y = tm_y;
      first_tm_pending = 1;
    }
    if (close_pending_cell() == 1) {
      append_line(" ", 1);
      head_space_if_sized();
    }
  }
  text_scale = new_scale;
}

// ---- Td, TD: relative move in scaled units; a wide move along the line closes the cell ----
static void text_move_at(int i) {
  char window[TD_WINDOW + 1];
  copy_window(i - TD_WINDOW > 0 ? i - TD_WINDOW : 0, i, window);
  TextState* r = get_text_state_from_td(window, TD_WINDOW);
  float rx = r->x;
  float ry = r->y;
  tm_x = tm_x + rx * text_scale;
  tml_x = tm_x;
  tm_y = tm_y + ry * text_scale;
  if (10 < rx * text_scale && font_size * 1.5 < rx && (ry == 0.0f || std::fabs(tm_y - last_y) < 1.0f)) {
    layout_jump_count++;
    close_pending_cell();
  }
}

// ---- ")" outside an array: the line is text only if a show operator follows ----
static void close_string_at(int i) {
  in_string = 0;
  last_x = tml_x;
  last_y = tm_y;
  last_string_len = line_text_len;
  if (cell_text_len > 0) cell_ready = 1;
  if (in_array) return;
  int op = operator_after(i);
  if (op == -1 || actual_text_active) {
    empty_line();
    return;
  }
  last_x = tml_x;
  last_y = tm_y;
  line_to_box();
  empty_line();
  if (op == 2) append_box(" ", 1);
}

// ---- "]": the array's text goes in when a show operator follows, else waits in line_text ----
static void close_array_at(int i) {
  in_array = 0;
  int op = operator_after(i);
  if (op <= 0) return;
  if (box_text_len + line_text_len < BOX_JOIN_LIMIT) {
    append_box(line_text, line_text_len);
    last_array_len = line_text_len;
  }
  empty_line();
  if (op == 2) append_box(" ", 1);
}

// ---- ">": decode the hex string; an ActualText payload is taken even with no operator ----
static void close_hex_at(int i) {
  const char* r = hex_handler_new(hex_text, hex_len, font_index, font_size, text_scale);
  int r_len = static_cast<int>(strlen(r));
  last_hex_len = r_len;
  in_hex = 0;
  if (r_len > 0) {
    if (cell_text_len < TEXT_APPEND_LIMIT) {
      append_bytes(cell_text, &cell_text_len, CELL_TEXT_SIZE, r, r_len);
      cell_ready = 1;
    }
    last_x = tml_x;
    last_y = tm_y;
  }
  if (in_array) {
    if (headline_test()) headline_rule(r, r_len);
    if (line_text_len < LINE_JOIN_LIMIT) append_bytes(line_text, &line_text_len, LINE_TEXT_SIZE, r, r_len);
    empty_hex();
    return;
  }
  int op = operator_after(i);
  if ((op == -1 || actual_text_active) && GLOBAL_ACTUAL_TEXT_FLAG != 1) {
    empty_hex();
    return;
  }
  last_x = tml_x;
  last_y = tm_y;
  if (hex_space_pending) {
    append_box(" ", 1);
    hex_space_pending = 0;
  }
  if (headline_test() && head_text_len < HEAD_APPEND_LIMIT) append_head(r, r_len);
  append_box(r, r_len);
  empty_hex();
  GLOBAL_ACTUAL_TEXT_FLAG = 2;
  if (op == 2) append_box(" ", 1);
}

// ---- the byte steps of a box, a to m (n to p are the closing steps above) ----
// decode_box runs them in this order on every byte; each may act on a byte that the steps
// before it have already acted on.

// The modes of the byte loop, copied from in_string, in_hex, in_array and escape_active.
struct ByteModes {
  int string, hex, array, escape;
};

static inline void load_modes(ByteModes* m) {
  m->string = in_string;
  m->hex = in_hex;
  m->array = in_array;
  m->escape = escape_active;
}

// ---- a. escapes: on the backslash active; on the byte after it active and on_char ----
static void track_escape(unsigned char c) {
  if (escape_active) {
    if (escape_on_char) {
      escape_active = 0;
      escape_on_char = 0;
    } else {
      escape_on_char = 1;
    }
  }
  if (c == '\\' && !escape_active) {
    escape_active = 1;
    escape_on_char = 0;
  }
}

// ---- b. "(" opens a string: word gap, kerning, cell closing ----
static void open_string(void) {
  in_string = 1;
  int d = distance_now();
  int gap = GLOBAL_REPAIR_MODE ? !in_array && repair_word_gap(tml_x - last_x, font_size, text_scale)
                               : last_string_len < 5 && tml_x - last_x > 5;
  if (d > 0 || gap) {
    append_line(" ", 1);
    head_space_if_sized();
  }
  apply_kerning(-155, 1);
  float dy = std::fabs(tm_y - last_y);
  if ((last_x + 10 < tml_x && dy <= 2) || dy > 2) close_pending_cell();
}

// ---- c. "<" opens a hex string (twice for "<<") ----
// The factors 0.8, 1.5 and 0.5 here and at "[" are double constants, so those products are
// compared in double precision, unlike the float sums they are compared with.
static void open_hex(void) {
  in_hex = 1;
  int d = distance_now();
  if (GLOBAL_REPAIR_MODE) {
    hex_space_pending = d > 0 || (!in_array && repair_word_gap(tml_x - last_x, font_size, text_scale));
  } else {
    hex_space_pending = d > 0 || (last_hex_len < 3 && std::fabs(text_scale) * font_size * 0.8 < tm_x - last_x);
  }
  apply_kerning(-154, 0);
  float dy = std::fabs(tm_y - last_y);
  if ((last_x + 10 < tml_x && text_scale * font_size * 1.5 < tml_x - last_x && tm_y == last_y) || dy > 1) {
    close_pending_cell();
  }
}

// ---- d. "[" opens an array ----
static void open_array(void) {
  in_array = 1;
  kern_len = 0;
  kern_dot = 0;
  kern_text[0] = 0;
  int d = distance_now();
  if (GLOBAL_REPAIR_MODE) {
    if (d > 0 || repair_word_gap(tml_x - last_x, font_size, text_scale)) append_box(" ", 1);
  } else if (d > 0 || (last_array_len < 5 && static_cast<int64_t>(font_size) * 5 * text_scale < tml_x - last_x)) {
    append_box(" ", 1);
  } else if (last_array_len < 5 && (font_size * 0.5 * text_scale * 500) / 1000 < tm_x - last_x) {
    append_line(" ", 1);
  }
}

// ---- e. array number: sign, up to nine characters, the fraction dropped ----
static void gather_array_number(unsigned char c) {
  if (c == '-' && kern_len == 0) {
    kern_text[0] = '-';
    kern_len = 1;
  } else if (c >= '0' && c <= '9' && !kern_dot && kern_len < 9) {
    kern_text[kern_len++] = static_cast<char>(c);
  } else if (c == '.') {
    kern_dot = 1;
  }
}

// ---- f. BDC after a taken hex string turns dropping on; g. EMC turns it off ----
static void marked_content_at(int i, unsigned char c) {
  if (c == 'B' && i + 2 < text_stream_len && text_stream[i + 1] == 'D' && text_stream[i + 2] == 'C' &&
      GLOBAL_ACTUAL_TEXT_FLAG == 2) {
    actual_text_active = 1;
    GLOBAL_ACTUAL_TEXT_FLAG = 0;
  }
  if (c == 'E' && actual_text_active && i + 2 < text_stream_bytes && text_stream[i + 1] == 'M' &&
      text_stream[i + 2] == 'C') {
    actual_text_active = 0;
  }
}

// ---- h to k. the text operators at a "T" at i ----
static void text_operator_at(int i) {
  if (i + 1 >= text_stream_len) return;
  unsigned char op = text_stream[i + 1];
  unsigned char after = i + 2 < text_stream_len ? text_stream[i + 2] : 0;
  // ---- h. T*: one line of the font's size down ----
  if (op == '*' && (after == '\n' || after == ' ' || after == '\r') && i + 2 < text_stream_len) {
    append_line(" ", 1);
    tm_y = tm_y - font_size * text_scale;
  }
  // ---- i. Td and TD ----
  if ((op == 'D' || op == 'd') && i + 2 < text_stream_len &&
      (after == '\n' || after == ' ' || after == '\r' || after == '(' || after == '[')) {
    text_move_at(i);
  }
  // ---- j. Tm ----
  if (op == 'm') text_matrix_at(i);
  // ---- k. Tf ----
  if (op == 'f') read_font_operator(i, 1);
}

// ---- l. string character: a plain or escaped byte, or the first digit of an octal escape ----
// `escape` is escape_active.
static void string_char_at(int i, unsigned char c, int escape) {
  int code = c;
  int escape_known = -1;
  if (escape) code = escaped_code(c, &escape_known);
  if (escape && c >= '0' && c <= '9') {
    // Octal: exactly three bytes are taken, with no test that the last two are digits.
    escape_known = 1;
    skip_until = i + 3;
    if (i + 2 < text_stream_len) {
      code = (c - '0') * 64 + (text_stream[i + 1] - '0') * 8 + (text_stream[i + 2] - '0');
      show_octal_char(code);
    }
  }
  if (i >= skip_until) show_plain_char(code, escape && escape_known == -1, escape);
}

// ---- m. hex byte: blanks and line ends drop out, "/" and letters stay ----
static void hex_byte(unsigned char c) {
  if (hex_len < TEXT_APPEND_LIMIT) {
    hex_text[hex_len++] = static_cast<char>(c);
    hex_text[hex_len] = 0;
  }
}

// The bytes that make a step act outside strings: "\\", "(", "<", "[" and "T" always, "B"
// and "E" outside an array, "]", "-", "." and the digits inside one.
static constexpr ByteSet ACTS_OUTSIDE_ARRAY("\\(<[TBE");
static constexpr ByteSet ACTS_IN_ARRAY("\\(<[T]-.0123456789");

// ---- 4. one text box: every byte of [box_start, box_stop) through the steps a to p ----
static void decode_box(int box) {
  // ---- 4.1 the box's state: strings, escapes and line emptied, the pen at 0, the box's cm ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_page_processor - text_box iter - %d.\n", box);
  in_string = in_hex = in_array = 0;
  escape_active = escape_on_char = 0;
  skip_until = 0;
  empty_hex();
  empty_line();
  if (box_has_cm[box] == 1) cm_scale = get_text_state(box_cm_text[box], CM_WINDOW)->scale;
  tml_x = 0;
  tm_x = 0;
  tm_y = 0;
  int stop = box_stop[box] < text_stream_len ? box_stop[box] : text_stream_len;
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - inner-loop - %d \n", box);

  // ---- 4.2 every byte through the steps, in their order ----
  // The loop tests the modes on local copies of the globals, which the steps keep. Only the
  // steps a, b, c, d, n, o and p change a mode, so the copies are loaded again after each of those.
  const unsigned char* const bytes = text_stream;
  ByteModes m;
  load_modes(&m);
  for (int i = box_start[box]; i < stop; i++) {
    // Outside strings, hex strings and escapes, only a few bytes make any step act: those of
    // ACTS_OUTSIDE_ARRAY, or of ACTS_IN_ARRAY inside an array. The bytes in between are passed
    // over in one step; none of them changes anything, so what follows is the same.
    if (!m.string && !m.hex && !m.escape) {
      const ByteSet& acts = m.array ? ACTS_IN_ARRAY : ACTS_OUTSIDE_ARRAY;
      while (i < stop && !acts[bytes[i]]) i++;
      if (i >= stop) break;
    }
    unsigned char c = bytes[i];
    if (m.escape || c == '\\') {                                // a
      track_escape(c);
      load_modes(&m);
    }
    if (c == '(' && !m.string && !m.hex) {                      // b
      open_string();
      load_modes(&m);
    }
    if (c == '<' && !m.string) {                                // c
      open_hex();
      load_modes(&m);
    }
    if (c == '[' && !m.string) {                                // d
      open_array();
      load_modes(&m);
    }
    if (m.array && !m.string && !m.hex) gather_array_number(c);  // e
    if (!m.string && !m.hex) {
      if (!m.array && (c == 'B' || c == 'E')) marked_content_at(i, c);  // f, g
      if (c == 'T') text_operator_at(i);                        // h to k
    }
    if (m.string && ((c != '(' && c != ')' && c != '\\') || (m.escape && escape_on_char))) {
      string_char_at(i, c, m.escape);                           // l
    }
    if (m.hex && c != '<' && c != '>' && c > 46 && c < 123 && !m.escape) hex_byte(c);  // m
    if (m.string && c == ')' && !m.escape) {                    // n
      close_string_at(i);
      load_modes(&m);
    }
    if (!m.string && m.array && c == ']') {                     // o
      close_array_at(i);
      load_modes(&m);
    }
    if (m.hex && c == '>') {                                    // p
      close_hex_at(i);
      load_modes(&m);
    }
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - reached end of BT processing.\n");
}

extern "C" {

int text_processor_page(int length, int page) {
  // ---- 1. set-up: buffers emptied, the table grid restarted, the font carried in ----
  buffers_begin();
  brik_chunking_begin();
  table_grid_begin();
  layout_jump_count = 0;
  cell_ready = 0;
  text_stream = flate_dst_tmp_buffer;
  text_stream_len = text_stream != nullptr ? length : -1;
  text_stream_bytes = text_stream_len;
  text_stream_page = page;
  font_index = GLOBAL_PAGE_CMAP;
  font_size = GLOBAL_FONT_SIZE;
  text_scale = 1.0f;
  cm_scale = 1.0f;
  cm_x = 0;
  cm_y = 0;
  first_tm_pending = -1;
  decode_state_begin();
  int briks_added = 0;
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor_page - assigned variables - starting processing.\n");

  // ---- 2. the scan ----
  int box_count = scan_stream();

  // ---- 3. a stream without boxes is one box over its first bytes ----
  if (box_count == 0) {
    if (text_stream_len > NO_BOX_STREAM_LIMIT) text_stream_len = NO_BOX_STREAM_LIMIT;
    box_start[0] = 0;
    box_stop[0] = text_stream_len;
    box_has_cm[0] = 0;
    box_count = 1;
  }
  last_x = 0;
  last_y = 0;

  // ---- 4. the boxes, each followed by at most one brik ----
  // The strip-header option would start at box 1, but is set back to box 0 at once: it has no
  // effect on the text.
  for (int box = 0; box < box_count; box++) {
    decode_box(box);
    briks_added += brik_cut_at_box_end(page, box);
  }

  // ---- 5. the closing pass ----
  briks_added += brik_closing_pass(page, box_count);

  // ---- 6. the table ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - text_processor - reached end of page - starting table parsing.\n");
  briks_added += table_reconstruct(page, box_count);

  // ---- 7. the font and the scaled size go on to the next stream ----
  GLOBAL_PAGE_CMAP = font_index;
  GLOBAL_FONT_SIZE = truncate_position(font_size * text_scale);
  return briks_added;
}

}  // extern "C"
