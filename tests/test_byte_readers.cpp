// tests/test_byte_readers.cpp -- texts and numbers lifted out of buffer spans and byte arrays.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "objects/objects.h"

using namespace pdftest;

static std::vector<int64_t> byte_array(const std::string& s) {
  std::vector<int64_t> a(s.begin(), s.end());
  a.push_back(0);
  return a;
}

TEST(ByteReaders, IntFromBuffer) {
  struct Row { const char* bytes; int start, stop, want; const char* why; };
  const Row rows[] = {
      {"12 0 R", 0, 5, 120, "blanks are dropped, not an end: 120R"},
      {"12\n/Kids", 0, 8, 12, "a line end stops atoi"},
      {"\n12", 0, 2, 12, "a leading line end is skipped by atoi"},
      {"  7", 0, 2, 7, "leading blanks vanish"},
      {"abc", 0, 2, 0, "text that is not empty but reads nothing is 0"},
      {"5", 0, 0, 5, "the stop itself is read"},
      {"5", 3, 1, -1, "stop below start: nothing collected"},
  };
  for (const Row& r : rows) {
    LoadedDoc doc(r.bytes, false);
    EXPECT_EQ(get_int_from_buffer(r.start, r.stop), r.want) << r.why;
  }
  {
    LoadedDoc doc(std::string("\0" "9", 2), false);
    EXPECT_EQ(get_int_from_buffer(0, 1), -1) << "a zero byte at the start ends the walk";
  }
  LoadedDoc far(std::string(60, '1'), false);
  EXPECT_EQ(get_int_from_buffer(0, 59), get_int_from_buffer(0, 50)) << "at most 51 positions are read";
}

TEST(ByteReaders, StringFromBuffer) {
  LoadedDoc doc(std::string("ab\0c\xE9 d", 7), false);
  EXPECT_STREQ(get_string_from_buffer(0, 7), "abc\xE9 d") << "zero bytes vanish, high bytes stay";
  EXPECT_STREQ(get_string_from_buffer(0, 2), "ab") << "the stop is excluded";
  EXPECT_STREQ(get_string_from_buffer(5, 5), "");
  EXPECT_STREQ(get_string_from_buffer(5, 2), "");
  EXPECT_STREQ(get_string_from_buffer(-1, -1), "") << "the span of a missing object";
}

TEST(ByteReaders, StringFromBufferIsCutAndStaysInside) {
  LoadedDoc doc(std::string(300000, 'x'), false);
  EXPECT_EQ(strlen(get_string_from_buffer(0, 300000)), 250000u);
  EXPECT_EQ(strlen(get_string_from_buffer(buffer_capacity - 10, buffer_capacity + 100)), 0u)
      << "positions past the buffer read as nothing (the room behind the file is zero)";
}

TEST(ByteReaders, ByteArrays) {
  auto empty = byte_array("");
  EXPECT_EQ(get_int_from_byte_array(empty.data()), -1) << "empty is -1, not 0";
  auto spaced = byte_array(" 4 2");
  EXPECT_EQ(get_int_from_byte_array(spaced.data()), 42) << "blanks are dropped";
  auto long_number = byte_array(std::string(60, '9'));
  auto cut = byte_array(std::string(45, '9'));
  EXPECT_EQ(get_int_from_byte_array(long_number.data()), get_int_from_byte_array(cut.data()))
      << "read only as far as 45 characters";
  auto f = byte_array("-1.5");
  EXPECT_FLOAT_EQ(get_float_from_byte_array(f.data()), -1.5f);
  EXPECT_FLOAT_EQ(get_float_from_byte_array(empty.data()), 0.0f);

  std::vector<int64_t> text = {'/', 'F', 0, '1', 0x141};
  EXPECT_STREQ(get_string_from_byte_array(text.data(), 5), "/F1A") << "0 adds nothing; low byte";
  EXPECT_STREQ(get_string_from_byte_array(text.data(), 2), "/F");
  std::vector<int64_t> many(12000, 'a');
  EXPECT_EQ(strlen(get_string_from_byte_array(many.data(), 12000)), 10000u);
}
