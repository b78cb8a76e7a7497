// tests/test_page_resources.cpp -- the page resource pass on crafted pages: content lists, inline
// and referenced /Resources, Form XObject fonts, image lists and their cap, the font records and
// their page lists, the 999 rule of is_new_font and the long-name rule.
#include "suite.h"

namespace {

const char* kImage = "<< /Type /XObject /Subtype /Image /Width 10 /Height 10 >>";

// Pages 10, 12, ... with the given bodies (numbers past the list are missing), a catalog and a
// tree, and the extra objects; loads them and runs the pass.
struct PassRun {
  LoadedDoc doc;
  static std::string build(const std::vector<std::string>& pages, PdfWriter w) {
    std::string kids;
    for (size_t i = 0; i < pages.size(); i++) {
      kids += std::to_string(10 + 2 * i) + " 0 R ";
      if (!pages[i].empty()) w.add(10 + 2 * static_cast<int>(i), "<< /Type /Page " + pages[i] + " >>");
    }
    w.add(1, "<< /Type /Catalog /Pages 2 0 R >>").add(2, "<< /Type /Pages /Kids [" + kids + "] >>");
    return w.build();
  }
  PassRun(const std::vector<std::string>& pages, const PdfWriter& w = {}, int preset_contents = 0)
      : doc(build(pages, w)) {
    for (size_t i = 0; i < pages.size(); i++) {
      Pages[i].page_obj = 10 + 2 * static_cast<int>(i);
      Pages[i].content_count = preset_contents;
    }
    global_page_count = static_cast<int>(pages.size());
    page_resource_handler(0);
  }
};

std::string fonts() {
  std::string s;
  for (int i = 0; i < global_font_count; i++) {
    const FontRecord& f = Font_CMAP[i];
    s += std::string(f.font_name) + "=" + std::to_string(f.font_obj) + "[";
    for (int k = 0; k < f.page_count; k++) s += (k ? "," : "") + std::to_string(f.page_list[k]);
    s += "] ";
  }
  return s;
}

std::string images(int page = 0) {
  std::string s;
  for (int i = 0; i < Pages[page].image_count; i++)
    s += std::string(Pages[page].image_name[i]) + "=" + std::to_string(Pages[page].image_obj[i]) + " ";
  return s;
}

TEST(PageResources, WhereFontsAndImagesAreFound) {
  PdfWriter w;
  w.add(20, "<< /Font << /F1 3 0 R >> /XObject << /Im1 30 0 R /Im2 31 0 R >> >>").add(30, kImage).add(31, kImage);
  w.add(21, "<< /Font 22 0 R >>").add(22, "<< /F7 3 0 R /F8 4 0 R >>");
  w.add_stream(40, "/Type /XObject /Subtype /Form /Resources << /Font << /F9 5 0 R >> >>", "BT ET");
  w.add(25, "<< /Im0 30 0 R >>");
  struct { std::string page, fonts, images; int contents; const char* why; } rows[] = {
      {"/Resources << /Font << /F1 3 0 R /F2 4 0 R >> >> /Contents [11 0 R 12 0 R]", "/F1=3[0] /F2=4[0] ", "", 2, "inline"},
      {"/Resources 20 0 R /Contents 11 0 R", "/F1=3[0] ", "/Im1=30 /Im2=31 ", 1, "referenced resources"},
      {"/Resources 21 0 R /Contents 11 0 R", "/F7=3[0] /F8=4[0] ", "", 1, "a Font value that is a reference is followed"},
      {"/Resources << /XObject << /Fm1 40 0 R >> >>", "/F9=5[0] ", "/Fm1=40 ", 0,
       "fonts of a Form XObject are the page's; the Form itself is in the image list"},
      // 25 holds neither XObject nor Form, so it is read as a dictionary of XObjects.
      {"/Resources << /XObject 25 0 R /Font << /F1 3 0 R >> >>", "/F1=3[0] ", "/Im0=30 ", 0, "indirect XObject dictionary"}};
  for (auto& r : rows) {
    PassRun run({r.page}, w);
    EXPECT_EQ(fonts(), r.fonts) << r.why;
    EXPECT_EQ(images(), r.images) << r.why;
    EXPECT_EQ(Pages[0].content_count, r.contents) << r.why;
  }
  PassRun both({"/Resources << /Font << /F1 3 0 R >> >> /Contents [11 0 R 12 0 R]"});
  EXPECT_EQ(Pages[0].content_obj[0] * 100 + Pages[0].content_obj[1], 1112);
}

TEST(PageResources, FontInALongerKeyTakesThePageFontPath) {
  // "Font" inside /FontFoo is found in the page span, so " 1 " is read as a bare reference:
  // object 1 (the catalog) is read as a font dictionary, the /Resources are never looked at.
  PdfWriter w;
  w.add(20, "<< /Font << /F1 3 0 R >> >>");
  PassRun run({"/FontFoo 1 /Resources 20 0 R /Contents 11 0 R", "/Parent 2 0 R /Contents 13 0 R"}, w);
  EXPECT_EQ(fonts(), "/Type=2[0] ") << "the catalog's first pair became a font of page 0";
  EXPECT_EQ(Pages[1].image_count, 0);
}

TEST(PageResources, ResourceWalkThatTurnsBackEnds) {
  // The image copy of a resource dictionary sets the walk's index back to the image count: object
  // 24, met at index 4 each time round, sends the walk back to index 1, so it stops at its limit.
  PdfWriter w;
  w.add(20, "<< /XObject << /Im1 30 0 R /Im2 31 0 R /Im3 32 0 R >> >>").add(24, "<< /XObject << /ImA 33 0 R >> >>");
  for (int k = 21; k <= 23; k++) w.add(k, "<< /ProcSet [/PDF] >>");
  for (int k = 30; k <= 33; k++) w.add(k, kImage);
  LogCapture log(39);
  PassRun run({"/Resources [20 0 R 21 0 R 22 0 R 23 0 R 24 0 R] /Contents 11 0 R"}, w);
  EXPECT_EQ(log.text(), "WARNING: pdf_parser - page resources walk stopped - too many turns - 0 \n");
  EXPECT_EQ(images(), "/ImA=33 ") << "the last XObject list read has the last word";
}

TEST(PageResources, FontRecordsAcrossPages) {
  PassRun run({"/Resources << /Font << /F1 3 0 R >> >>", "/Resources << /Font << /F1 3 0 R >> >>",
               "/Resources << /Font << /F1 3 0 R /F1 3 0 R >> >>", "/Resources << /Font << /F1 6 0 R >> >>"});
  EXPECT_EQ(fonts(), "/F1=3[0,1,2,2] /F1=6[3] ") << "one record per name and object; named twice, listed twice";
  std::string many;
  for (int i = 0; i < 1000; i++) many += "/F" + std::to_string(i) + " " + std::to_string(100 + i) + " 0 R ";
  PassRun big({"/Resources << /Font << " + many + ">> >>", "/Resources << /Font << /F5 105 0 R /F999 1099 0 R >> >>"});
  EXPECT_EQ(global_font_count, 1001);
  EXPECT_EQ(Font_CMAP[5].page_count, 2) << "record 5 is shared";
  EXPECT_EQ(Font_CMAP[999].page_count, 1) << "a match at 999 reads as not found";
  EXPECT_EQ(std::string(Font_CMAP[1000].font_name) + std::to_string(Font_CMAP[1000].page_list[0]), "/F9991");
  EXPECT_EQ(is_new_font(const_cast<char*>("/F5"), 105), 5);
  EXPECT_EQ(is_new_font(const_cast<char*>("/F5"), 106), 999) << "the object must match too";
}

TEST(PageResources, LimitsAndOddPages) {
  std::string name50(49, 'N'), name51(50, 'N');
  {
    LogCapture log(9);
    PassRun run({"/Resources << /Font << /" + name50 + " 3 0 R /" + name51 + " 4 0 R >> >> /Contents 11 0 R"});
    EXPECT_EQ(fonts(), "/" + name50 + "=3[0] ") << "a name of 51 characters is dropped";
    Font_CMAP[0].cmap_count = 5;
    page_resource_handler(0);
    EXPECT_EQ(Font_CMAP[0].cmap_count, 0) << "the pass empties the maps of the records it lists";
    std::string text = log.text();
    EXPECT_NE(find(text, "DEBUG:  pdf_parser - unusual - font name too long - can not save - 51 \n"), -1);
    EXPECT_NE(find(text, "DEBUG: FONT MASTER LIST-0-/" + name50 + "-3-1-/" + name50 + " \n"), -1);
    EXPECT_NE(find(text, "DEBUG: pdf_parser - global font count- 1 \n"), -1);
  }
  for (int count : {499, 500}) {
    PdfWriter w;
    std::string xo;
    for (int i = 0; i < count; i++) {
      xo += "/Im" + std::to_string(i) + " " + std::to_string(1000 + i) + " 0 R ";
      w.add(1000 + i, kImage);
    }
    LogCapture log(39);
    PassRun run({"/Resources << /XObject << " + xo + ">> >> /Contents 11 0 R"}, w);
    EXPECT_EQ(Pages[0].image_count, 499) << count;
    EXPECT_STREQ(Pages[0].image_name[498], "/Im498");
    EXPECT_EQ(log.text() == "WARNING: pdf_parser - found more than 500 images on single page - capping page- 500 \n",
              count == 500) << count;
  }
  LogCapture log(9);
  PassRun run({"", "/Contents /None", "/Junk (" + std::string(100000, 'x') + ") /Resources << /Font << /F1 3 0 R >> >> /Contents 11 0 R"},
              {}, 7);
  EXPECT_EQ(Pages[0].content_count, 7) << "a missing page is not touched";
  EXPECT_EQ(Pages[1].content_count, 7) << "Contents with no reference keeps the count";
  EXPECT_EQ(Pages[2].content_count, 1);
  EXPECT_EQ(fonts(), "/F1=3[2] ") << "a long page dictionary is read all the same";
  for (const char* line : {"DEBUG:  pdf_parser - problem page - unusual - 0 - page not found. \n",
                           "DEBUG: pdf_parser - page - no content found - ", "DEBUG:  pdf_parser - page dictionary mis-mapping - "})
    EXPECT_NE(find(log.text(), line), -1) << line;
}

}  // namespace
