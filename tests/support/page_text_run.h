// tests/support/page_text_run.h -- runs text_processor_page on a crafted content stream: a loaded
// (empty) document, the run's text options at the command-line defaults, a temp work folder as
// the brik file's home, and small font records to put in Font_CMAP.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "doc_fixture.h"

namespace pdftest {

struct PageTextRun {
  PageTextRun();   // brik size 400, chunk 600, smart edge 1, tables off, font -1 at size 10
  ~PageTextRun();
  // Copies `content` into a fresh flate_dst_tmp_buffer and calls text_processor_page on it.
  int run(const std::string& content, int page = 0);
  // The text of every brik now in Briks, in order.
  std::vector<std::string> texts() const;
  std::string joined() const;     // those texts run together
  std::string brik_file() const;  // the brik file, as written by flushes so far
  LoadedDoc doc;
  std::string work;                // temp folder, ending in "/"
};

// Adds a font record named `name` (with its slash) for `page`: the map pairs, widths 500 below
// code 500 but for the given (code, width) pairs, the encoding kind and the bold flag, all else
// zero. Returns its index.
int add_test_font(const std::string& name, int page, const std::vector<std::pair<long, long>>& map = {},
                  const std::vector<std::pair<int, int>>& widths = {}, int encoding_kind = 0, int bold = 0);

}  // namespace pdftest
