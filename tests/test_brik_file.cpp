// tests/test_brik_file.cpp -- the brik file sink: the record's exact bytes, appending across
// calls, the headlines given to short image briks, and the CMYK mark.
#include <filesystem>

#include "suite.h"

namespace {

char account[] = "acct", library[] = "lib", stamp[] = "Sat Nov 21 06:00:00 2026", file_name[] = "out.txt";

struct SinkFixture {
  LoadedDoc doc{"%PDF-1.7\n", false};
  std::string work = make_temp_dir("brik_file");
  SinkFixture() {
    global_image_fp = const_cast<char*>(work.c_str());
    GLOBAL_GET_HEADER_TEXT = 1;
    strcpy(my_doc.author, "Ann Author");
    strcpy(my_doc.file_name, "a.pdf");
    strcpy(my_doc.created_date, "2026-01-01");
    strcpy(my_doc.modified_date, "2026-01-02");
    strcpy(my_doc.creator_tool, "maker");
  }
  ~SinkFixture() { std::filesystem::remove_all(work); }
  std::string file() const { return read_file(work + file_name); }
  int write(int start, int stop, int doc_id, int brik_id) {
    return write_to_file(start, stop, account, library, doc_id, brik_id, stamp, file_name);
  }
};

void set_brik(int k, const char* type, const char* text, const char* header, int sub_index) {
  BrikRecord* b = &Briks[k];
  strcpy(b->content_type, type);
  brik_text_set(&b->text, text, strlen(text));
  brik_text_set(&b->header_text, header, strlen(header));
  b->sub_index = sub_index;
  b->master_index = b->coords_cx = 3;
  b->coords_x = 72;
  b->coords_y = -5;
  b->coords_cy = 7;
}

TEST(BrikFile, OneRecordByteForByte) {
  SinkFixture sink;
  set_brik(0, "text", "Hello, <world>\nline two", "Head", 7);
  EXPECT_EQ(sink.write(0, 1, 4, 20), 21);
  const std::string expected =
      "\n<block_ID>: 20,\n<doc_ID>: 4,\n<content_type>: text,\n<file_type>: pdf,\n<master_index>: 4,"
      "\n<master_index2>: 0,\n<coords_x>: 72,\n<coords_y>: -5,\n<coords_cx>: 3,\n<coords_cy>: 7,"
      "\n<author_or_speaker>: Ann Author,\n<added_to_collection>: Sat Nov 21 06:00:00 2026,\n<file_source>: a.pdf,"
      "\n<table>: ,\n<modified_date>: 2026-01-02,\n<created_date>: 2026-01-01,\n<creator_tool>: maker,"
      "\n<external_files>: ,\n<text>: Hello, <world>\nline two,\n<header_text>: Head,"
      "\n<text_search>: Hello, <world>\nline two,\n<user_tags>: ,\n<special_field1>: ,\n<special_field2>: ,"
      "\n<special_field3>: ,\n<graph_status>: false\n<dialog>: false<END_BLOCK>\n";
  EXPECT_EQ(sink.file(), expected);
}

TEST(BrikFile, AppendsAcrossCallsAndCountsFromBrikId) {
  SinkFixture sink;
  EXPECT_EQ(sink.write(0, 0, 0, 9), 9);
  EXPECT_EQ(fopen((sink.work + file_name).c_str(), "r") != nullptr, true) << "an empty range still makes the file";
  set_brik(0, "text", "a", "", 0);
  set_brik(1, "text", "b", "", 1);
  EXPECT_EQ(sink.write(0, 2, 0, 0), 2);
  EXPECT_EQ(sink.write(0, 2, 0, 2), 4);
  std::string f = sink.file();
  EXPECT_NE(find(f, "<block_ID>: 3,"), -1);
  EXPECT_EQ(find(f, "<block_ID>: 4,"), -1);
  EXPECT_EQ(find(f, "<END_BLOCK>\n\n<block_ID>: 1,"), find(f, "<END_BLOCK>"));
}

TEST(BrikFile, ShortImageBriksTakeTheHeadlines) {
  struct { const char* type; const char* text; const char* header; int sub_index, get_header;
           const char* text_search; const char* header_out; const char* flag; const char* why; } rows[] = {
      {"image", "123456789", "", 0, 1, "123456789Big Title ", " Big Title ", "", "9 bytes: headlines with no blank"},
      {"image", "1234567890", "", 0, 1, "1234567890", "", "", "10 bytes: nothing changes"},
      {"image", "abc", "1234567890123456789", 0, 1, "abcBig Title ", "1234567890123456789 Big Title ", "", "19-byte header grows"},
      {"image", "abc", "12345678901234567890", 0, 1, "abcBig Title ", "12345678901234567890", "", "20-byte header stays"},
      {"image", "abc", "", -3, 1, "abcBig Title ", " Big Title ", "CMYK_FLAG", "the CMYK mark"},
      {"image", "abc", "", 0, 0, "abcBig Title ", "", "", "header off leaves the header alone"},
      {"text", "abc", "", -3, 1, "abc", "", "", "text briks get neither headlines nor the mark"}};
  for (const auto& r : rows) {
    SinkFixture sink;
    GLOBAL_GET_HEADER_TEXT = r.get_header;
    strcpy(global_headlines, "Big Title ");
    set_brik(0, r.type, r.text, r.header, r.sub_index);
    sink.write(0, 1, 0, 0);
    std::string f = sink.file();
    EXPECT_NE(find(f, std::string("\n<text>: ") + r.text + ",\n<header_text>: " + r.header_out + ",\n<text_search>: " +
                      r.text_search + ",\n"), -1) << r.why;
    EXPECT_NE(find(f, std::string("\n<special_field3>: ") + r.flag + ",\n"), -1) << r.why;
    EXPECT_STREQ(Briks[0].header_text, r.header_out) << "the header change is made in Briks";
  }
  GLOBAL_GET_HEADER_TEXT = 1;
}

}  // namespace
