// tests/test_dict_lookup.cpp -- key searches, value spans and the pair extractors.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "run/run_state.h"

using namespace pdftest;

static int len(const char* s) { return static_cast<int>(strlen(s)); }

// The value text of the first hit of `key` in the whole of `dict`, or "<none>".
static std::string value_of(const std::string& dict, const int32_t* key, int key_length) {
  LoadedDoc doc(dict, false);
  KeyValueSpan* kv = dict_find_key_value_buffer(0, len(dict.c_str()) - 1, key, key_length);
  if (kv->value_start < 0) return "<none>";
  return dict.substr(kv->value_start, kv->value_stop - kv->value_start + 1);
}

TEST(DictLookup, KeySequencesHoldTheirTexts) {
  auto text = [](const int32_t* seq, int n) { return std::string(seq, seq + n); };
  EXPECT_EQ(text(encrypt_seq, 8), "/Encrypt");
  EXPECT_EQ(text(xmp_creator_tool_seq, 17), "<xmp:CreatorTool>");
  EXPECT_EQ(text(times_roman_seq, 11), "Times-Roman");
  EXPECT_EQ(text(page_seq, 5), "/Page");
  EXPECT_EQ(text(italic_seq, 6), "Italic");
}

TEST(DictLookup, SearchHitsInsideLongerWords) {
  struct Row { const char* dict; const int32_t* key; int n; int want; const char* why; };
  const Row rows[] = {
      {"<</FormType 1>>", form_seq, 4, 1, "Form hits FormType"},
      {"<</BaseFont/X>>", font_seq, 4, 1, "Font hits BaseFont"},
      {"<</Type/Pages>>", page_seq, 5, 1, "/Page hits /Pages"},
      {"<</Type/Page>>", pages_seq, 6, -1, "/Pages is not in /Page"},
      {"<</Encrypt 5 0 R>>", encrypt_seq, 8, 1, ""},
      {"", catalog_seq, 7, -1, "empty span"},
  };
  for (const Row& r : rows) {
    LoadedDoc doc(r.dict, false);
    EXPECT_EQ(dict_search_buffer(0, len(r.dict), r.key, r.n), r.want) << r.dict << " " << r.why;
  }
  {
    LoadedDoc doc("xx/Catal", false);
    EXPECT_EQ(dict_search_buffer(0, 4, catalog_seq, 7), -1);
  }
  LoadedDoc doc("xx/Catalog", false);
  EXPECT_EQ(dict_search_buffer(0, 4, catalog_seq, 7), 1) << "only the first byte must lie before stop";
}

TEST(DictLookup, CompareNeverRunsPastTheBuffer) {
  LoadedDoc doc("/Cat", false);
  memcpy(buffer + buffer_capacity - 3, "Cat", 3);
  EXPECT_EQ(dict_search_buffer(buffer_capacity - 3, buffer_capacity + 50, catalog_seq, 7), -1);
  KeyValueSpan* kv = dict_find_key_value_buffer(buffer_capacity - 3, buffer_capacity + 50, catalog_seq, 7);
  EXPECT_EQ(kv->key_stop, -1);
}

TEST(DictLookup, ValueSpans) {
  struct Row { const char* dict; const int32_t* key; int n; const char* want; const char* why; };
  const Row rows[] = {
      {"<</Kids[1 0 R 2 0 R]/Count 2>>", kids_seq, 4, "[1 0 R 2 0 R]/", "up to the / after the array"},
      {"<</Kids[1 0 R /X 2 0 R]>>", kids_seq, 4, "[1 0 R /X 2 0 R]>>", "/ inside brackets does not end it"},
      {"<</Font<</F1 5 0 R>>/XObject<</I 6 0 R>>>>", font_seq, 4, "<</F1 5 0 R>>", "first >> ends it"},
      {"<</Resources<</Font<</F1 1 0 R>>/XObject 2 0 R>>>>", resources_seq, 9, "<</Font<</F1 1 0 R>>",
       "one flag, no depth: << stays open through / up to the first >>"},
      {"<</Filter /FlateDecode/Length 5>>", count_seq, 5, "<none>", "missing key"},
      {"<</Type/Pages/Count 3>>", count_seq, 5, " 3>>", "blanks belong to the value"},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(value_of(r.dict, r.key, r.n), r.want) << r.dict << " " << r.why;
  }
  EXPECT_EQ(value_of("<</Type /Font/Name /F1>>", font_seq, 4), "/") << "a name value: the span ends at its /";
}

TEST(DictLookup, KeyAtTheSpanEndHasNoValue) {
  LoadedDoc doc("<</Kids", false);
  KeyValueSpan* kv = dict_find_key_value_buffer(0, 6, kids_seq, 4);
  EXPECT_EQ(kv->key_stop, 7);
  EXPECT_EQ(kv->value_start, -1);
  EXPECT_EQ(kv->value_stop, -1);
}

// Pairs extracted from the whole of `span`, as "name=number" texts.
static std::vector<std::string> pairs(const std::string& span, bool safe = false) {
  LoadedDoc doc(span, false);
  int n = safe ? extract_obj_from_buffer_with_safety_check(0, len(span.c_str()))
               : extract_obj_from_buffer(0, len(span.c_str()));
  std::vector<std::string> out;
  for (int k = 0; k < n; k++) out.push_back(std::string(nn_global_tmp[k].name) + "=" + std::to_string(nn_global_tmp[k].number));
  return out;
}

TEST(DictLookup, ExtractPairs) {
  using V = std::vector<std::string>;
  EXPECT_EQ(pairs(" 12 0 R"), V{"=12"}) << "no trailing separator is needed after R";
  EXPECT_EQ(pairs("[1 0 R 2 0 R 3 0 R]"), (V{"=1", "=2", "=3"})) << "bare references get empty names";
  EXPECT_EQ(pairs("<</F1 5 0 R/F2 6 0 R>>"), (V{"/F1=5", "/F2=6"}));
  EXPECT_EQ(pairs("/A 1 0 R /B /C /D 2 0 R "), (V{"/A=1", "/B=2"})) << "names and numbers pair by position";
  EXPECT_EQ(pairs("/Count 5>>"), V{}) << "> ends nothing";
  EXPECT_EQ(pairs(" -5 1.5 "), (V{"=5", "=15"})) << "minus and point are passed over";
  EXPECT_EQ(pairs(" 5 12 R "), (V{"=5", "=12"})) << "a two-digit generation is not hidden";
  EXPECT_EQ(pairs(" 5  0 R "), (V{"=5", "=0"})) << "two blanks do not hide the generation";
  EXPECT_EQ(pairs("[/Im1 4 0 R/Im2]"), (V{"/Im1=4"})) << "names past the last number do not count";
  EXPECT_EQ(pairs(" 12/F 7 0 R "), (V{"/F=7"})) << "a / inside the digits loses the number";
  EXPECT_EQ(pairs(""), V{});
  EXPECT_EQ(extract_obj_from_buffer(-1, -1), 0) << "the span of a missing key";
}

TEST(DictLookup, ArrayCloseJoinsTheName) {
  LoadedDoc doc("[/A]", false);
  extract_obj_from_buffer(0, 4);
  EXPECT_STREQ(nn_global_tmp[0].name, "/A]");
}

TEST(DictLookup, ExtractWithSafetyCheck) {
  using V = std::vector<std::string>;
  EXPECT_EQ(pairs("/Im0 7 0 R /Im1 8 0 R ", true), (V{"/Im0=7", "/Im1=8"}));
  EXPECT_EQ(pairs("/Type /XObject /Subtype /Image ", true), V{}) << "two names in a row";
  EXPECT_EQ(pairs("7 0 R ", true), V{}) << "a number with no name";
  EXPECT_EQ(pairs("/Width 10 /Height 20 ", true), V{}) << "a number that is no reference";
}

TEST(DictLookup, OverlongListsStayInsideTheScratch) {
  std::string s = "[";
  for (int k = 1; k <= GLOBAL_NN_TMP_COUNT + 5; k++) s += std::to_string(k) + " 0 R ";
  LogCapture log(39);
  LoadedDoc doc(s + "]", false);
  EXPECT_EQ(extract_obj_from_buffer(0, len(s.c_str()) + 1), GLOBAL_NN_TMP_COUNT);
  EXPECT_EQ(nn_global_tmp[GLOBAL_NN_TMP_COUNT - 1].number, GLOBAL_NN_TMP_COUNT);
  EXPECT_NE(find(log.text(), "rest dropped"), -1);
}

TEST(DictLookup, ByteArrayForms) {
  std::vector<int64_t> a;
  for (char c : std::string("/Font 5 0 R /F12 ")) a.push_back(c);
  EXPECT_EQ(dict_search(a.data(), static_cast<int>(a.size()), font_seq, 4), 1);
  EXPECT_EQ(dict_search(a.data(), static_cast<int>(a.size()), kids_seq, 4), 0) << "0, not -1";
  EXPECT_EQ(dict_search(a.data(), 3, font_seq, 4), 0) << "the compare stays inside the length";
  EXPECT_EQ(dict_find_key_value(a.data(), static_cast<int>(a.size()), font_seq, 4), 0);
  LoadedDoc doc("", false);
  EXPECT_EQ(extract_obj_from_dict_value(a.data(), static_cast<int>(a.size())), 1);
  EXPECT_STREQ(nn_global_tmp[0].name, "/Font");
  EXPECT_EQ(nn_global_tmp[0].number, 5);
}
