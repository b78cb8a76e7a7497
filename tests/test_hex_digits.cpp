// tests/test_hex_digits.cpp -- the hex digit readers: single digits and digit groups of every
// count, including the packed two- and three-character forms and their short padding.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "fonts/fonts.h"

using namespace pdftest;

namespace {

int hex_of(const std::string& digits) {
  std::vector<int64_t> a(digits.begin(), digits.end());
  a.push_back(0);
  return get_hex(a.data(), static_cast<int>(digits.size()));
}

TEST(HexDigits, OneDigit) {
  struct Row { int c; int want; const char* why; } rows[] = {
      {'0', 0, "first digit"}, {'9', 9, "last decimal digit"}, {'A', 10, "upper case"},
      {'f', 15, "lower case"}, {'F', 15, "upper F"}, {'G', 0, "past F is not a digit"},
      {'/', 0, "below 0"}, {0, 0, "terminator"}, {-5, 0, "negative"}};
  for (const Row& r : rows) EXPECT_EQ(get_hex_one_digit(r.c), r.want) << r.why;
}

TEST(HexDigits, Groups) {
  struct Row { std::string digits; int want; const char* why; } rows[] = {
      {"41", 0x41, "two digits are one byte"},
      {"ff", 255, "lower-case byte"},
      {"0041", 0x41, "four digits"},
      {"FFFF", 65535, "largest group"},
      {"00A0", 0xA0, "no-break space code"},
      {"0G41", 0x41, "a bad digit counts as 0"},
      {"00410042", 1065066, "two packed characters 1AAABBB"},
      {"00660069", 1102105, "fi packed"},
      {"00410000", 1065000, "second byte 0"},
      {"01410042", 0, "8 digits not zero-padded"},
      {"004100420043", 1065066067, "three packed characters"},
      {"006600660069", 1102102105, "ffi packed"},
      {"000900410042", 109065066, "a byte below 10 takes two places only"},
      {"000100020003", 1010203, "all bytes below 10: seven digits"},
      {"104100420043", 0, "12 digits not zero-padded"},
      {"414", 0, "three digits are no group"},
      {"", 0, "empty"},
      {"004100", 0, "six digits"},
      {"D800DC00", 0, "a surrogate pair is not zero-padded"}};
  for (const Row& r : rows) EXPECT_EQ(hex_of(r.digits), r.want) << r.digits << ": " << r.why;
}

TEST(HexDigits, TwelveDigitsAlwaysLog) {
  LogCapture log(9);
  hex_of("104100420043");
  hex_of("004100420043");
  std::string text = log.text();
  std::string line = "DEBUG: pdf_parser - found a long 12 digit hex - special encoding applied.\n";
  ASSERT_NE(find(text, line), -1);
  EXPECT_NE(find(text.substr(find(text, line) + line.size()), line), -1) << "one line per call";
}

}  // namespace
