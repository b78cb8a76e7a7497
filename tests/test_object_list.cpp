// tests/test_object_list.cpp -- the byte scan for "obj ... endobj", the look-up by number, the
// inflation of one stream, and object streams unpacked into hidden objects behind the file.
#include <memory>

#include "suite.h"

namespace {

const std::string kHead = "%PDF-1.7\n";

std::string text_of(int start, int stop) { return get_string_from_buffer(start, stop + 1); }
std::string dict_of(int number) { return get_obj(number) < 0 ? "<none>" : text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop); }

TEST(ObjectList, RecordSpans) {
  LoadedDoc doc(kHead + "1 0 obj<</A<</B 1>>>>endobj\n7 0 obj 42 endobj\n");
  ASSERT_EQ(doc.master_count, 2);
  const ObjectRecord &a = obj[0], &b = obj[1];
  EXPECT_EQ(std::vector<int>({a.number, a.generation, a.start, a.hidden, b.number, b.stream_start}),
            std::vector<int>({1, 0, 16, 0, 7, -1}));
  EXPECT_EQ(text_of(a.dict_start, a.dict_stop), "<</A<</B 1>>>>") << "depth 2: the outer close ends it";
  EXPECT_EQ(a.stream_start, a.dict_stop);
  EXPECT_EQ(text_of(b.dict_start, b.dict_stop), " 42 ") << "no dictionary: the whole body";
}

TEST(ObjectList, NumbersAndFalseOpenings) {
  struct { std::string bytes; int count, number, generation; const char* why; } rows[] = {
      {"7 0 obj\n<</A 1>>\nendobj", 0, 0, 0, "no byte after endobj: not recorded"},
      {"12 0 obj<<>>endobj ", 1, 12, 0, ""}, {"12  0 obj<<>>endobj ", 1, 12, -1, "two blanks move past the generation"},
      {"99\n3 0 obj<<>>endobj ", 1, 99, 3, "earlier digits within reach are taken"},
      {"xxxxxxxxxx1234567890 0 obj<<>>endobj ", 1, 567890, 0, "only 12 bytes: first digits lost"},
      {"obj<<>>endobj ", 1, -1, -1, "no number at all"}, {"/Subtype/Form xobj endobj ", 1, -1, -1, "xobj opens one"},
      {"1 0 obj<<>>endobj endobj 2 0 obj<<>>endobj ", 2, 1, 0, "a stray endobj opens one that swallows the next"},
      {"1 0 obj<</Type/ObjStm>>endobj ", 1, 1, 0, "ObjStm does not open one"},
      {"1 0 obj<</L 5>>stream\nendobj\nendstream\nendobj\n2 0 obj<<>>endobj ", 2, 1, 0,
       "endobj inside a stream ends the object; the real one swallows the next"}};
  for (auto& r : rows) {
    LoadedDoc doc(kHead + r.bytes);
    EXPECT_EQ(doc.master_count, r.count) << r.why;
    if (r.count) { EXPECT_EQ(obj[0].number * 10 + obj[0].generation, r.number * 10 + r.generation) << r.why; }
  }
  // in_dict stays set after a dictionary that never closed: ">>" in the next object closes one.
  LoadedDoc doc(kHead + "1 0 obj<</A 1 endobj 2 0 obj 5 >> endobj ");
  EXPECT_EQ(obj[0].stream_start, -1);
  EXPECT_EQ(obj[1].dict_start, obj[1].start);
  EXPECT_EQ(text_of(obj[1].dict_stop - 1, obj[1].dict_stop), ">>");
}

TEST(ObjectList, GetObjTakesTheFirstMatchWithinTheCount) {
  LoadedDoc doc(kHead + "5 0 obj<</V 1>>endobj 5 1 obj<</V 2>>endobj obj<</V 3>>endobj obj<</V 4>>endobj ");
  EXPECT_EQ(get_obj(5), 0) << "the earlier one wins; the generation is ignored";
  EXPECT_EQ(get_obj(-1), 2) << "-1 finds the first unreadable number";
  EXPECT_EQ(get_obj(6), -1);
  EXPECT_EQ(std::vector<int>({global_tmp_obj.number, global_tmp_obj.generation, global_tmp_obj.dict_start,
                              global_tmp_obj.dict_stop, global_tmp_obj.stream_start}),
            std::vector<int>({-1, 0, -1, -1, -1}));
  obj[0].number = 1;
  obj[3].number = 9;  // rewritten in place, same count
  EXPECT_EQ(get_obj(5), 1);
  EXPECT_EQ(get_obj(9), 3);
  obj[4] = ObjectRecord{8, 0, 1, 2, 1, 2, -1, 1};
  EXPECT_EQ(get_obj(8), -1) << "not counted yet";
  global_obj_counter = 5;
  EXPECT_EQ(get_obj(8), 4);
  global_obj_counter = 1;
  EXPECT_EQ(get_obj(9), -1);
}

TEST(ObjectList, TheCapEndsTheWalk) {
  std::string bytes = kHead;
  for (int k = 0; k < GLOBAL_MAX_OBJ; k++) bytes += "1 0 obj endobj\n";
  LogCapture log(39);
  LoadedDoc doc(bytes + "2 0 obj endobj\n");
  EXPECT_EQ(doc.master_count, GLOBAL_MAX_OBJ);
  EXPECT_EQ(get_obj(2), -1) << "objects past the cap do not exist";
  EXPECT_EQ(log.text(), "WARNING:  pdf_parser - too many objects in file -  unusual - exceeding cap-200000 \n");
}

// Inflates object `number` as the page loop does: the text, or "<fail>".
std::string inflate_object(int number) {
  get_obj(number);
  int n = flate_handler_buffer_v2(global_tmp_obj.stream_start, global_tmp_obj.stop);
  std::string out = n < 0 ? "<fail>" : std::string(reinterpret_cast<char*>(flate_dst_tmp_buffer), n);
  for (int k = 0; n >= 0 && k < 16; k++) EXPECT_EQ(flate_dst_tmp_buffer[n + k], 0) << "guard bytes";
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  return out;
}

TEST(Flate, StreamKeywordLineEndsAndFailures) {
  std::string z = deflate_bytes("BT (hi) Tj ET");
  struct { std::string gap, want; const char* why; } rows[] = {
      {"stream\r\n", "BT (hi) Tj ET", "two line-end bytes are passed over"},
      {std::string(11, '\n') + "stream\n", "BT (hi) Tj ET", "keyword 12 bytes after the dictionary's end"},
      {std::string(13, '\n') + "stream\n", "<fail>", "more than 12: inflation starts on the wrong bytes"}};
  for (auto& r : rows) {
    LoadedDoc doc(kHead + "5 0 obj<</Filter/FlateDecode>>" + r.gap + z + "\nendstream\nendobj\n");
    EXPECT_EQ(inflate_object(5), r.want) << r.why;
  }
  // Streams the one-call inflation refuses go through zlib's inflate, which decides as before.
  std::string bad_check = z;
  bad_check.back() ^= 1;
  for (const std::string& body : {bad_check, z.substr(0, z.size() - 4)}) {
    LoadedDoc doc(kHead + "5 0 obj<</Filter/FlateDecode>>stream\n" + body + "\nendstream\nendobj\n");
    EXPECT_EQ(inflate_object(5), "<fail>") << "a wrong or missing check value";
  }
  LoadedDoc doc(PdfWriter().add_stream(5, "", "plain bytes, not deflated", false).build(Xref::none));
  LogCapture log(9);
  EXPECT_EQ(inflate_object(5), "<fail>");
  EXPECT_EQ(find(log.text(), "DEBUG:  pdf_parser - inflate problem (may be small or large impact - likely to "
                             "result in some content missing in file)- err-0-ret-"), 0);
  EXPECT_EQ(flate_handler_buffer_v2(-1, -1), -1) << "a missing object";
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
}

// Loads `w` into `doc` (after freeing the one before) and unpacks its object stream 50.
int unpack(const PdfWriter& w, std::unique_ptr<LoadedDoc>& doc) {
  doc.reset();
  doc.reset(new LoadedDoc(w.build(Xref::none)));
  get_obj(50);
  return objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop);
}

TEST(ObjectStreams, MembersBecomeHiddenObjects) {
  std::unique_ptr<LoadedDoc> doc;
  PdfWriter w;
  w.add(23, "<</Scanned 1>>").add_object_stream(50, {{20, "<</Type/Font/A 1>>"}, {21, "[1 2 3]"}, {22, "<</B<</C 2>>>>"},
                                                     {23, "<</Hidden 1>>"}});
  EXPECT_EQ(unpack(w, doc), 4);
  EXPECT_EQ(global_obj_counter, 6);
  EXPECT_EQ(flate_dst_tmp_buffer, nullptr) << "freed before it returns";
  ASSERT_EQ(get_obj(20), 2);
  EXPECT_EQ(global_tmp_obj.hidden * 10 + global_tmp_obj.generation, 10);
  EXPECT_EQ(global_tmp_obj.start, doc->file_length) << "copied right behind the file";
  EXPECT_EQ(global_tmp_obj.stream_start, global_tmp_obj.dict_stop + 1);
  EXPECT_EQ(dict_of(20), "<</Type/Font/A 1>>");
  EXPECT_EQ(dict_of(21), "[1 2 3] ") << "no dictionary";
  EXPECT_EQ(dict_of(22), "<</B<</C 2>>>") << "\">>>>\" closes twice from its first three bytes";
  EXPECT_EQ(dict_of(23), "<</Scanned 1>>") << "a scanned object beats a hidden one";
}

TEST(ObjectStreams, LastObjectIsCutAndOddHeaders) {
  std::unique_ptr<LoadedDoc> doc;
  EXPECT_EQ(unpack(PdfWriter().add_object_stream(50, {{5, "[" + std::string(38, 'a') + "]"}, {6, "<<" + std::string(296, 'b') + ">>"}}), doc), 2);
  get_obj(6);
  EXPECT_EQ(global_tmp_obj.stop - global_tmp_obj.start + 1, 301) << "up to the end of the data";
  unpack(PdfWriter().add_object_stream(50, {{7, "<</Big (" + std::string(12000, 'x') + ")>>"}}), doc);
  get_obj(7);
  EXPECT_EQ(global_tmp_obj.stop - global_tmp_obj.start + 1, 10000) << "a last object keeps 10000 bytes";
  EXPECT_EQ(global_tmp_obj.dict_stop, global_tmp_obj.stop) << "its >> was cut off";
  struct { std::string data; int added; const char* why; } rows[] = {
      {"<</A 1>>", 0, "no header: zero objects"},
      {"5 0 6 40<</A 1>>", 2, "a number right before < is dropped; the missing offset gives no bytes"},
      {"5 2147483647 6 0 <</A 1>>", 2, "an offset at the int limit is held at the data's end"}};
  for (auto& r : rows) EXPECT_EQ(unpack(PdfWriter().add_stream(50, "/Type/ObjStm", r.data), doc), r.added) << r.why;
  LogCapture log(10);
  EXPECT_EQ(unpack(PdfWriter().add_object_stream(50, {{20, "<</A 1>>"}}, false), doc), -1);
  EXPECT_EQ(global_obj_counter, 1);
  EXPECT_EQ(log.text(), "DEBUG:  pdf_parser - objstm_handler - no stream found - could not decompress Flate ObjStm- skipping. \n");
}

TEST(ObjectStreams, BufferAndCounterLimits) {
  PdfWriter w;
  w.add_object_stream(50, {{20, "<</A 1>>"}, {21, "<</B 2>>"}, {22, "<</C 3>>"}});
  {
    LoadedDoc doc(w.build(Xref::none));
    get_obj(50);
    global_buffer_cursor = buffer_capacity - 4;
    LogCapture log(39);
    EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer) + buffer_capacity - 4, 4), "<</A");
    EXPECT_NE(find(log.text(), "bytes dropped"), -1);
    get_obj(21);
    const int32_t key_b[] = {'B'};
    EXPECT_EQ(dict_search_buffer(global_tmp_obj.dict_start, global_tmp_obj.dict_stop, key_b, 1), -1)
        << "look-ups past the end find nothing";
  }
  LoadedDoc doc(w.build(Xref::none));
  get_obj(50);
  global_obj_counter = 199997;
  LogCapture log(39);
  EXPECT_EQ(objstm_handler(global_tmp_obj.stream_start, global_tmp_obj.stop), 1);
  EXPECT_EQ(global_obj_counter, 199998);
  EXPECT_EQ(get_obj(20), 199997);
  EXPECT_EQ(get_obj(21) + get_obj(22), -2) << "written at 199998 and overwritten, never counted";
  std::string line = "WARNING: pdf_parser - global obj counter exceeeded MAX - 200,000 objects- unusual case - ";
  EXPECT_EQ(count_of(log.text(), line), 3) << "once for each object past 199000";
}

}  // namespace
