// run/brik_text.cpp -- the text fields of the brik records: each holds its bytes in a heap block
// of its own that grows to what is written into it.
// Reads and writes: the BrikText fields handed to it. Limits: a field holds what its writer
// allows (the BRIK_*_SIZE capacities of run_state.h); a block is never shrunk.
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "run/run_state.h"

// Makes `field` able to hold `need` bytes, keeping its text. 0 when memory ran out.
static int reserve(BrikText* field, size_t need) {
  if (field->data != nullptr && field->cap >= need) return 1;
  size_t cap = need < 64 ? 64 : need;
  char* grown = static_cast<char*>(realloc(field->data, cap));
  if (grown == nullptr) {
    log_at(LOG_ERROR, "ERROR: pdf_parser - brik text - out of memory - %zu bytes - the field keeps its text \n", cap);
    return 0;
  }
  if (field->data == nullptr) grown[0] = 0;
  field->data = grown;
  field->cap = static_cast<uint32_t>(cap);
  return 1;
}

extern "C" {

void brik_text_set(BrikText* field, const char* src, size_t n) {
  if (!reserve(field, n + 1)) return;
  if (n > 0) memmove(field->data, src, n);
  field->data[n] = 0;
}

void brik_text_append(BrikText* field, const char* src, size_t add, size_t size) {
  size_t n = field->data != nullptr ? strlen(field->data) : 0;
  if (n + 1 >= size) return;
  if (add > size - 1 - n) add = size - 1 - n;
  if (!reserve(field, n + add + 1)) return;
  memcpy(field->data + n, src, add);
  field->data[n + add] = 0;
}

void brik_text_clear(BrikText* field) {
  if (field->data != nullptr) field->data[0] = 0;
}

void brik_texts_release(int count) {
  if (Briks == nullptr) return;
  for (int i = 0; i < count; i++) {
    for (BrikText* field : {&Briks[i].text, &Briks[i].header_text, &Briks[i].table}) {
      free(field->data);
      field->data = nullptr;
      field->cap = 0;
    }
  }
}

}  // extern "C"
