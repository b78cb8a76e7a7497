// tests/test_dict_lookup.cpp -- numbers and texts lifted out of buffer spans and byte arrays, key
// searches, value spans and the name/number pair extractors.
#include "suite.h"

namespace {

int len(const std::string& s) { return static_cast<int>(s.size()); }
std::vector<int64_t> byte_array(const std::string& s) {
  std::vector<int64_t> a(s.begin(), s.end());
  a.push_back(0);
  return a;
}

TEST(ByteReaders, NumbersAndTextsFromTheBuffer) {
  struct { std::string bytes; int start, stop, want; const char* why; } rows[] = {
      {"12 0 R", 0, 5, 120, "blanks are dropped, not an end: 120R"}, {"12\n/Kids", 0, 8, 12, "a line end stops atoi"},
      {"\n12", 0, 2, 12, "a leading line end is skipped"}, {"abc", 0, 2, 0, "text that reads nothing is 0"},
      {"5", 0, 0, 5, "the stop itself is read"}, {"5", 3, 1, -1, "stop below start"},
      {std::string("\0" "9", 2), 0, 1, -1, "a zero byte at the start ends the walk"}};
  for (auto& r : rows) {
    LoadedDoc doc(r.bytes, false);
    EXPECT_EQ(get_int_from_buffer(r.start, r.stop), r.want) << r.why;
  }
  LoadedDoc far(std::string(60, '1'), false);
  EXPECT_EQ(get_int_from_buffer(0, 59), get_int_from_buffer(0, 50)) << "at most 51 positions are read";
  LoadedDoc doc(std::string("ab\0c\xE9 d", 7), false);
  EXPECT_STREQ(get_string_from_buffer(0, 7), "abc\xE9 d") << "zero bytes vanish, high bytes stay";
  EXPECT_STREQ(get_string_from_buffer(0, 2), "ab") << "the stop is excluded";
  EXPECT_STREQ(get_string_from_buffer(5, 2), "");
  EXPECT_STREQ(get_string_from_buffer(-1, -1), "") << "the span of a missing object";
  LoadedDoc big(std::string(300000, 'x'), false);
  EXPECT_EQ(strlen(get_string_from_buffer(0, 300000)), 250000u);
  EXPECT_STREQ(get_string_from_buffer(buffer_capacity - 10, buffer_capacity + 100), "") << "nothing past the buffer";
}

TEST(ByteReaders, NumbersFromByteArrays) {
  EXPECT_EQ(get_int_from_byte_array(byte_array("").data()), -1) << "empty is -1, not 0";
  EXPECT_EQ(get_int_from_byte_array(byte_array(" 4 2").data()), 42) << "blanks are dropped";
  EXPECT_EQ(get_int_from_byte_array(byte_array(std::string(60, '9')).data()),
            get_int_from_byte_array(byte_array(std::string(45, '9')).data())) << "read only as far as 45 characters";
}

TEST(DictLookup, SearchHitsInsideLongerWordsAndStaysInside) {
  struct { std::string dict; const int32_t* key; int n, stop, want; const char* why; } rows[] = {
      {"<</FormType 1>>", form_seq, 4, 15, 1, "Form hits FormType"}, {"<</BaseFont/X>>", font_seq, 4, 15, 1, "BaseFont"},
      {"<</Type/Pages>>", page_seq, 5, 15, 1, "/Page hits /Pages"}, {"<</Type/Page>>", pages_seq, 6, 14, -1, "not reverse"},
      {"<</Encrypt 5 0 R>>", encrypt_seq, 8, 18, 1, ""}, {"", catalog_seq, 7, 0, -1, "empty span"},
      {"xx/Catal", catalog_seq, 7, 4, -1, "cut key"}, {"xx/Catalog", catalog_seq, 7, 4, 1, "only the first byte lies before stop"}};
  for (auto& r : rows) {
    LoadedDoc doc(r.dict, false);
    EXPECT_EQ(dict_search_buffer(0, r.stop, r.key, r.n), r.want) << r.dict << " " << r.why;
  }
  LoadedDoc doc("/Cat", false);
  memcpy(buffer + buffer_capacity - 3, "Cat", 3);
  EXPECT_EQ(dict_search_buffer(buffer_capacity - 3, buffer_capacity + 50, catalog_seq, 7), -1);
  EXPECT_EQ(dict_find_key_value_buffer(buffer_capacity - 3, buffer_capacity + 50, catalog_seq, 7)->key_stop, -1);
}

TEST(DictLookup, ValueSpans) {
  struct { std::string dict; const int32_t* key; int n; std::string want; const char* why; } rows[] = {
      {"<</Kids[1 0 R 2 0 R]/Count 2>>", kids_seq, 4, "[1 0 R 2 0 R]/", "up to the / after the array"},
      {"<</Kids[1 0 R /X 2 0 R]>>", kids_seq, 4, "[1 0 R /X 2 0 R]>>", "/ inside brackets does not end it"},
      {"<</Font<</F1 5 0 R>>/XObject<</I 6 0 R>>>>", font_seq, 4, "<</F1 5 0 R>>", "first >> ends it"},
      {"<</Resources<</Font<</F1 1 0 R>>/XObject 2 0 R>>>>", resources_seq, 9, "<</Font<</F1 1 0 R>>",
       "one flag, no depth: << stays open through / up to the first >>"},
      {"<</Filter /FlateDecode/Length 5>>", count_seq, 5, "<none>", "missing key"},
      {"<</Type/Pages/Count 3>>", count_seq, 5, " 3>>", "blanks belong to the value"},
      {"<</Type /Font/Name /F1>>", font_seq, 4, "/", "a name value: the span ends at its /"},
      {"<</Kids", kids_seq, 4, "<none>", "a key at the span's end has no value"}};
  for (auto& r : rows) {
    LoadedDoc doc(r.dict, false);
    KeyValueSpan* kv = dict_find_key_value_buffer(0, len(r.dict) - 1, r.key, r.n);
    std::string got = kv->value_start < 0 ? "<none>" : r.dict.substr(kv->value_start, kv->value_stop - kv->value_start + 1);
    EXPECT_EQ(got, r.want) << r.dict << " " << r.why;
  }
}

// Pairs extracted from the whole of `span`, as "name=number" texts.
std::vector<std::string> pairs(const std::string& span, bool safe = false) {
  LoadedDoc doc(span, false);
  int n = safe ? extract_obj_from_buffer_with_safety_check(0, len(span)) : extract_obj_from_buffer(0, len(span));
  std::vector<std::string> out;
  for (int k = 0; k < n; k++) out.push_back(std::string(nn_global_tmp[k].name) + "=" + std::to_string(nn_global_tmp[k].number));
  return out;
}

TEST(DictLookup, ExtractPairs) {
  using V = std::vector<std::string>;
  struct { std::string span; bool safe; V want; const char* why; } rows[] = {
      {" 12 0 R", false, {"=12"}, "no trailing separator is needed after R"},
      {"[1 0 R 2 0 R 3 0 R]", false, {"=1", "=2", "=3"}, "bare references get empty names"},
      {"<</F1 5 0 R/F2 6 0 R>>", false, {"/F1=5", "/F2=6"}, ""},
      {"/A 1 0 R /B /C /D 2 0 R ", false, {"/A=1", "/B=2"}, "names and numbers pair by position"},
      {"/Count 5>>", false, {}, "> ends nothing"}, {" -5 1.5 ", false, {"=5", "=15"}, "minus and point are passed over"},
      {" 5 12 R ", false, {"=5", "=12"}, "a two-digit generation is not hidden"},
      {" 5  0 R ", false, {"=5", "=0"}, "two blanks do not hide the generation"},
      {"[/Im1 4 0 R/Im2]", false, {"/Im1=4"}, "names past the last number do not count"},
      {" 12/F 7 0 R ", false, {"/F=7"}, "a / inside the digits loses the number"}, {"", false, {}, ""},
      {"[/A] 1 0 R", false, {"/A]=1"}, "the array's close joins the name"},
      {"/Im0 7 0 R /Im1 8 0 R ", true, {"/Im0=7", "/Im1=8"}, "safety check"},
      {"/Type /XObject /Subtype /Image ", true, {}, "two names in a row"}, {"7 0 R ", true, {}, "a number with no name"},
      {"/Width 10 /Height 20 ", true, {}, "a number that is no reference"}};
  for (auto& r : rows) EXPECT_EQ(pairs(r.span, r.safe), r.want) << r.span << ": " << r.why;
  EXPECT_EQ(extract_obj_from_buffer(-1, -1), 0) << "the span of a missing key";
  std::string s = "[";
  for (int k = 1; k <= GLOBAL_NN_TMP_COUNT + 5; k++) s += std::to_string(k) + " 0 R ";
  LogCapture log(39);
  LoadedDoc doc(s + "]", false);
  EXPECT_EQ(extract_obj_from_buffer(0, len(s) + 1), GLOBAL_NN_TMP_COUNT);
  EXPECT_EQ(nn_global_tmp[GLOBAL_NN_TMP_COUNT - 1].number, GLOBAL_NN_TMP_COUNT);
  EXPECT_NE(find(log.text(), "rest dropped"), -1);
}

}  // namespace
