// tests/test_object_list.cpp -- the byte scan for "obj ... endobj" and the look-up by number.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "doc_fixture.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "run/run_state.h"

using namespace pdftest;

static const std::string kHead = "%PDF-1.7\n";

static std::string text_of(int start, int stop) { return get_string_from_buffer(start, stop + 1); }

TEST(ObjectList, EndobjNeedsOneMoreByte) {
  std::string body = kHead + "7 0 obj\n<</A 1>>\nendobj";
  { LoadedDoc doc(body); EXPECT_EQ(doc.master_count, 0) << "no byte after endobj: not recorded"; }
  { LoadedDoc doc(body + "\n"); EXPECT_EQ(doc.master_count, 1); }
}

TEST(ObjectList, RecordSpans) {
  LoadedDoc doc(kHead + "1 0 obj<</A<</B 1>>>>endobj\n7 0 obj 42 endobj\n");
  ASSERT_EQ(doc.master_count, 2);
  const ObjectRecord& a = obj[0];
  EXPECT_EQ(a.number, 1);
  EXPECT_EQ(a.generation, 0);
  EXPECT_EQ(a.start, 16) << "body of \"%PDF-1.7\\n1 0 obj\" is 16";
  EXPECT_EQ(text_of(a.dict_start, a.dict_stop), "<</A<</B 1>>>>") << "depth 2: the outer close ends it";
  EXPECT_EQ(a.stream_start, a.dict_stop);
  EXPECT_EQ(a.hidden, 0);
  const ObjectRecord& b = obj[1];
  EXPECT_EQ(b.number, 7);
  EXPECT_EQ(b.dict_start, b.start) << "no dictionary";
  EXPECT_EQ(b.dict_stop, b.stop);
  EXPECT_EQ(b.stream_start, -1);
  EXPECT_EQ(text_of(b.start, b.stop), " 42 ");
}

TEST(ObjectList, NumberWindowQuirks) {
  struct Row { std::string bytes; int number, generation; const char* why; };
  const Row rows[] = {
      {kHead + "12 0 obj<<>>endobj ", 12, 0, ""},
      {kHead + "12  0 obj<<>>endobj ", 12, -1, "two blanks move on past the generation"},
      {kHead + "99\n3 0 obj<<>>endobj ", 99, 3, "earlier digits within reach are taken"},
      {kHead + "xxxxxxxxxx1234567890 0 obj<<>>endobj ", 567890, 0, "only 12 bytes: first digits lost"},
      {kHead + "obj<<>>endobj ", -1, -1, "no number at all"},
      {kHead + "1 0 obj<<>>endobj 2 0 obj<<>>endobj ", 1, 0, "the second starts after the first's stop"},
  };
  for (const Row& r : rows) {
    LoadedDoc doc(r.bytes);
    ASSERT_GE(doc.master_count, 1) << r.why;
    EXPECT_EQ(obj[0].number, r.number) << r.why;
    EXPECT_EQ(obj[0].generation, r.generation) << r.why;
  }
  LoadedDoc doc(kHead + "1 0 obj<<>>endobj 2 0 obj<<>>endobj ");
  EXPECT_EQ(obj[1].number, 2);
}

TEST(ObjectList, FalseOpenings) {
  struct Row { std::string bytes; int count; const char* why; };
  const Row rows[] = {
      {kHead + "/Subtype/Form xobj endobj ", 1, "\"xobj\" outside an object opens one"},
      {kHead + "1 0 obj<<>>endobj endobj 2 0 obj<<>>endobj ", 2,
       "a stray endobj opens an object that swallows the next one"},
      {kHead + "1 0 obj<</Type/ObjStm>>endobj ", 1, "ObjStm does not open one"},
      {kHead + "1 0 obj<</L 5>>stream\nendobj\nendstream\nendobj\n2 0 obj<<>>endobj ", 2,
       "endobj inside a stream ends the object; the real one swallows the next"},
  };
  for (const Row& r : rows) {
    LoadedDoc doc(r.bytes);
    EXPECT_EQ(doc.master_count, r.count) << r.why;
  }
}

TEST(ObjectList, UnclosedDictionaryCarriesOver) {
  // in_dict stays set after an object whose dictionary never closed, so a ">>" in the next
  // object closes a dictionary that never opened there.
  LoadedDoc doc(kHead + "1 0 obj<</A 1 endobj 2 0 obj 5 >> endobj ");
  ASSERT_EQ(doc.master_count, 2);
  EXPECT_EQ(obj[0].stream_start, -1);
  EXPECT_EQ(obj[1].dict_start, obj[1].start);
  EXPECT_EQ(text_of(obj[1].dict_stop - 1, obj[1].dict_stop), ">>");
}

TEST(ObjectList, GetObjTakesTheFirstMatch) {
  LoadedDoc doc(kHead + "5 0 obj<</V 1>>endobj 5 1 obj<</V 2>>endobj obj<</V 3>>endobj obj<</V 4>>endobj ");
  ASSERT_EQ(doc.master_count, 4);
  EXPECT_EQ(get_obj(5), 0) << "the earlier one wins; the generation is ignored";
  EXPECT_EQ(text_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop), "<</V 1>>");
  EXPECT_EQ(get_obj(-1), 2) << "-1 finds the first unreadable number";
  EXPECT_EQ(get_obj(6), -1);
  EXPECT_EQ(global_tmp_obj.number, -1);
  EXPECT_EQ(global_tmp_obj.generation, 0);
  EXPECT_EQ(global_tmp_obj.dict_start, -1);
  EXPECT_EQ(global_tmp_obj.dict_stop, -1);
  EXPECT_EQ(global_tmp_obj.stream_start, -1);
}

TEST(ObjectList, GetObjFollowsAListFilledByHand) {
  LoadedDoc doc(kHead + "1 0 obj<<>>endobj 2 0 obj<<>>endobj ");
  EXPECT_EQ(get_obj(2), 1);
  obj[1].number = 1;  // the last entry rewritten in place, same count
  EXPECT_EQ(get_obj(2), -1);
  obj[1].number = 2;
  obj[2] = ObjectRecord{9, 0, 1, 2, 1, 2, -1, 1};
  obj[3] = ObjectRecord{1, 0, 3, 4, 3, 4, -1, 1};
  EXPECT_EQ(get_obj(9), -1) << "not counted yet";
  obj[0].number = 7;
  global_obj_counter = 4;
  EXPECT_EQ(get_obj(9), 2);
  EXPECT_EQ(get_obj(7), 0);
  EXPECT_EQ(get_obj(1), 3) << "the scanned object 1 was renumbered, so the hidden one is first";
  global_obj_counter = 1;
  EXPECT_EQ(get_obj(9), -1);
}

TEST(ObjectList, BrokenOrMissingXrefScansTheSame) {
  PdfWriter w = simple_text_pdf({text_lines_content({"a"}), text_lines_content({"b"})});
  std::vector<std::string> seen[3];
  Xref kinds[3] = {Xref::sound, Xref::broken, Xref::missing};
  for (int k = 0; k < 3; k++) {
    LoadedDoc doc(w.build(kinds[k]));
    for (int i = 0; i < doc.master_count; i++) {
      seen[k].push_back(std::to_string(obj[i].number) + " " + text_of(obj[i].dict_start, obj[i].dict_stop));
    }
  }
  EXPECT_EQ(seen[0].size(), 7u) << "catalog, font, root, two pages, two contents";
  EXPECT_EQ(seen[1], seen[0]);
  EXPECT_EQ(seen[2], seen[0]);
}

TEST(ObjectList, CapEndsTheWalkWithOneWarning) {
  std::string bytes = kHead;
  for (int k = 0; k < GLOBAL_MAX_OBJ; k++) bytes += "1 0 obj endobj\n";
  bytes += "2 0 obj endobj\n";
  LogCapture log(39);
  LoadedDoc doc(bytes);
  EXPECT_EQ(doc.master_count, GLOBAL_MAX_OBJ);
  EXPECT_EQ(get_obj(2), -1) << "objects past the cap do not exist";
  EXPECT_EQ(log.text(), "WARNING:  pdf_parser - too many objects in file -  unusual - exceeding cap-200000 \n");
}

TEST(ObjectList, ThousandPageScanAndLookUpsAreFast) {
  std::vector<std::string> pages(1000, text_lines_content({"x"}));
  std::string bytes = simple_text_pdf(pages, 10).build(Xref::sound);
  auto t0 = std::chrono::steady_clock::now();
  LoadedDoc doc(bytes);
  for (int k = 0; k < 1000; k++) ASSERT_GE(get_obj(10 + 2 * k), 0);
  double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
#ifndef __SANITIZE_ADDRESS__
  EXPECT_LT(ms, 200.0);  // an instrumented build is slower; the bound holds for plain builds
#endif
  printf("scan of %d objects and 1000 look-ups: %.2f ms\n", doc.master_count, ms);
}
