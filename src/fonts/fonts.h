// fonts/fonts.h -- one FontRecord per pair of resource name and object number, with the map
// from character codes to output codes, and the decoders that turn codes into bytes of text.
// Font_CMAP is allocated per document by pdf_builder; page_resource_handler creates the records,
// font_encoding_cmap_handler fills them, the page text reads them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// ---- font tables ----
// A font's map, widths and page list live in the document's font pool, not inside the record:
// a table takes pool space only as far as it is written, so the thousands of fonts of a long
// document cost what they hold instead of a fixed 248 KB each (resident memory and clearing
// time both follow). A table reads exactly as a zero-filled array of N entries: an entry never
// written reads 0, a write past the space taken grows the table (in place when it is the pool's
// last table, else by a copy to a larger block) up to N.
extern "C" uint32_t font_pool_generation;  // font_pool_reset, once per document; older tables read empty
extern "C" void* font_pool_take(size_t bytes, void* last, size_t last_bytes);  // see font_pool.cpp

template <typename T, int N>
struct FontTable {
  T* data;              // entries [0, cap) in the font pool
  int32_t cap;
  uint32_t generation;  // pool generation that `data` belongs to; 0 for a table never written

  bool holds(int i) const { return i >= 0 && i < cap && generation == font_pool_generation; }
  T get(int i) const { return holds(i) ? data[i] : T(0); }
  T operator[](int i) const { return get(i); }
  T& operator[](int i) { return holds(i) ? data[i] : grow(i); }

  // Space for entry i: the table doubled until it holds i, at most N entries. An index outside
  // [0, N) or a full pool gets a scratch entry that is never read back.
  T& grow(int i) {
    static T dropped;
    dropped = 0;
    if (i < 0 || i >= N) return dropped;
    if (generation != font_pool_generation) data = nullptr, cap = 0;
    int want = cap > 0 ? cap : 64;
    while (want <= i) want *= 2;
    if (want > N) want = N;
    T* next = static_cast<T*>(font_pool_take(sizeof(T) * static_cast<size_t>(want), data,
                                             sizeof(T) * static_cast<size_t>(cap)));
    if (next == nullptr) return dropped;
    if (next != data && cap > 0) memcpy(next, data, sizeof(T) * static_cast<size_t>(cap));
    memset(next + cap, 0, sizeof(T) * static_cast<size_t>(want - cap));
    data = next;
    cap = want;
    generation = font_pool_generation;
    return data[i];
  }
};

extern "C" {

constexpr int FONT_NAME_SIZE = 52;       // font_name bytes, terminator included
constexpr int FONT_MAP_SIZE = 10000;     // cmap_in / cmap_out entries; pairs past it are dropped
constexpr int FONT_PAGE_LIST_SIZE = 2000;  // page_list entries; later pages are dropped
constexpr int FONT_WIDTHS_SIZE = 10000;  // widths entries; a code past it reads width 0

struct FontRecord {
  char font_name[FONT_NAME_SIZE];   // resource name with its slash, as /F1
  int32_t font_obj;                 // object number of the font dictionary
  int32_t tounicode_obj;            // written, read by nothing
  int32_t cmap_count;               // valid entries of cmap_in / cmap_out ("CMAP val")
  FontTable<int64_t, FONT_MAP_SIZE> cmap_in;
  FontTable<int64_t, FONT_MAP_SIZE> cmap_out;
  FontTable<int32_t, FONT_PAGE_LIST_SIZE> page_list;  // page indices on which the font may be used
  int32_t page_count;
  FontTable<int64_t, FONT_WIDTHS_SIZE> widths;  // thousandths of the font size, by character code
  int32_t encoding_kind;            // 0, 1 MacRoman, 2, 3, 9 WinAnsi, -99 Type3
  int32_t bold;
  int32_t italic;
};

extern FontRecord* Font_CMAP;  // GLOBAL_MAX_FONT_ENCODINGS entries; per document
// Starts a document's font pool (pdf_builder, with the document arrays): every table of the
// previous document reads empty from here on, and pool memory past the first block is given back.
void font_pool_reset(void);

// ---- the folder's own state; each group is defined in the file it names ----
// cmap_lookup.cpp: the index behind cmap_get_char; only the cost of a look-up depends on it.
constexpr int CMAP_INDEX_SLOTS = 8;           // fonts indexed at once; the oldest slot is reused next
constexpr int CMAP_INDEX_CODE_RANGE = 65536;  // codes 0..65535 are indexed; others are walked
// One font's index: first_pos[code] is the position + 1 of the code's first pair, 0 if none.
// It is trusted only while the record's first and last indexed pairs still read as they did,
// and the count has not shrunk; every writer of the map in this folder also forgets it.
struct CmapIndex {
  const FontRecord* table = nullptr;  // Font_CMAP when built
  int font_index = -1;                // -1: slot free
  int count = 0;                      // pairs indexed, from the front
  int64_t first_in = 0, first_out = 0, last_in = 0, last_out = 0;
  uint16_t first_pos[CMAP_INDEX_CODE_RANGE];
  int32_t set_codes[FONT_MAP_SIZE];   // codes whose first_pos is set, to clear them again
  int set_count = 0;
};
extern CmapIndex cmap_index_slots[CMAP_INDEX_SLOTS];  // cmap_get_char; forgotten by map writers, font pass, fonts_document_reset
extern int cmap_index_next_victim;    // cmap_get_char; never reset: it picks a slot, not an answer
extern int cmap_index_last_slot;      // cmap_get_char: the slot of the last look-up, tried first; never reset (a hint only)

// cmap_reader.cpp: the working storage of one ToUnicode reading; readings never nest.
constexpr int CMAP_MAX_SECTIONS = 200;  // bfchar and bfrange sections each; later ones are not read
constexpr int CMAP_MAX_VALUES = 5000;   // flat list of numbers; later numbers are dropped
constexpr int CMAP_MAX_ARRAY = 826;     // outputs of one bracketed array; later ones are dropped
struct CmapWork {
  int char_start[CMAP_MAX_SECTIONS], char_stop[CMAP_MAX_SECTIONS], char_count;
  int range_start[CMAP_MAX_SECTIONS], range_stop[CMAP_MAX_SECTIONS], range_count;
  int64_t values[CMAP_MAX_VALUES];
  int value_count;
  int64_t array_values[CMAP_MAX_ARRAY];
};
// Intended: array_values is never reset, so an empty bracketed array takes array_values[0] as
// an earlier array left it, in this reading, an earlier one or an earlier document.
extern CmapWork cmap_work;            // process_cmap, process_cmap_buffer_alt; counts 0 at each reading

// char_output.cpp, fontfile_scan.cpp, hex_decoder.cpp: results and scratch of one call.
constexpr int CHAR_SCRATCH_SIZE = 8;    // 4 bytes of content at most, and the terminator
constexpr int SCAN_MAX_ENTRIES = 500;   // entries of one embedded program; later entries add no pair
constexpr int SCAN_KEPT_NAME = 50;      // bytes of a name kept per entry, terminator included
constexpr int HEX_RESULT_SIZE = 50000;  // bytes of a hex string's text, terminator included; later text drops
constexpr int HEX_MAX_GROUPS = 10000;   // four-digit groups of one hex string; later groups drop
extern char char_hex_scratch[CHAR_SCRATCH_SIZE];     // char_special_handler's result; emptied at each call
extern char char_string_scratch[CHAR_SCRATCH_SIZE];  // char_special_handler_string's result; emptied at each call
extern int32_t fontfile_codes[SCAN_MAX_ENTRIES];     // fontfile_handler; zeroed at each call
extern char fontfile_names[SCAN_MAX_ENTRIES][SCAN_KEPT_NAME];  // fontfile_handler; read by nothing, never reset
extern char hex_handler_result[HEX_RESULT_SIZE];     // hex_handler_new's result; emptied at each call

// font_pool.cpp: the storage of every font table (see FontTable). 8 MB a block holds the tables
// of about 2,000 ordinary fonts; 1,024 blocks hold every table of the largest document the font
// records allow (10,000 fonts with full tables, about 6.5 GB). A table that does not fit drops.
constexpr size_t FONT_POOL_BLOCK_BYTES = size_t{8} << 20;
constexpr int FONT_POOL_BLOCKS = 1024;
extern char* font_pool_block[FONT_POOL_BLOCKS];  // font_pool_take maps each on first use; kept for the run
extern int font_pool_current;      // font_pool_take: block of the cursor; 0 at font_pool_reset
extern size_t font_pool_cursor;    // font_pool_take: bytes taken of that block; 0 at font_pool_reset
extern int font_pool_full_logged;  // font_pool_take: the full pool was logged; 0 at font_pool_reset
extern int64_t hex_handler_groups[HEX_MAX_GROUPS][4];  // hex_handler_new; a group is written before it is read

// The folder's resets at the start of a document (pdf_builder's set-up): every map index is
// forgotten. Font_CMAP itself comes zero-filled from pdf_builder.
void fonts_document_reset(void);

// Standard width tables: 91 entries, codes 32 to 122.
extern const int times_roman_widths[91];
extern const int arial_mt_widths[91];
extern const int symbol_widths[91];
extern const int times_bold_widths[91];  // kept for callers by name, read by nothing
extern const int test_widths[91];        // kept for callers by name, read by nothing

// Glyph name table shared by Differences and the embedded font scan.
extern const int adobe_glyph_count;      // 101
extern const char* const glyph_names[];
extern const int32_t glyph_lookup[];

// ---- font pass and readers ----
int font_encoding_cmap_handler(int unused);                 // fills every font record; 0
int process_cmap(int length, int font_index);               // ToUnicode from flate_dst_tmp_buffer
int process_cmap_buffer_alt(int start, int stop, int font_index);  // ToUnicode from buffer
int cmap_get_char(int code, int font_index);                // mapped code, or -1
int differences_handler(char* text, int font_index);        // new pair total
int fontfile_handler(char* text, int font_index);           // new pair total
int repair_font_pass(void);  // repair mode only: widths as numbers, composite and Type3 widths; 0

// ---- string decoders ----
char* hex_handler_new(char* text, int length, int font_index, int font_size, float text_scale);
char* char_special_handler(int code, int escape_flag);      // scratch text of one hex-string code
char* char_special_handler_string(int code, int unused);    // scratch text of one literal-string code
int standard_encoding_variances_handler(int code, int kind);
int get_hex(int64_t* digits, int count);
int get_hex_one_digit(int c);

}  // extern "C"
