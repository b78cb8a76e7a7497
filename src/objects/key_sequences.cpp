// objects/key_sequences.cpp -- the keys and tags that the look-ups search for, one int per
// character, in a fixed order. Each array's length is the number of its
// characters, and callers pass that length; none is zero-terminated.
// Reads: nothing. Writes: nothing (constant data). Limits: none.
#include "objects/objects.h"

extern "C" {

const int32_t form_seq[] = {70, 111, 114, 109};  // "Form", 4
const int32_t encrypt_seq[] = {47, 69, 110, 99, 114, 121, 112, 116};  // "/Encrypt", 8
const int32_t catalog_seq[] = {67, 97, 116, 97, 108, 111, 103};  // "Catalog", 7
const int32_t objstm_seq[] = {79, 98, 106, 83, 116, 109};  // "ObjStm", 6
const int32_t pages_seq[] = {47, 80, 97, 103, 101, 115};  // "/Pages", 6
const int32_t page_seq[] = {47, 80, 97, 103, 101};  // "/Page", 5
const int32_t font_seq[] = {70, 111, 110, 116};  // "Font", 4
const int32_t resources_seq[] = {82, 101, 115, 111, 117, 114, 99, 101, 115};  // "Resources", 9
const int32_t contents_seq[] = {67, 111, 110, 116, 101, 110, 116, 115};  // "Contents", 8
const int32_t count_seq[] = {67, 111, 117, 110, 116};  // "Count", 5
const int32_t kids_seq[] = {75, 105, 100, 115};  // "Kids", 4
const int32_t n_seq[] = {78};  // "N", 1
const int32_t flatedecode_seq[] = {70, 108, 97, 116, 101, 68, 101, 99, 111, 100, 101};  // "FlateDecode", 11
const int32_t tounicode_seq[] = {84, 111, 85, 110, 105, 99, 111, 100, 101};  // "ToUnicode", 9
const int32_t encoding_seq[] = {69, 110, 99, 111, 100, 105, 110, 103};  // "Encoding", 8
const int32_t differences_seq[] = {68, 105, 102, 102, 101, 114, 101, 110, 99, 101, 115};  // "Differences", 11
const int32_t beginbfrange_seq[] = {98, 101, 103, 105, 110, 98, 102, 114, 97, 110, 103, 101};  // "beginbfrange", 12
const int32_t endbfrange_seq[] = {101, 110, 100, 98, 102, 114, 97, 110, 103, 101};  // "endbfrange", 10
const int32_t xobject_seq[] = {88, 79, 98, 106, 101, 99, 116};  // "XObject", 7
const int32_t image_seq[] = {73, 109, 97, 103, 101};  // "Image", 5
const int32_t im_seq[] = {47, 73, 109};  // "/Im", 3
const int32_t dctdecode_seq[] = {68, 67, 84, 68, 101, 99, 111, 100, 101};  // "DCTDecode", 9
const int32_t height_seq[] = {72, 101, 105, 103, 104, 116};  // "Height", 6
const int32_t width_seq[] = {87, 105, 100, 116, 104};  // "Width", 5
const int32_t metadata_seq[] = {77, 101, 116, 97, 100, 97, 116, 97};  // "Metadata", 8
const int32_t beginbfchar_seq[] = {98, 101, 103, 105, 110, 98, 102, 99, 104, 97, 114};  // "beginbfchar", 11
const int32_t endbfchar_seq[] = {101, 110, 100, 98, 102, 99, 104, 97, 114};  // "endbfchar", 9
const int32_t dccreator_seq[] = {60, 100, 99, 58, 99, 114, 101, 97, 116, 111, 114, 62};  // "<dc:creator>", 12
const int32_t xmp_modify_date_seq[] = {60, 120, 109, 112, 58, 77, 111, 100, 105, 102, 121, 68, 97, 116, 101, 62};  // "<xmp:ModifyDate>", 16
const int32_t xmp_create_date_seq[] = {60, 120, 109, 112, 58, 67, 114, 101, 97, 116, 101, 68, 97, 116, 101, 62};  // "<xmp:CreateDate>", 16
const int32_t xmp_creator_tool_seq[] = {60, 120, 109, 112, 58, 67, 114, 101, 97, 116, 111, 114, 84, 111, 111, 108, 62};  // "<xmp:CreatorTool>", 17
const int32_t pdf_producer_seq[] = {112, 100, 102, 58, 80, 114, 111, 100, 117, 99, 101, 114};  // "pdf:Producer", 12
const int32_t ccittfaxdecode_seq[] = {67, 67, 73, 84, 84, 70, 97, 120, 68, 101, 99, 111, 100, 101};  // "CCITTFaxDecode", 14
const int32_t jbig2decode_seq[] = {74, 66, 73, 71, 50, 68, 101, 99, 111, 100, 101};  // "JBIG2Decode", 11
const int32_t jpxdecode_seq[] = {74, 80, 88, 68, 101, 99, 111, 100, 101};  // "JPXDecode", 9
const int32_t widths_seq[] = {47, 87, 105, 100, 116, 104, 115};  // "/Widths", 7
const int32_t first_char_seq[] = {70, 105, 114, 115, 116, 67, 104, 97, 114};  // "FirstChar", 9
const int32_t last_char_seq[] = {76, 97, 115, 116, 67, 104, 97, 114};  // "LastChar", 8
const int32_t font_descriptor_seq[] = {70, 111, 110, 116, 68, 101, 115, 99, 114, 105, 112, 116, 111, 114};  // "FontDescriptor", 14
const int32_t font_file2_seq[] = {70, 111, 110, 116, 70, 105, 108, 101, 50};  // "FontFile2", 9
const int32_t font_file_seq[] = {70, 111, 110, 116, 70, 105, 108, 101};  // "FontFile", 8
const int32_t length1_seq[] = {76, 101, 110, 103, 116, 104, 49};  // "Length1", 7
const int32_t mac_roman_encoding_seq[] = {77, 97, 99, 82, 111, 109, 97, 110, 69, 110, 99, 111, 100, 105, 110, 103};  // "MacRomanEncoding", 16
const int32_t pdf_doc_encoding_seq[] = {80, 68, 70, 68, 111, 99, 69, 110, 99, 111, 100, 105, 110, 103};  // "PDFDocEncoding", 14
const int32_t win_ansi_encoding_seq[] = {87, 105, 110, 65, 110, 115, 105, 69, 110, 99, 111, 100, 105, 110, 103};  // "WinAnsiEncoding", 15
const int32_t times_roman_seq[] = {84, 105, 109, 101, 115, 45, 82, 111, 109, 97, 110};  // "Times-Roman", 11
const int32_t times_new_roman_seq[] = {84, 105, 109, 101, 115, 78, 101, 119, 82, 111, 109, 97, 110};  // "TimesNewRoman", 13
const int32_t arial_mt_seq[] = {65, 114, 105, 97, 108, 77, 84};  // "ArialMT", 7
const int32_t symbol_seq[] = {83, 121, 109, 98, 111, 108};  // "Symbol", 6
const int32_t device_cmyk_seq[] = {68, 101, 118, 105, 99, 101, 67, 77, 89, 75};  // "DeviceCMYK", 10
const int32_t color_space_seq[] = {67, 111, 108, 111, 114, 83, 112, 97, 99, 101};  // "ColorSpace", 10
const int32_t type3_seq[] = {84, 121, 112, 101, 51};  // "Type3", 5
const int32_t type0_seq[] = {84, 121, 112, 101, 48};  // "Type0", 5
const int32_t char_procs_seq[] = {67, 104, 97, 114, 80, 114, 111, 99, 115};  // "CharProcs", 9
const int32_t bold_seq[] = {66, 111, 108, 100};  // "Bold", 4
const int32_t italic_seq[] = {73, 116, 97, 108, 105, 99};  // "Italic", 6

}  // extern "C"
