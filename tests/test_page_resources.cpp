// tests/test_page_resources.cpp -- the page resource pass on crafted pages: content lists,
// inline and referenced /Resources, Form XObject fonts, image lists and their cap, the font
// records and their page lists, the 999 rule of is_new_font and the long-name rule.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "doc_fixture.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "run/run_state.h"

using namespace pdftest;

namespace {

// A writer with a catalog and a page tree over the given page objects.
PdfWriter with_pages(const std::vector<int>& pages) {
  PdfWriter w;
  std::string kids;
  for (int p : pages) kids += std::to_string(p) + " 0 R ";
  w.add(1, "<< /Type /Catalog /Pages 2 0 R >>");
  w.add(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages.size()) + " >>");
  return w;
}

// Loads the document and runs the pass over the pages, in order.
struct PassRun {
  LoadedDoc doc;
  PassRun(const PdfWriter& w, const std::vector<int>& pages) : doc(w.build()) {
    for (size_t i = 0; i < pages.size(); i++) Pages[i].page_obj = pages[i];
    global_page_count = static_cast<int>(pages.size());
    page_resource_handler(0);
  }
};

std::string font_list() {
  std::string s;
  for (int i = 0; i < global_font_count; i++) {
    const FontRecord& f = Font_CMAP[i];
    s += std::string(f.font_name) + "=" + std::to_string(f.font_obj) + "[";
    for (int k = 0; k < f.page_count; k++) s += (k ? "," : "") + std::to_string(f.page_list[k]);
    s += "] ";
  }
  return s;
}

std::string image_list(int page) {
  std::string s;
  for (int i = 0; i < Pages[page].image_count; i++) {
    s += std::string(Pages[page].image_name[i]) + "=" + std::to_string(Pages[page].image_obj[i]) + " ";
  }
  return s;
}

const char* kImage = "<< /Type /XObject /Subtype /Image /Width 10 /Height 10 >>";

TEST(PageResources, InlineResourcesWithFont) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Parent 2 0 R /Resources << /Font << /F1 3 0 R /F2 4 0 R >> >> "
            "/Contents [11 0 R 12 0 R] >>");
  PassRun run(w, {10});
  EXPECT_EQ(Pages[0].content_count, 2);
  EXPECT_EQ(Pages[0].content_obj[0], 11);
  EXPECT_EQ(Pages[0].content_obj[1], 12);
  EXPECT_EQ(font_list(), "/F1=3[0] /F2=4[0] ");
  EXPECT_EQ(Pages[0].image_count, 0);
}

TEST(PageResources, ReferencedResources) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Parent 2 0 R /Resources 20 0 R /Contents 11 0 R >>");
  w.add(20, "<< /Font << /F1 3 0 R >> /XObject << /Im1 30 0 R /Im2 31 0 R >> >>");
  w.add(30, kImage);
  w.add(31, kImage);
  PassRun run(w, {10});
  EXPECT_EQ(Pages[0].content_count, 1);
  EXPECT_EQ(font_list(), "/F1=3[0] ");
  EXPECT_EQ(image_list(0), "/Im1=30 /Im2=31 ");
}

TEST(PageResources, ReferencedFontDictionary) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources 20 0 R /Contents 11 0 R >>");
  w.add(20, "<< /Font 21 0 R >>");
  w.add(21, "<< /F7 3 0 R /F8 4 0 R >>");
  PassRun run(w, {10});
  EXPECT_EQ(font_list(), "/F7=3[0] /F8=4[0] ") << "a Font value that is a reference is followed";
}

TEST(PageResources, FormXObjectFonts) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources << /XObject << /Fm1 40 0 R >> >> /Contents 11 0 R >>");
  w.add_stream(40, "/Type /XObject /Subtype /Form /Resources << /Font << /F9 5 0 R >> >>", "BT ET");
  PassRun run(w, {10});
  EXPECT_EQ(font_list(), "/F9=5[0] ") << "fonts of a Form XObject are the page's";
  EXPECT_EQ(image_list(0), "/Fm1=40 ") << "the Form itself is in the image list";
}

TEST(PageResources, IndirectXObjectDictionary) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources << /XObject 25 0 R /Font << /F1 3 0 R >> >> /Contents 11 0 R >>");
  w.add(25, "<< /Im0 30 0 R >>");
  w.add(30, kImage);
  PassRun run(w, {10});
  // 25 holds neither XObject nor Form, so it is read as a dictionary of XObjects: pair j of
  // the new list (/Im0) is looked up, and its dictionary has an XObject key.
  EXPECT_EQ(image_list(0), "/Im0=30 ");
  EXPECT_EQ(font_list(), "/F1=3[0] ");
}

TEST(PageResources, FontInALongerKeyTakesThePageFontPath) {
  // "Font" inside /FontFoo is found in the page span, so the page's Font value " 1 " is read as
  // a bare reference: object 1 (the catalog) has no Font key and is read as a font dictionary,
  // and the referenced /Resources are never looked at.
  PdfWriter w = with_pages({10, 12});
  w.add(10, "<< /Type /Page /FontFoo 1 /Resources 20 0 R /Contents 11 0 R >>");
  w.add(12, "<< /Type /Page /Parent 2 0 R /Contents 13 0 R >>");
  w.add(20, "<< /Font << /F1 3 0 R >> >>");
  PassRun run(w, {10, 12});
  EXPECT_EQ(font_list(), "/Type=2[0] ") << "the catalog's first pair became a font of page 0";
  EXPECT_EQ(Pages[1].image_count, 0) << "a page with no resources of its own has none";
}

TEST(PageResources, ResourceWalkThatTurnsBackEnds) {
  // The image copy of a resource dictionary sets the walk's index back to the image count.
  // Here object 24 is met at index 4 each time round and sends the walk back to index 1, so the
  // walk would never end; it stops after its turn limit and says so.
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources [20 0 R 21 0 R 22 0 R 23 0 R 24 0 R] /Contents 11 0 R >>");
  w.add(20, "<< /XObject << /Im1 30 0 R /Im2 31 0 R /Im3 32 0 R >> >>");
  w.add(24, "<< /XObject << /ImA 33 0 R >> >>");
  for (int k = 21; k <= 23; k++) w.add(k, "<< /ProcSet [/PDF] >>");
  for (int k = 30; k <= 33; k++) w.add(k, kImage);
  LogCapture log(39);
  PassRun run(w, {10});
  EXPECT_NE(find(log.text(), "WARNING: pdf_parser - page resources walk stopped - too many turns - 0 \n"), -1);
  EXPECT_EQ(image_list(0), "/ImA=33 ") << "the last XObject list read has the last word";
}

TEST(PageResources, FontsAcrossPages) {
  PdfWriter w = with_pages({10, 12, 14, 16});
  w.add(10, "<< /Type /Page /Resources << /Font << /F1 3 0 R >> >> /Contents 11 0 R >>");
  w.add(12, "<< /Type /Page /Resources << /Font << /F1 3 0 R >> >> /Contents 13 0 R >>");
  w.add(14, "<< /Type /Page /Resources << /Font << /F1 3 0 R /F1 3 0 R >> >> /Contents 15 0 R >>");
  w.add(16, "<< /Type /Page /Resources << /Font << /F1 6 0 R >> >> /Contents 17 0 R >>");
  PassRun run(w, {10, 12, 14, 16});
  EXPECT_EQ(font_list(), "/F1=3[0,1,2,2] /F1=6[3] ")
      << "one record per name and object; a font named twice on a page lists it twice";
}

TEST(PageResources, RecordNineNineNineIsNeverShared) {
  std::string fonts;
  for (int i = 0; i < 1000; i++) fonts += "/F" + std::to_string(i) + " " + std::to_string(100 + i) + " 0 R ";
  PdfWriter w = with_pages({10, 12});
  w.add(10, "<< /Type /Page /Resources << /Font << " + fonts + ">> >> /Contents 11 0 R >>");
  w.add(12, "<< /Type /Page /Resources << /Font << /F5 105 0 R /F999 1099 0 R >> >> /Contents 13 0 R >>");
  PassRun run(w, {10, 12});
  EXPECT_EQ(global_font_count, 1001);
  EXPECT_EQ(Font_CMAP[5].page_count, 2) << "record 5 is shared";
  EXPECT_EQ(Font_CMAP[999].page_count, 1) << "a match at 999 reads as not found";
  EXPECT_STREQ(Font_CMAP[1000].font_name, "/F999");
  EXPECT_EQ(Font_CMAP[1000].page_list[0], 1);
  EXPECT_EQ(is_new_font(const_cast<char*>("/F5"), 105), 5);
  EXPECT_EQ(is_new_font(const_cast<char*>("/F5"), 106), 999) << "the object must match too";
}

TEST(PageResources, LongFontNames) {
  std::string name50(49, 'N'), name51(50, 'N');
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources << /Font << /" + name50 + " 3 0 R /" + name51 +
                " 4 0 R >> >> /Contents 11 0 R >>");
  LogCapture log(39);
  PassRun run(w, {10});
  EXPECT_EQ(global_font_count, 1) << "a name of 51 characters is dropped on the direct path";
  EXPECT_EQ(std::string(Font_CMAP[0].font_name), "/" + name50);
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - unusual - font name too long - can not save - 51 \n"), -1);
}

TEST(PageResources, ImageCap) {
  for (int count : {499, 500}) {
    PdfWriter w = with_pages({10});
    std::string xo;
    for (int i = 0; i < count; i++) {
      xo += "/Im" + std::to_string(i) + " " + std::to_string(1000 + i) + " 0 R ";
      w.add(1000 + i, kImage);
    }
    w.add(10, "<< /Type /Page /Resources << /Font << /F1 3 0 R >> /XObject << " + xo + ">> >> /Contents 11 0 R >>");
    LogCapture log(39);
    PassRun run(w, {10});
    EXPECT_EQ(Pages[0].image_count, 499) << count;
    bool warned = find(log.text(), "WARNING: pdf_parser - found more than 500 images on single page - capping page- 500 \n") != -1;
    EXPECT_EQ(warned, count == 500) << count;
    EXPECT_STREQ(Pages[0].image_name[498], "/Im498");
  }
}

TEST(PageResources, MissingPagesAndContents) {
  PdfWriter w = with_pages({10, 12});
  w.add(12, "<< /Type /Page /Contents /None >>");
  LoadedDoc doc(w.build());
  Pages[0].page_obj = 10;
  Pages[0].content_count = 7;
  Pages[1].page_obj = 12;
  Pages[1].content_count = 3;
  global_page_count = 2;
  LogCapture log(9);
  page_resource_handler(0);
  EXPECT_EQ(Pages[0].content_count, 7) << "a missing page is not touched";
  EXPECT_EQ(Pages[1].content_count, 3) << "Contents with no reference keeps the count";
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - problem page - unusual - 0 - page not found. \n"), -1);
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - page - no content found - "), -1);
  EXPECT_EQ(global_font_count, 0);
}

TEST(PageResources, LongPageDictionary) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Junk (" + std::string(100000, 'x') + ") /Resources << /Font << /F1 3 0 R >> >> /Contents 11 0 R >>");
  LogCapture log(9);
  PassRun run(w, {10});
  EXPECT_NE(find(log.text(), "DEBUG:  pdf_parser - page dictionary mis-mapping - "), -1);
  EXPECT_EQ(Pages[0].content_count, 1);
  EXPECT_EQ(font_list(), "/F1=3[0] ");
}

TEST(PageResources, ClearsMapCountsAndLogsMasterList) {
  PdfWriter w = with_pages({10});
  w.add(10, "<< /Type /Page /Resources << /Font << /F1 3 0 R >> >> /Contents 11 0 R >>");
  LogCapture log(9);
  PassRun run(w, {10});
  EXPECT_EQ(Font_CMAP[0].cmap_count, 0);
  EXPECT_NE(find(log.text(), "DEBUG: FONT MASTER LIST-0-/F1-3-1-/F1 \n"), -1);
  EXPECT_NE(find(log.text(), "DEBUG: pdf_parser - global font count- 1 \n"), -1);
}

}  // namespace
