// tests/support/doc_fixture.h -- puts crafted bytes into the document state the way
// pdf_builder's set-up does, so a pass can be called on its own; and captures the log.
#pragma once

#include <cstdio>
#include <string>

namespace pdftest {

// Resets the document counters and runs the folders' document resets in pdf_builder's order,
// allocates the per-document arrays, copies `bytes` into a new buffer with the usual room behind
// it and, unless told not to, runs build_obj_master_list. The destructor frees everything, as
// the end of a document does.
struct LoadedDoc {
  explicit LoadedDoc(const std::string& bytes, bool scan_objects = true);
  ~LoadedDoc();
  LoadedDoc(const LoadedDoc&) = delete;
  LoadedDoc& operator=(const LoadedDoc&) = delete;
  int file_length = 0;
  int master_count = 0;
};

// Sends the log to memory at the given level for the capture's life; text() is what was written.
// Restores log_stream and GLOBAL_LOGGER_LEVEL afterwards.
struct LogCapture {
  explicit LogCapture(int level);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::string text();
  FILE* stream = nullptr;
  char* data = nullptr;
  size_t size = 0;
  FILE* saved_stream = nullptr;
  int saved_level = 0;
};

// Writes `bytes` as a file in a fresh temp folder and runs pdf_builder on it, with the brik
// file in that folder and no database; returns the builder's result.
int run_pdf_builder(const std::string& bytes);

// Offset of the first occurrence of `needle` in `haystack` as an int, or -1.
int find(const std::string& haystack, const std::string& needle);
// How many times `needle` occurs in `haystack` (overlaps included).
int count_of(const std::string& haystack, const std::string& needle);

}  // namespace pdftest
