// objects/objects.h -- the PDF object layer: the file's bytes, the object list, key look-ups,
// the page list and the functions that fill them. All positions are signed 32-bit indexes into
// buffer, given as a start and a stop; -1 means none.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

extern "C" {

// ---- records ----
struct ObjectRecord {
  int32_t number;        // object number, -1 if none could be read
  int32_t generation;    // generation, -1 if none; 0 for hidden objects
  int32_t start;         // byte after "obj" (hidden: first copied byte)
  int32_t stop;          // byte before "endobj" (hidden: last copied byte)
  int32_t dict_start;    // first "<<", or start
  int32_t dict_stop;     // last ">" of the closing ">>", or stop
  int32_t stream_start;  // where the stream search begins; -1 without a closed dictionary
  int32_t hidden;        // 1 for objects copied out of an object stream
};

struct KeyValueSpan {
  int32_t key_start;     // last hit of the key's first character
  int32_t key_stop;      // position after the key, -1 if not found
  int32_t value_start;   // key_stop, or -1
  int32_t value_stop;    // end of the value, or -1
  int32_t open;          // nesting flag as the walk left it; read by nobody
};

struct NameNumberPair {
  char name[1000];       // a name with its leading "/", or empty
  int32_t number;        // as a rule an object number
};

constexpr int PAGE_MAX_CONTENTS = 500;  // content_obj entries of one page
constexpr int PAGE_MAX_IMAGES = 500;    // image entries of one page
constexpr int IMAGE_NAME_SIZE = 40;     // bytes of one image name, terminator included

// The counts come first, so that a page without images is written within one memory page.
struct PageRecord {
  int32_t page_obj;                            // page tree walk
  int32_t content_count;                       // page resources
  int32_t image_count;
  int64_t content_obj[PAGE_MAX_CONTENTS];
  int64_t image_obj[PAGE_MAX_IMAGES];
  char image_name[PAGE_MAX_IMAGES][IMAGE_NAME_SIZE];
  int64_t image_id[PAGE_MAX_IMAGES];
  float image_x[PAGE_MAX_IMAGES];
  float image_y[PAGE_MAX_IMAGES];
  int64_t image_height[PAGE_MAX_IMAGES];
  int64_t image_width[PAGE_MAX_IMAGES];
  int64_t image_placed[PAGE_MAX_IMAGES];
};

// ---- document state (allocated and freed by pdf_builder) ----
extern unsigned char* buffer;          // file bytes, then hidden objects; file length + 40000000
extern int buffer_capacity;            // bytes allocated for buffer; no write or read goes past it
extern ObjectRecord* obj;              // GLOBAL_MAX_OBJ entries
extern ObjectRecord global_tmp_obj;    // last result of get_obj; carried, each get_obj overwrites it
extern ObjectRecord catalog;           // copy of the catalog's record, hidden 0 (pdf_builder); carried, read once found
extern PageRecord* Pages;              // GLOBAL_MAX_PAGES entries plus one spare that reads as zero
// The page-tree walk's lists (page_tree.cpp, which writes both as it goes down a level; not reset,
// each level overwrites its own row before reading it).
constexpr int TREE_LEVELS = 6;        // levels of /Kids followed; deeper pages are lost and logged
constexpr int KIDS_LIST_MAX = 10000;  // kids kept per node; later ones are dropped
extern int64_t level_list[TREE_LEVELS + 1][KIDS_LIST_MAX];  // kids of the node walked at each level
extern int kids_count[TREE_LEVELS + 1];  // count of the extraction each level's list came from
extern NameNumberPair* nn_global_tmp;  // GLOBAL_NN_TMP_COUNT entries; scratch of the extractors
extern unsigned char* flate_dst_tmp_buffer;  // result of the last inflation; freed by its consumer
extern unsigned char* objstm_flate_buffer;   // declared, never written or read
extern int flate_count;                       // declared, never written or read

constexpr int BUFFER_EXTRA_ROOM = 40000000;   // room behind the file for hidden objects
constexpr int FLATE_OUTPUT_SIZE = 15000000;   // bytes of one inflation result

// ---- the folder's own state; each group is defined in the file it names ----
// object_list.cpp: the index behind get_obj (with obj_first_index_of below, which maps each
// number to its first index in obj); only the cost of a look-up depends on it.
extern const ObjectRecord* obj_indexed_array;  // get_obj's rebuild: obj when indexed; null by objects_document_reset
extern int obj_indexed_count;          // get_obj's rebuild: the counter when indexed; -1 by objects_document_reset
extern ObjectRecord obj_indexed_first; // get_obj's rebuild: obj[0] when indexed; read only while the index holds
extern ObjectRecord obj_indexed_last;  // get_obj's rebuild: the last entry when indexed; the same
// page_resources.cpp: the font look-up of page_resource_handler (with page_first_font_of below,
// which maps object number and name to the first record holding them).
extern bool page_font_map_active;      // page_resource_handler: true only while it runs
// byte_readers.cpp, dict_lookup.cpp: results of one call, valid until the next.
constexpr int STRING_FROM_BUFFER_MAX = 250000;  // bytes of one buffer text; the rest is not read
constexpr int STRING_FROM_ARRAY_MAX = 10000;    // characters of one array text; the rest is not read
extern char string_from_buffer_text[STRING_FROM_BUFFER_MAX + 1];  // get_string_from_buffer; rewritten each call
extern char string_from_array_text[STRING_FROM_ARRAY_MAX + 1];    // get_string_from_byte_array; rewritten each call
extern KeyValueSpan dict_value_span;   // dict_find_key_value_buffer; set to none at each call

// The folder's resets at the start of a document (pdf_builder's set-up): the get_obj index is
// forgotten. The arrays come zero-filled from pdf_builder; global_tmp_obj, catalog and the
// page-tree lists are carried and overwritten before they are read.
void objects_document_reset(void);

// ---- key sequences (one int per character; compared with the stated length) ----
extern const int32_t form_seq[], encrypt_seq[], catalog_seq[], objstm_seq[], pages_seq[],
    page_seq[], font_seq[], resources_seq[], contents_seq[], count_seq[], kids_seq[], n_seq[],
    flatedecode_seq[], tounicode_seq[], encoding_seq[], differences_seq[], beginbfrange_seq[],
    endbfrange_seq[], xobject_seq[], image_seq[], im_seq[], dctdecode_seq[], height_seq[],
    width_seq[], metadata_seq[], beginbfchar_seq[], endbfchar_seq[], dccreator_seq[],
    xmp_modify_date_seq[], xmp_create_date_seq[], xmp_creator_tool_seq[], pdf_producer_seq[],
    ccittfaxdecode_seq[], jbig2decode_seq[], jpxdecode_seq[], widths_seq[], first_char_seq[],
    last_char_seq[], font_descriptor_seq[], font_file2_seq[], font_file_seq[], length1_seq[],
    mac_roman_encoding_seq[], pdf_doc_encoding_seq[], win_ansi_encoding_seq[],
    times_roman_seq[], times_new_roman_seq[], arial_mt_seq[], symbol_seq[], device_cmyk_seq[],
    color_space_seq[], type3_seq[], type0_seq[], char_procs_seq[], bold_seq[], italic_seq[];

// ---- byte readers ----
char* get_string_from_buffer(int start, int stop);          // scratch, at most 250000 bytes
char* get_string_from_byte_array(int64_t* array, int length);  // scratch, at most 10000 chars
int get_int_from_buffer(int start, int stop);               // -1 on an empty text
int get_int_from_byte_array(int64_t* array);                // -1 on an empty text
float get_float_from_byte_array(int64_t* array);            // 0.0 on an empty text

// ---- object list ----
int build_obj_master_list(int file_length);  // fills obj; returns global_obj_counter
int get_obj(int number);                     // index of the first match, copied to global_tmp_obj; or -1

// ---- inflation and object streams ----
int flate_handler_buffer_v2(int start, int stop);  // inflated length in flate_dst_tmp_buffer, or -1
int objstm_handler(int start, int stop);           // hidden objects added, or -1

// ---- dictionary look-up ----
int dict_search_buffer(int start, int stop, const int32_t* key, int key_length);  // 1 or -1
KeyValueSpan* dict_find_key_value_buffer(int start, int stop, const int32_t* key, int key_length);
int extract_obj_from_buffer(int start, int stop);                       // pairs into nn_global_tmp
int extract_obj_from_buffer_with_safety_check(int start, int stop);     // the same, or 0
int dict_search(int64_t* array, int length, const int32_t* key, int key_length);  // 1 or 0
int dict_find_key_value(int64_t* array, int length, const int32_t* key, int key_length);  // 0
int extract_obj_from_dict_value(int64_t* array, int length);

// ---- page tree, page resources, metadata ----
int catalog_to_page_handler(int start, int stop);  // fills Pages; 0, or -1 (debug_mode 3, no root)
int page_resource_handler(int unused);             // content, image and font lists; 0
int is_new_font(char* name, int object_number);    // index of the record, or 999
int metadata_handler(int start, int stop);         // fills the metadata of my_doc; 0

// ---- repair mode (repair_objects.cpp), called only while GLOBAL_REPAIR_MODE is 1 ----
int repair_is_catalog(int start, int stop);        // 1 for a /Type /Catalog dictionary, else -1
int repair_decode_stream(int dict_start, int dict_stop, int stream_start, int stop);  // length, or -1
int repair_objstm_handler(int dict_start, int dict_stop, int stream_start, int stop); // added, or -1
void repair_resources_span(int* start, int* stop); // the span whose resources a page inherits
void repair_register_font(const char* name, int number, int page);  // page_resources.cpp
void repair_form_fonts(int p);                     // repair_forms.cpp: fonts of the page's forms
int repair_form_text(int p);                       // repair_forms.cpp: text of the forms drawn; briks

}  // extern "C"

// The two maps of the folder's state (C++ types, so outside the block above).
extern std::unordered_map<int32_t, int32_t> obj_first_index_of;  // get_obj's rebuild; emptied by objects_document_reset
extern std::unordered_map<std::string, int> page_first_font_of;  // create_font; emptied as page_resource_handler starts, ends

// Small byte tests shared by the scanners of every folder (one definition here).
// The byte of buffer at `pos`, or -1 where pos lies outside it: -1 equals no key element and no
// mark, so a comparison that runs off the end simply fails.
static inline int buffer_byte_at(int pos) {
  if (buffer == nullptr || pos < 0 || pos >= buffer_capacity) return -1;
  return buffer[pos];
}
static inline bool is_pdf_white(int c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == 0; }
static inline bool is_pdf_delimiter(int c) {
  return c < 0 || is_pdf_white(c) || c == '/' || c == '[' || c == ']' || c == '<' || c == '>' || c == '(' ||
         c == ')' || c == '%';
}
