// tests/test_object_streams.cpp -- inflation of one stream, and object streams unpacked into
// hidden objects behind the file's bytes; the catalog search among them in the document builder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "run/run_state.h"

using namespace pdftest;

static std::string text_of(int start, int stop) { return get_string_from_buffer(start, stop + 1); }

// Inflates object `number` of the loaded document as the page loop does; the result's text, or
// "<fail>". Frees the result.
static std::string inflate_object(int number, int* length = nullptr) {
  get_obj(number);
  int n = flate_handler_buffer_v2(global_tmp_obj.stream_start, global_tmp_obj.stop);
  if (length) *length = n;
  std::string out = n < 0 ? "<fail>" : std::string(reinterpret_cast<char*>(flate_dst_tmp_buffer), n);
  if (n >= 0) {
    for (int k = 0; k < 16; k++) EXPECT_EQ(flate_dst_tmp_buffer[n + k], 0) << "guard bytes";
  }
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  return out;
}

static std::string raw_stream_object(int number, const std::string& gap, const std::string& data) {
  return std::to_string(number) + " 0 obj<</Filter/FlateDecode>>" + gap + data + "\nendstream\nendobj\n";
}

TEST(Flate, StreamKeywordAndLineEnds) {
  std::string z = deflate_bytes("BT (hi) Tj ET");
  struct Row { std::string gap; std::string want; const char* why; };
  const Row rows[] = {
      {"stream\n", "BT (hi) Tj ET", ""},
      {"stream\r\n", "BT (hi) Tj ET", "two line-end bytes are passed over"},
      {"\n\n\n\n\n\n\n\n\n\n\nstream\n", "BT (hi) Tj ET", "keyword 12 bytes after the dictionary's end"},
      {"\n\n\n\n\n\n\n\n\n\n\n\n\nstream\n", "<fail>", "more than 12: inflation starts on the wrong bytes"},
  };
  for (const Row& r : rows) {
    LoadedDoc doc("%PDF-1.7\n" + raw_stream_object(5, r.gap, z));
    EXPECT_EQ(inflate_object(5), r.want) << r.why;
  }
}

TEST(Flate, FailuresAreMinusOneWithADebugLine) {
  PdfWriter w;
  w.add_stream(5, "", "plain bytes, not deflated", false);
  LoadedDoc doc(w.build(Xref::none));
  LogCapture log(9);
  EXPECT_EQ(inflate_object(5), "<fail>");
  EXPECT_EQ(find(log.text(), "DEBUG:  pdf_parser - inflate problem (may be small or large impact - likely to "
                             "result in some content missing in file)- err-0-ret-"), 0);
  EXPECT_EQ(flate_handler_buffer_v2(-1, -1), -1) << "a missing object";
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
}

// A document with object stream 50 holding `members`, loaded, with the stream unpacked.
struct UnpackedStream {
  explicit UnpackedStream(const std::vector<std::pair<int, std::string>>& members, bool flate = true)
      : doc(PdfWriter().add_object_stream(50, members, flate).build(Xref::none)) {
    get_obj(50);
    result = objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop);
  }
  LoadedDoc doc;
  int result = 0;
};

TEST(ObjectStreams, MembersBecomeHiddenObjects) {
  UnpackedStream s({{20, "<</Type/Font/A 1>>"}, {21, "[1 2 3]"}, {22, "<</B<</C 2>>>>"}});
  EXPECT_EQ(s.result, 3);
  EXPECT_EQ(global_obj_counter, 4);
  EXPECT_EQ(flate_dst_tmp_buffer, nullptr) << "freed before it returns";
  ASSERT_EQ(get_obj(20), 1);
  EXPECT_EQ(global_tmp_obj.hidden, 1);
  EXPECT_EQ(global_tmp_obj.generation, 0);
  EXPECT_EQ(global_tmp_obj.start, s.doc.file_length) << "copied right behind the file";
  EXPECT_EQ(text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop), "<</Type/Font/A 1>>");
  EXPECT_EQ(global_tmp_obj.stream_start, global_tmp_obj.dict_stop + 1);
  ASSERT_EQ(get_obj(21), 2);
  EXPECT_EQ(text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop), "[1 2 3] ") << "no dictionary";
  ASSERT_EQ(get_obj(22), 3);
  EXPECT_EQ(text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop), "<</B<</C 2>>>")
      << "\">>>>\" closes twice from its first three bytes";
  EXPECT_EQ(global_buffer_cursor, global_tmp_obj.stop + 1);
}

TEST(ObjectStreams, ScannedObjectBeatsHiddenOne) {
  PdfWriter w;
  w.add(20, "<</Scanned 1>>");
  w.add_object_stream(50, {{20, "<</Hidden 1>>"}});
  LoadedDoc doc(w.build(Xref::none));
  get_obj(50);
  EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), 1);
  get_obj(20);
  EXPECT_EQ(text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop), "<</Scanned 1>>");
}

TEST(ObjectStreams, LastObjectIsCut) {
  {
    UnpackedStream small({{5, "[" + std::string(38, 'a') + "]"}, {6, "<<" + std::string(296, 'b') + ">>"}});
    EXPECT_EQ(small.result, 2);
    get_obj(6);
    EXPECT_EQ(global_tmp_obj.stop - global_tmp_obj.start + 1, 301) << "up to the end of the data";
  }

  UnpackedStream big({{7, "<</Big (" + std::string(12000, 'x') + ")>>"}});
  get_obj(7);
  EXPECT_EQ(global_tmp_obj.stop - global_tmp_obj.start + 1, 10000) << "a last object keeps 10000 bytes";
  EXPECT_EQ(global_tmp_obj.dict_stop, global_tmp_obj.stop) << "its >> was cut off";
}

TEST(ObjectStreams, OddHeaders) {
  struct Row { std::string data; int added; const char* why; };
  const Row rows[] = {
      {"<</A 1>>", 0, "no header: zero objects"},
      {"5 0 6 40<</A 1>>", 2, "a number right before < is dropped; the missing offset gives no bytes"},
      {"5 2147483647 6 0 <</A 1>>", 2, "an offset at the int limit is held at the data's end"},
  };
  for (const Row& r : rows) {
    PdfWriter w;
    w.add_stream(50, "/Type/ObjStm", r.data);
    LoadedDoc doc(w.build(Xref::none));
    get_obj(50);
    EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), r.added) << r.why;
  }
}

TEST(ObjectStreams, UninflatableStreamIsMinusOne) {
  LogCapture log(10);
  UnpackedStream s({{20, "<</A 1>>"}}, false);
  EXPECT_EQ(s.result, -1);
  EXPECT_EQ(global_obj_counter, 1);
  EXPECT_EQ(log.text(),
            "DEBUG:  pdf_parser - objstm_handler - no stream found - could not decompress Flate ObjStm- skipping. \n");
}

TEST(ObjectStreams, BytesPastTheBufferAreDropped) {
  PdfWriter w;
  w.add_object_stream(50, {{20, "<</A 1>>"}, {21, "<</B 2>>"}});
  LoadedDoc doc(w.build(Xref::none));
  get_obj(50);
  global_buffer_cursor = buffer_capacity - 4;
  LogCapture log(39);
  EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), 2);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer) + buffer_capacity - 4, 4), "<</A");
  EXPECT_NE(find(log.text(), "bytes dropped"), -1);
  get_obj(21);
  const int32_t key_b[] = {'B'};
  EXPECT_EQ(dict_search_buffer(global_tmp_obj.dict_start, global_tmp_obj.dict_stop, key_b, 1), -1)
      << "look-ups past the end find nothing";
}

TEST(ObjectStreams, CounterLimitKeepsTheLastRecordInvisible) {
  PdfWriter w;
  w.add_object_stream(50, {{20, "<</A 1>>"}, {21, "<</B 2>>"}, {22, "<</C 3>>"}});
  LoadedDoc doc(w.build(Xref::none));
  get_obj(50);
  global_obj_counter = 199997;
  LogCapture log(39);
  EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), 1);
  EXPECT_EQ(global_obj_counter, 199998);
  EXPECT_EQ(get_obj(20), 199997);
  EXPECT_EQ(get_obj(21), -1) << "written at 199998 and overwritten, never counted";
  EXPECT_EQ(get_obj(22), -1);
  std::string line = "WARNING: pdf_parser - global obj counter exceeeded MAX - 200,000 objects- unusual case - ";
  std::string text = log.text();
  int lines = 0;
  for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) lines++;
  EXPECT_EQ(lines, 3) << "once for each object past 199000";
}

// ---- through the document builder ----


TEST(ObjectStreams, CatalogOnlyInsideAStreamIsFoundByTheFallback) {
  PdfWriter w;
  w.add(3, "<</Type/Metadata/Subtype/XML/Length 60>>\nstream\n<xmp:CreatorTool>Writer 1.0</xmp:CreatorTool>\nendstream");
  w.add_object_stream(50, {{1, "<</Type/Catalog/Pages 2 0 R/Metadata 3 0 R>>"}, {2, "<</Type/Pages/Kids[]/Count 0>>"}});
  LogCapture log(9);
  EXPECT_EQ(run_pdf_builder(w.build(Xref::broken)), 0);
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - unusual_case - success OK - found Catalog Dict in ObjStm - "
                             "<</Type/Catalog/Pages 2 0 R/Metadata 3 0 R> \n"), -1)
      << "the text reader stops before the span's last byte";
  EXPECT_STREQ(my_doc.creator_tool, "Writer 1.0") << "metadata is read from the hidden catalog";
}

TEST(ObjectStreams, OneGoodOneBadStreamSkipsTheFallback) {
  PdfWriter w;
  w.add_object_stream(50, {{1, "<</Type/Catalog/Pages 2 0 R>>"}});
  w.add_object_stream(51, {{2, "<</Type/Pages/Kids[]/Count 0>>"}}, false);
  LogCapture log(49);
  EXPECT_EQ(run_pdf_builder(w.build(Xref::sound)), -1) << "hidden_count is 1 - 1 = 0";
  EXPECT_EQ(log.text(), "ERROR: pdf_parser - catalog not found - unusual - exiting and returning error code - "
                        "can not process further. \n");
}
