// tests/test_images.cpp -- the page image pass, the handlers and nearby_text: crafted documents
// through pdf_builder with images on, PNGs read back pixel for pixel, raw files against the PDF's
// bytes, Form XObjects and the flush at capacity.
#include <png.h>
#include <unistd.h>

#include "images/images.h"
#include "suite.h"

namespace {

struct ImageRun {
  int result;
  std::string folder, briks;
  bool has(const std::string& name) const { return access((folder + name).c_str(), F_OK) == 0; }
};

// pdf_builder on `bytes` with the globals a folder entry with image saving on would set.
ImageRun run_images(const std::string& bytes, int image_save = 1) {
  GLOBAL_BRIK_SIZE = 400;
  global_time_stamp = const_cast<char*>("t");
  global_image_save_on = image_save;
  global_ccitt_image_save_on = global_png_convert_on = 1;
  IMG_MIN_HEIGHT = IMG_MIN_WIDTH = 5;
  IMG_MIN_HxW = 250;
  master_doc_tracker = master_image_tracker = master_brik_tracker = 0;
  int result = run_pdf_builder(bytes);
  global_image_save_on = -1;
  std::string folder = global_image_fp;
  return ImageRun{result, folder, read_file(folder + "briks.txt")};
}

std::string samples(int n, int salt = 0, bool invert = false) {
  std::string s(n, '\0');
  for (int i = 0; i < n; i++) s[i] = static_cast<char>((i * 7 + i / 3 + salt) ^ (invert ? 0xFF : 0));
  return s;
}

struct Img {
  std::string dict;  // between /Subtype/Image and /Length
  std::string data;  // the stream's bytes as they stand in the file
  bool placed = true;
  std::string after = "\n";  // line end after "stream"
};

// One page: /F1 text, then images 20.. as /Im0.., placed by Do at x 100 + 50k, y 300.
PdfWriter image_page(const std::vector<Img>& images, const std::string& extra_xobjects = "",
                     const std::string& extra_content = "") {
  PdfWriter w = simple_text_pdf({""});
  w.objects.erase(w.objects.begin() + 3, w.objects.end());  // the page and its stream, made anew
  std::string xobjects, content = text_lines_content({"Hello images"});
  for (size_t k = 0; k < images.size(); k++) {
    const Img& im = images[k];
    int n = 20 + static_cast<int>(k);
    xobjects += "/Im" + std::to_string(k) + " " + std::to_string(n) + " 0 R";
    if (im.placed) content += "q 1 0 0 1 " + std::to_string(100 + 50 * k) + " 300 cm /Im" + std::to_string(k) + " Do Q\n";
    w.add(n, "<</Type/XObject/Subtype/Image" + im.dict + "/Length " + std::to_string(im.data.size()) +
                 ">>\nstream" + im.after + im.data + "\nendstream");
  }
  w.add(10, "<</Type/Page/Parent 2 0 R/Resources<</Font<</F1 3 0 R>>/XObject<<" + xobjects + extra_xobjects +
                ">>>>/Contents 11 0 R>>");
  w.add_stream(11, "", content + extra_content);
  return w;
}

// A PNG's samples in its own layout, or "" when it can not be read.
std::string png_samples(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return "";
  std::string out(PNG_IMAGE_SIZE(image), '\0');
  if (!png_image_finish_read(&image, nullptr, &out[0], 0, nullptr)) return "";
  return out;
}

// The record of the brik file that names `file` in its external_files.
std::string record_of(const std::string& briks, const std::string& file) {
  size_t at = briks.find("<external_files>: " + file + ",");
  if (at == std::string::npos) return "";
  size_t begin = briks.rfind("<block_ID>", at), end = briks.find("<END_BLOCK>", at);
  return briks.substr(begin, end - begin);
}

const std::string kRgb = samples(20 * 16 * 3), kGrey = samples(20 * 16);
const std::string kWH = "/Width 20/Height 16", kFlate = "/Filter/FlateDecode";

}  // namespace

TEST(ImagePass, EachFilterGivesItsFileAndBrik) {
  // expect: the PNG's samples, or the raw file before "\nendstream"; lines: lines of the image's record.
  struct Row { const char* why; Img img; int result; const char* file = ""; std::string expect = "";
               std::vector<std::string> lines = {}; int unhandled = 0; };
  const std::string deflated = deflate_bytes(kRgb), kCmyk = "/ColorSpace/DeviceCMYK", kDct = "/Filter/DCTDecode";
  const std::vector<Row> rows = {
      {"RGB by length", {kWH + kFlate, deflated}, 2, "image0_0.png", kRgb,
       {"<coords_x>: 100,", "<coords_y>: 300,", "<coords_cx>: 16,", "<coords_cy>: 20,", "<table>: ,"}},
      {"grey with the CMYK mark is complemented", {kWH + kCmyk + kFlate, deflate_bytes(kGrey)}, 2, "image0_0.png",
       samples(20 * 16, 0, true), {"<special_field3>: ,"}},
      {"RGB with the CMYK mark keeps its bytes", {kWH + kCmyk + kFlate, deflated}, 2, "image0_0.png", kRgb},
      {"four components fit no layout: 0 still counts", {kWH + kFlate, deflate_bytes(samples(1280))}, 2},
      {"uniform image dropped", {kWH + kFlate, deflate_bytes(std::string(320, '\xff'))}, 2},
      {"inflate that ends early", {kWH + kFlate, deflated.substr(0, deflated.size() / 2)}, 2},
      {"Flate and DCT: a PNG named .jpg", {kWH + "/Filter[/FlateDecode/DCTDecode]", deflated}, 2, "image0_0.jpg", kRgb},
      {"Flate at 10 x 25 (product 250) is exported, grey", {"/Width 25/Height 10" + kFlate, deflate_bytes(samples(250))},
       2, "image0_0.png", samples(250)},
      {"Flate of height 5 is not tried", {"/Width 100/Height 5" + kFlate, deflate_bytes(samples(500))}, 1},
      {"Flate 6 x 41 (246) is not tried", {"/Width 41/Height 6" + kFlate, deflate_bytes(samples(246))}, 1},
      {"DCT of 250 bytes kept, no size test", {"/Width 2/Height 2" + kDct, samples(240)}, 2, "image0_0.jpg",
       samples(240), {"<coords_cx>: 2,", "<coords_cy>: 2,"}},
      {"DCT of 249 bytes: result 0", {kDct, samples(239)}, 2},
      {"DCT with CR LF", {kDct, samples(300), true, "\r\n"}, 2, "image0_0.jpg", samples(300)},
      {"DCT with LF LF", {kDct, samples(300), true, "\n\n"}, 2, "image0_0.jpg", samples(300)},
      {"data that starts with LF loses it", {kDct, "\n" + samples(300)}, 2, "image0_0.jpg", samples(300)},
      {"CMYK JPEG", {kCmyk + kDct, samples(300)}, 2, "image0_0.jpg", samples(300), {"<special_field3>: CMYK_FLAG,"}},
      {"CCITT raw in .tiff", {kWH + "/Filter/CCITTFaxDecode", samples(300)}, 2, "image0_0.tiff", samples(300),
       {"<coords_cx>: 16,", "<coords_cy>: 20,"}, 1},
      {"CCITT 10 x 25 fails the strict product", {"/Width 25/Height 10/Filter/CCITTFaxDecode", samples(300)}, 1, "", "", {}, 1},
      {"JPX takes its place from the entry at image_slot", {kWH + "/Filter/JPXDecode", samples(300)}, 2, "image0_0.jpx",
       samples(300), {"<coords_x>: 0,", "<coords_cx>: 0,"}},
      {"JBIG2 only counted", {kWH + "/Filter/JBIG2Decode", samples(300)}, 1, "", "", {}, 1},
      {"no filter", {kWH, kGrey}, 1},
      {"unplaced image on a page with text is passed over", {kWH + kFlate, deflated, false}, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    ImageRun run = run_images(image_page({row.img}).build());
    EXPECT_EQ(run.result, row.result);
    EXPECT_EQ(global_unhandled_img_counter, row.unhandled);
    for (const char* name : {"image0_0.png", "image0_0.jpg", "image0_0.tiff", "image0_0.jpx", "image0_0.jbig"}) {
      EXPECT_EQ(run.has(name), std::string(name) == row.file) << name;
    }
    if (!row.file[0]) continue;
    std::string png = png_samples(run.folder + row.file), record = record_of(run.briks, row.file);
    EXPECT_EQ(png.empty() ? read_file(run.folder + row.file) : png, png.empty() ? row.expect + "\nendstream" : row.expect);
    for (const std::string& line : row.lines) EXPECT_NE(record.find("\n" + line), std::string::npos) << line;
  }
}

TEST(ImagePass, FormTextAndMixedImages) {
  // Form 40 holds a Flate image, one with no filter (taken as Flate: the kind carries over, and
  // its result 0 counts), a DCT image, and a 3 x 3 DCT image that fails the size test and counts
  // by the result left from the one before.
  Img page_image{kWH + kFlate, deflate_bytes(kRgb)};
  PdfWriter w = image_page({page_image}, "/Fm0 40 0 R", "q /Fm0 Do Q\n");
  w.add_stream(40, "/Subtype/Form/Resources<</Font<</F1 3 0 R>>/XObject<</Im5 30 0 R/Im6 31 0 R/Im7 32 0 R/Im8 33 0 R>>>>",
               text_lines_content({"Form words here, long enough to make a brik of their own rather than a short tail "
                                  "that the brik cutter hands back to an earlier brik."}));
  w.add_stream(30, "/Subtype/Image" + kWH, samples(960, 1));
  w.add_stream(31, "/Subtype/Image" + kWH, kGrey, false);
  w.add_stream(32, "/Subtype/Image/Width 30/Height 10/Filter/DCTDecode", samples(300), false);
  w.add_stream(33, "/Subtype/Image/Width 3/Height 3/Filter/DCTDecode", samples(300, 5), false);
  ImageRun run = run_images(w.build());
  EXPECT_EQ(run.result, 7);  // page text, form text, page image, four form images
  EXPECT_EQ(png_samples(run.folder + "image0_0.png"), kRgb);
  EXPECT_EQ(png_samples(run.folder + "image0_1.png"), samples(960, 1));
  EXPECT_TRUE(run.has("image0_2.jpg"));
  EXPECT_FALSE(run.has("image0_3.jpg"));
  EXPECT_NE(run.briks.find("Form words here"), std::string::npos);
  EXPECT_NE(record_of(run.briks, "image0_1.png").find("<coords_x>: 0,\n<coords_y>: 0,"), std::string::npos);

  ImageRun off = run_images(w.build(), -1);  // images off: no form text either
  EXPECT_EQ(off.result, 1);
  EXPECT_EQ(off.briks.find("Form words here"), std::string::npos);
  EXPECT_FALSE(off.has("image0_0.png"));
}

TEST(ImagePass, FlushAtCapacityInsideTheHandler) {
  // Three pages without text, 400 unplaced DCT entries each: all are exported with the OCR mark;
  // the handler flushes at brik 1010 with the moment's time; the end of the document flushes the
  // other 190 with the run's stamp.
  PdfWriter w = simple_text_pdf({"", "", ""});
  std::string list;
  for (int k = 0; k < 400; k++) list += "/Im" + std::to_string(k) + " 20 0 R";
  for (int p = 0; p < 3; p++) w.objects[3 + 2 * p].second = std::to_string(10 + 2 * p) +
      " 0 obj\n<</Type/Page/Parent 2 0 R/Resources<</XObject<<" + list + ">>>>>>\nendobj\n";
  w.add_stream(20, "/Type/XObject/Subtype/Image/Filter/DCTDecode", samples(300), false);
  ImageRun run = run_images(w.build());
  EXPECT_EQ(run.result, 1200);
  EXPECT_TRUE(run.has("image0_1199.jpg"));
  EXPECT_EQ(count_of(run.briks, "<END_BLOCK>"), 1200);
  EXPECT_NE(run.briks.find("<block_ID>: 1199,"), std::string::npos);
  EXPECT_EQ(count_of(run.briks, "<added_to_collection>: t,"), 190);
  EXPECT_EQ(count_of(run.briks, "<table>: OCR_FLAG,"), 1200);
}

TEST(ImageHandlers, LimitsAndFailuresAreCleanRefusals) {
  // One page: an inflated image of exactly 25,000,000 bytes is kept and one of 25,005,000 refused;
  // a width libpng refuses gives a WARNING and no file; the last image takes the number left.
  std::string big(25005000, '\0'), wide(6 * 1000001, '\0');
  big[0] = wide[0] = 1;
  LogCapture log(20);
  ImageRun run = run_images(image_page({{"/Width 5000/Height 5000" + kFlate, deflate_bytes(big.substr(0, 25000000))},
                                        {"/Width 5001/Height 5000" + kFlate, deflate_bytes(big)},
                                        {"/Width 1000001/Height 6" + kFlate, deflate_bytes(wide)},
                                        {kWH + kFlate, deflate_bytes(kRgb)}}).build());
  EXPECT_EQ(run.result, 5);
  EXPECT_NE(log.text().find("WARNING: pdf_parser - image_handler_flate - png error - image dropped"), std::string::npos);
  EXPECT_TRUE(run.has("image0_0.png"));
  EXPECT_EQ(png_samples(run.folder + "image0_1.png"), kRgb);
  EXPECT_FALSE(run.has("image0_2.png"));
  // The span limit of the encoded family, called directly.
  LoadedDoc doc("%PDF-1.4\n");
  std::string folder = make_temp_dir("span");
  global_image_fp = &folder[0];
  EXPECT_EQ(image_handler_dct(0, 10000001, 0, nullptr, nullptr, 0, 0, 1, -1), -1);
  EXPECT_EQ(image_handler_jpx(10, 5, 0, nullptr, nullptr, 0, 0, 1), -1);
  EXPECT_EQ(image_handler_dct(0, 10000000, 0, nullptr, nullptr, 0, 0, 1, -1), 1);
  EXPECT_EQ(image_handler_jbig2(20, 10, 0, nullptr, nullptr, 0, 0, 1), 0);
}

TEST(NearbyText, BandsRadiusHeadersAndHeadline) {
  struct Row { const char* why; int bx, by; std::string text, header, headline; int get_header; std::string want, want_header; };
  const std::string long_text(49999, 'x'), long_headline(1000, 'h');
  const std::vector<Row> rows = {
      {"column band at dx 299, far below", 299, -5000, "A", "", "", 1, "A ", ""},
      {"off both bands, radius about 424", 300, 300, "A", "", "", 1, "A ", ""},
      {"radius about 721 is too far", 600, 400, "A", "", "", 1, "", ""},
      {"radius exactly 700 is too far: headline instead", 420, 560, "A", "", "Head", 1, "Head", "Head"},
      {"a text of 49999 bytes is passed over", 0, 0, long_text, "", "Head", 1, "Head", "Head"},
      {"a headline of 1000 bytes is not taken", 600, 400, "A", "", long_headline, 1, "", ""},
      {"headers at any distance, in text and header", 600, 400, "A", "H1", "", 1, "H1 ", "H1 "},
      {"header option off: no header pass, headline still for the text", 600, 400, "A", "H1", "Head", 0, "Head", ""},
  };
  LoadedDoc doc("%PDF-1.4\n");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    Briks[0].coords_x = row.bx;
    Briks[0].coords_y = row.by;
    brik_text_set(&Briks[0].text, row.text.data(), row.text.size());
    brik_text_set(&Briks[0].header_text, row.header.data(), row.header.size());
    snprintf(global_headlines, 50000, "%s", row.headline.c_str());
    GLOBAL_GET_HEADER_TEXT = row.get_header;
    brik_text_clear(&Briks[1].text);
    brik_text_clear(&Briks[1].header_text);
    nearby_text(0, 1, 0, 0, 1);
    EXPECT_EQ(std::string(Briks[1].text) + "|" + Briks[1].header_text.c_str(), row.want + "|" + row.want_header);
  }
  GLOBAL_GET_HEADER_TEXT = 1;
  brik_text_set(&Briks[1].text, "keep", 4);
  EXPECT_EQ(nearby_text(GLOBAL_MAX_BRIKS, GLOBAL_MAX_BRIKS, 0, 0, 1), 0);
  EXPECT_EQ(nearby_text(1, 0, 0, 0, 1), 0);
  EXPECT_STREQ(Briks[1].text, "keep");
}
