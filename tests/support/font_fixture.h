// tests/support/font_fixture.h -- small helpers for the font tests: fill a font record's map
// and widths by hand, and read a record's map back as text.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace pdftest {

// Sets record `font` to the given pairs (cmap_count follows), widths all 500 below code 500,
// encoding_kind `kind`, and the name /F<font>.
void set_font_map(int font, const std::vector<std::pair<long, long>>& pairs, int kind = 0);

// "in>out in>out ..." of the first cmap_count pairs of record `font`.
std::string font_map_text(int font);

}  // namespace pdftest
