// tests/support/page_text_run.cpp -- the content stream runner for the page text tests.
#include "page_text_run.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "font_fixture.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "run/run_state.h"
#include "text/text.h"

namespace pdftest {

static char account[] = "acct", library[] = "lib", stamp[] = "Sat Nov 21 06:00:00 2026", brik_file_name[] = "briks.txt";
static std::string work_folder;

PageTextRun::PageTextRun() : doc("%PDF-1.7\n", false) {
  work = make_temp_dir("page_text");
  work_folder = work;
  GLOBAL_BRIK_SIZE = 400;
  MAX_CHUNK_SIZE = 600;
  CHUNKING_SMART_EDGE = TABLE_GRID = GLOBAL_GET_HEADER_TEXT = 1;
  GLOBAL_ENCODING = 2;
  GLOBAL_STRIP_HEADER = TABLE_STRATEGY = GLOBAL_WRITE_TO_DB = GLOBAL_ACTUAL_TEXT_FLAG = 0;
  GLOBAL_FONT_SIZE = 10;
  GLOBAL_PAGE_CMAP = -1;
  master_brik_tracker = master_doc_tracker = master_page_brik_start = master_page_brik_stop = 0;
  global_account_name = account;
  global_library_name = library;
  global_time_stamp = stamp;
  global_image_fp = const_cast<char*>(work_folder.c_str());
  global_write_to_filename = brik_file_name;
}

PageTextRun::~PageTextRun() { std::filesystem::remove_all(work); }

int PageTextRun::run(const std::string& content, int page) {
  // Exactly the stream's bytes, so that a read past the end shows under the address sanitizer.
  flate_dst_tmp_buffer = static_cast<unsigned char*>(malloc(content.empty() ? 1 : content.size()));
  memcpy(flate_dst_tmp_buffer, content.data(), content.size());
  int made = text_processor_page(static_cast<int>(content.size()), page);
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
  return made;
}

std::vector<std::string> PageTextRun::texts() const {
  std::vector<std::string> out;
  for (int k = 0; k < global_brik_counter; k++) out.push_back(Briks[k].text.c_str());
  return out;
}

std::string PageTextRun::joined() const {
  std::string all;
  for (const std::string& t : texts()) all += t;
  return all;
}

std::string PageTextRun::brik_file() const { return read_file(work + brik_file_name); }

int add_test_font(const std::string& name, int page, const std::vector<std::pair<long, long>>& map,
                  const std::vector<std::pair<int, int>>& widths, int encoding_kind, int bold) {
  int f = global_font_count++;
  FontRecord* font = &Font_CMAP[f];
  memset(font, 0, sizeof *font);
  set_font_map(f, map, encoding_kind);
  snprintf(font->font_name, sizeof font->font_name, "%s", name.c_str());
  font->font_obj = 100 + f;
  font->page_list[0] = page;
  font->page_count = 1;
  font->bold = bold;
  for (const auto& w : widths) font->widths[w.first] = w.second;
  return f;
}

}  // namespace pdftest
