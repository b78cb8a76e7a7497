// tests/support/font_fixture.cpp -- see font_fixture.h.
#include "font_fixture.h"

#include <cstdio>

#include "fonts/fonts.h"

namespace pdftest {

void set_font_map(int font, const std::vector<std::pair<long, long>>& pairs, int kind) {
  FontRecord& f = Font_CMAP[font];
  snprintf(f.font_name, sizeof f.font_name, "/F%d", font);
  f.cmap_count = 0;
  for (const auto& p : pairs) {
    f.cmap_in[f.cmap_count] = p.first;
    f.cmap_out[f.cmap_count++] = p.second;
  }
  for (int i = 0; i < 500; i++) f.widths[i] = 500;
  f.encoding_kind = kind;
}

std::string font_map_text(int font) {
  const FontRecord& f = Font_CMAP[font];
  std::string text;
  for (int i = 0; i < f.cmap_count && i < FONT_MAP_SIZE; i++) {
    if (!text.empty()) text += ' ';
    text += std::to_string(f.cmap_in[i]) + ">" + std::to_string(f.cmap_out[i]);
  }
  return text;
}

}  // namespace pdftest
