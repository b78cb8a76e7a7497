// tests/test_entry_single.cpp -- the single-file entry points: names, results, the summary.
#include <gtest/gtest.h>

#include "doc_fixture.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

TEST(FileNames, TypeIsTheTextAfterTheLastPoint) {
  char a[] = "report.final.pdf", b[] = "pdf", c[] = ".pdf", d[] = "...", e[] = "";
  EXPECT_STREQ(get_file_type(a), "pdf");
  EXPECT_STREQ(get_file_type(b), "pdf");
  EXPECT_STREQ(get_file_type(c), "pdf");
  EXPECT_EQ(get_file_type(d), nullptr);
  EXPECT_EQ(get_file_type(e), nullptr);
}

TEST(FileNames, NameIsTheLastComponent) {
  char a[] = "/data/in/a.pdf", b[] = "a.pdf", c[] = "/";
  EXPECT_STREQ(get_file_name(a), "a.pdf");
  EXPECT_STREQ(get_file_name(b), "a.pdf");
  EXPECT_EQ(get_file_name(c), nullptr);
}
