// fonts/font_pass.cpp -- font_encoding_cmap_handler: fills each font record from its font
// dictionary: flags, encoding kind, widths, then the map from ToUnicode, Differences, the
// Type0 3/32 map or the embedded Type 1 program. Reads: buffer, obj. Writes: Font_CMAP[0,
// global_font_count). Limits: WORK_AREA_SIZE bytes of a program's clear text; the rest drops.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fonts/font_internal.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

namespace {

constexpr int WORK_AREA_SIZE = 100000;      // clear text of one embedded program, terminator included
constexpr int STANDARD_FIRST_CODE = 32;     // the standard tables start at the space
constexpr int STANDARD_TABLE_SIZE = 91;     // and stop at "z"
constexpr int DEFAULT_WIDTH_CODES = 500;    // codes given GLOBAL_DEFAULT_WIDTH_SIZE with no table
constexpr int TYPE0_MAP_WRITTEN = 150;      // entries written by the 3/32 map
constexpr int TYPE0_MAP_COUNT = 140;        // entries of it that count
constexpr int LENGTH1_TEXT_MAX = 100;       // bytes of a /Length1 value looked at

struct Span {
  int start;
  int stop;
};

Span value_of(const Span& d, const int32_t* key, int key_length) {
  KeyValueSpan* kv = dict_find_key_value_buffer(d.start, d.stop, key, key_length);
  return Span{kv->value_start, kv->value_stop};
}

bool present(const Span& s) { return s.start >= 0 && s.stop >= 0; }

bool holds(const Span& d, const int32_t* key, int key_length) {
  return dict_search_buffer(d.start, d.stop, key, key_length) == 1;
}

void set_width(FontRecord& font, int code, int64_t width) {
  if (code >= 0 && code < FONT_WIDTHS_SIZE) font.widths[code] = width;  // codes past the table drop
}

// ---- 5. widths from /Widths ----
void widths_from_array(FontRecord& font, Span value, int first_char, int last_char) {
  // a. direct array or reference, by the first "[", "]" or "R" of the value
  bool indirect = false;
  for (int i = value.start; i <= value.stop; i++) {
    int c = buffer_byte_at(i);
    if (c == '[' || c == ']') break;
    if (c == 'R') {
      indirect = true;
      break;
    }
  }
  // b. a single reference leads to the array object
  if (indirect && extract_obj_from_buffer(value.start, value.stop) == 1 &&
      get_obj(nn_global_tmp[0].number) >= 0) {
    value = Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop};
  }
  // c-e. FirstChar and LastChar must both be known; the numbers land from FirstChar on
  if (last_char < 0 || first_char < 0) return;
  int count = extract_obj_from_buffer(value.start, value.stop);
  if (count < 1) return;
  if (count > GLOBAL_NN_TMP_COUNT) count = GLOBAL_NN_TMP_COUNT;
  for (int i = 0; i < first_char && i < FONT_WIDTHS_SIZE; i++) font.widths[i] = 0;
  // The loop stops at the table's end, so first_char + k stays inside int as well.
  for (int k = 0; k < count && k < FONT_WIDTHS_SIZE - first_char; k++) {
    set_width(font, first_char + k, nn_global_tmp[k].number);
  }
}

// ---- 6. widths with no /Widths: a standard table by name, or the default ----
void widths_from_name(FontRecord& font, const Span& d) {
  const int* table = nullptr;
  if (holds(d, times_roman_seq, 11) || holds(d, times_new_roman_seq, 13)) table = times_roman_widths;
  else if (holds(d, arial_mt_seq, 7)) table = arial_mt_widths;
  else if (holds(d, symbol_seq, 6)) table = symbol_widths;
  if (table == nullptr) {
    for (int i = 0; i < DEFAULT_WIDTH_CODES; i++) font.widths[i] = GLOBAL_DEFAULT_WIDTH_SIZE;
    return;
  }
  for (int i = 0; i < STANDARD_FIRST_CODE; i++) font.widths[i] = 0;
  for (int k = 0; k < STANDARD_TABLE_SIZE; k++) font.widths[STANDARD_FIRST_CODE + k] = table[k];
}

// ---- 7. ToUnicode stream ----
void read_tounicode(FontRecord& font, int n, int number) {
  font.tounicode_obj = number;
  if (get_obj(number) < 0) return;
  const ObjectRecord stream = global_tmp_obj;
  if (!holds(Span{stream.dict_start, stream.dict_stop}, flatedecode_seq, 11)) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - font_encoding_cmap_handler - unusual case (handling) - CMAP not in Flate - ***CALLING PROCESS_CMAP_BUFFER*** ! \n");
    if (stream.stream_start >= 0 && stream.stop >= 0) process_cmap_buffer_alt(stream.stream_start, stream.stop, n);
    return;
  }
  int length = flate_handler_buffer_v2(stream.stream_start, stream.stop);
  if (length < 0) {
    log_at(LOG_DEEP, "DEBUG:  pdf_parser - failed to inflate - releasing flate_dst_tmp_buffer \n");
    free(flate_dst_tmp_buffer);
    flate_dst_tmp_buffer = nullptr;
    return;
  }
  process_cmap(length, n);
}

void read_differences(FontRecord& font, int n, const Span& value) {
  int total = differences_handler(get_string_from_buffer(value.start, value.stop), n);
  font.cmap_count = total < 0 ? 0 : total;
}

// ---- 12. /Length1: 0 when absent or given by reference ----
int clear_text_length(const Span& file_dict) {
  Span v = value_of(file_dict, length1_seq, 7);
  if (!present(v)) return 0;
  int64_t text[LENGTH1_TEXT_MAX + 1] = {0};
  int len = 0;
  for (int i = v.start; i < v.stop && len < LENGTH1_TEXT_MAX; i++) {
    int c = buffer_byte_at(i);
    if (c < 0) break;
    text[len++] = c;
  }
  for (int k = 4; k < len; k++) {
    if (text[k] == 'R' && text[k - 3] == ' ' && text[k - 2] == '0' && text[k - 1] == ' ') return 0;
  }
  text[len] = 0;
  return get_int_from_byte_array(text);
}

// ---- 11-13. the embedded Type 1 program ----
void read_embedded_program(FontRecord& font, int n, const Span& d, std::vector<char>& work) {
  // 11. FontDescriptor, then FontFile (FontFile2 and FontFile3 are not scanned)
  Span desc = value_of(d, font_descriptor_seq, 14);
  if (!present(desc)) return;
  extract_obj_from_buffer(desc.start, desc.stop);
  if (nn_global_tmp[0].number < 0 || get_obj(nn_global_tmp[0].number) < 0) return;
  Span file = value_of(Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop}, font_file_seq, 8);
  if (file.start >= 0 && (buffer_byte_at(file.start) == '2' || buffer_byte_at(file.start) == '3')) return;
  if (!present(file)) return;
  extract_obj_from_buffer(file.start, file.stop);
  if (nn_global_tmp[0].number < 0 || get_obj(nn_global_tmp[0].number) < 0) return;
  const ObjectRecord program = global_tmp_obj;

  // 12. how much of the program is clear text
  int length1 = clear_text_length(Span{program.dict_start, program.dict_stop});

  // 13. inflate, keep the clear text without its zero bytes, scan it
  int inflated = flate_handler_buffer_v2(program.stream_start, program.stop);
  if (inflated < 0) {
    free(flate_dst_tmp_buffer);
    flate_dst_tmp_buffer = nullptr;
    return;
  }
  int take = length1 < inflated ? length1 : inflated;
  int used = 0;
  for (int i = 0; i < take && used < WORK_AREA_SIZE - 1; i++) {
    if (flate_dst_tmp_buffer[i] != 0) work[used++] = static_cast<char>(flate_dst_tmp_buffer[i]);
  }
  work[used] = 0;
  int total = fontfile_handler(work.data(), n);
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  font.cmap_count = total < 0 ? 0 : total;
}

}  // namespace

extern "C" {

FontRecord* Font_CMAP = nullptr;  // declared in fonts.h; pdf_builder allocates and frees it per document

// Every map index belongs to the previous document's records: Font_CMAP is handed out again at
// the same address, so an index could otherwise be taken for one of the new records.
void fonts_document_reset(void) {
  cmap_index_forget_all();
}

// Fills every font record created by page_resource_handler; always 0.
int font_encoding_cmap_handler(int unused) {
  std::vector<char> work(WORK_AREA_SIZE);
  cmap_index_forget_all();
  int fonts = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  // Intended: the previous font's dictionary is carried into the next font. A font whose object
  // is missing goes on with the last span found into the Type0 and embedded-program steps;
  // before any font is found it is empty.
  Span d{-1, -1};

  for (int n = 0; n < fonts; n++) {
    FontRecord& font = Font_CMAP[n];
    int encoded = -1;
    font.encoding_kind = 0;

    // ---- 1-2. the font dictionary ----
    log_at(LOG_DEEP, "DEBUG: pdf_parser - Font Encodings- %d-%s-%d \n", n, font.font_name, font.font_obj);
    if (get_obj(font.font_obj) >= 0) {
      d = Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop};

      // ---- 3. flags and encoding kind; the later test overwrites the earlier ----
      font.bold = holds(d, bold_seq, 4) ? 1 : 0;
      font.italic = holds(d, italic_seq, 6) ? 1 : 0;
      if (holds(d, type3_seq, 5)) {
        log_at(LOG_DEEP, "DEBUG:  pdf_parser - found Type3 font - likely will not be able to encode this font accurately - may be no, small or large impact. \n");
        font.encoding_kind = -99;
      }
      if (holds(d, mac_roman_encoding_seq, 16)) font.encoding_kind = 1;
      if (holds(d, win_ansi_encoding_seq, 15)) font.encoding_kind = 9;

      // ---- 4. first and last character ----
      int first_char = -1, last_char = -1;
      Span fc = value_of(d, first_char_seq, 9);
      if (present(fc)) first_char = get_int_from_buffer(fc.start, fc.stop);
      Span lc = value_of(d, last_char_seq, 8);
      if (present(lc)) last_char = get_int_from_buffer(lc.start, lc.stop);

      // ---- 5-6. widths ----
      Span widths = value_of(d, widths_seq, 7);
      if (present(widths)) widths_from_array(font, widths, first_char, last_char);
      else widths_from_name(font, d);

      // ---- 7. ToUnicode ----
      Span tu = value_of(d, tounicode_seq, 9);
      if (present(tu) && extract_obj_from_buffer(tu.start, tu.stop) >= 1) {
        encoded = 1;
        read_tounicode(font, n, nn_global_tmp[0].number);
      }

      // ---- 8. Differences, inline or in a referenced Encoding ----
      Span diff = value_of(d, differences_seq, 11);
      if (present(diff)) {
        encoded = 1;
        read_differences(font, n, diff);
      } else {
        Span enc = value_of(d, encoding_seq, 8);
        if (present(enc) && extract_obj_from_buffer(enc.start, enc.stop) >= 1) {
          encoded = 1;
          if (nn_global_tmp[0].number >= 0 && get_obj(nn_global_tmp[0].number) >= 0) {
            Span ref = value_of(Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop}, differences_seq, 11);
            if (present(ref)) read_differences(font, n, ref);
          }
        }
      }
    }

    // ---- 9. a font with its own encoding is finished ----
    if (encoded != -1) continue;

    // ---- 10. Type0 with no encoding: codes 3..142 stand for 32..171 ----
    if (holds(d, type0_seq, 5)) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - found type0 font - apply special 3/32 encoding \n");
      cmap_index_forget(n);
      for (int i = 0; i < TYPE0_MAP_WRITTEN; i++) {
        font.cmap_in[i] = i + 3;
        font.cmap_out[i] = i + 32;
      }
      font.cmap_count = TYPE0_MAP_COUNT;
    }

    // ---- 11-13. the embedded program ----
    read_embedded_program(font, n, d, work);
  }

  log_at(LOG_DEEP, "DEBUG: pdf_parser - deep debug - font_encoding_cmap_handler - finished processing- returning to main loop. \n");
  return 0;
}

}  // extern "C"
