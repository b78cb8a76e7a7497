// tests/support/doc_fixture.cpp -- document state and log capture for the tests.
#include "doc_fixture.h"

#include <cstdlib>
#include <cstring>

#include "fonts/fonts.h"
#include "images/images.h"
#include "objects/objects.h"
#include "pdf_writer.h"
#include "run/run_state.h"
#include "text/text.h"

namespace pdftest {

LoadedDoc::LoadedDoc(const std::string& bytes, bool scan_objects) {
  global_obj_counter = 0;
  global_page_count = 0;
  global_font_count = 0;
  global_brik_counter = 0;
  global_brik_save_off = -1;
  objects_document_reset();
  fonts_document_reset();
  text_document_reset();
  images_document_reset();
  document_arrays_begin();
  file_length = static_cast<int>(bytes.size());
  document_buffer_begin(file_length + BUFFER_EXTRA_ROOM);
  memcpy(buffer, bytes.data(), bytes.size());
  global_buffer_cursor = file_length;
  if (scan_objects) master_count = build_obj_master_list(file_length);
}

LoadedDoc::~LoadedDoc() { document_arrays_end(); }

LogCapture::LogCapture(int level) {
  saved_stream = log_stream;
  saved_level = GLOBAL_LOGGER_LEVEL;
  stream = open_memstream(&data, &size);
  log_stream = stream;
  GLOBAL_LOGGER_LEVEL = level;
}

LogCapture::~LogCapture() {
  log_stream = saved_stream;
  GLOBAL_LOGGER_LEVEL = saved_level;
  fclose(stream);
  free(data);
}

std::string LogCapture::text() {
  fflush(stream);
  return std::string(data, size);
}

int run_pdf_builder(const std::string& bytes) {
  static std::string folder;  // borrowed by global_image_fp for the call, as an entry does
  folder = make_temp_dir("builder");
  std::string path = folder + "doc.pdf";
  write_file(path, bytes);
  GLOBAL_WRITE_TO_DB = 0;
  global_image_fp = const_cast<char*>(folder.c_str());
  global_write_to_filename = const_cast<char*>("briks.txt");
  return pdf_builder(const_cast<char*>(path.c_str()), const_cast<char*>("a"),
                     const_cast<char*>("l"), const_cast<char*>("t"));
}

int find(const std::string& haystack, const std::string& needle) {
  size_t at = haystack.find(needle);
  return at == std::string::npos ? -1 : static_cast<int>(at);
}

int count_of(const std::string& haystack, const std::string& needle) {
  int n = 0;
  for (size_t at = haystack.find(needle); at != std::string::npos; at = haystack.find(needle, at + 1)) n++;
  return n;
}

}  // namespace pdftest
