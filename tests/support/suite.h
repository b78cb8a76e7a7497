// tests/support/suite.h -- what every test file includes: GoogleTest, the standard pieces the
// tables use, the test support and the library's own headers.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "doc_fixture.h"
#include "font_fixture.h"
#include "fonts/fonts.h"
#include "objects/objects.h"
#include "output/output.h"
#include "page_text_run.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"
#include "text/table_grid.h"
#include "text/text.h"
#include "text/text_page_state.h"

using namespace pdftest;
