// fonts/font_pool.cpp -- the document's font pool: the storage of every font table (map, widths,
// page list). Reads: nothing. Writes: font_pool_generation and the pool state of fonts/fonts.h.
// Limits: FONT_POOL_BLOCKS blocks of FONT_POOL_BLOCK_BYTES; a table that does not fit is dropped
// and logged.
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

#include "fonts/fonts.h"
#include "run/run_state.h"

uint32_t font_pool_generation = 1;  // font_pool_reset; zeroed tables (generation 0) read empty

char* font_pool_block[FONT_POOL_BLOCKS];
int font_pool_current = 0;
size_t font_pool_cursor = 0;
int font_pool_full_logged = 0;

static size_t aligned(size_t bytes) { return (bytes + 15) & ~size_t{15}; }

// `bytes` of pool space for a table that now holds `last` (`last_bytes` of it, null for none):
// the same space grown in place when it is the last taken, else a fresh block. Null when full.
void* font_pool_take(size_t bytes, void* last, size_t last_bytes) {
  char* block = font_pool_block[font_pool_current];
  if (last != nullptr && block != nullptr && static_cast<char*>(last) + aligned(last_bytes) == block + font_pool_cursor &&
      static_cast<char*>(last) >= block && static_cast<char*>(last) - block + aligned(bytes) <= FONT_POOL_BLOCK_BYTES) {
    font_pool_cursor = static_cast<size_t>(static_cast<char*>(last) - block) + aligned(bytes);
    return last;
  }
  if (block == nullptr || font_pool_cursor + aligned(bytes) > FONT_POOL_BLOCK_BYTES) {
    int next = block == nullptr ? font_pool_current : font_pool_current + 1;
    if (next >= FONT_POOL_BLOCKS) next = -1;
    if (next >= 0 && font_pool_block[next] == nullptr) {
      void* p = mmap(nullptr, FONT_POOL_BLOCK_BYTES, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      font_pool_block[next] = p == MAP_FAILED ? nullptr : static_cast<char*>(p);
    }
    if (next < 0 || font_pool_block[next] == nullptr) {
      if (!font_pool_full_logged) {
        log_at(LOG_WARN, "WARNING: pdf_parser - font pool full - font table entries dropped \n");
        font_pool_full_logged = 1;
      }
      return nullptr;
    }
    font_pool_current = next;
    font_pool_cursor = 0;
    block = font_pool_block[next];
  }
  void* taken = block + font_pool_cursor;
  font_pool_cursor += aligned(bytes);
  return taken;
}

void font_pool_reset(void) {
  font_pool_generation++;
  if (font_pool_generation == 0) font_pool_generation = 1;  // 0 stays the never-written mark
  for (int b = 1; b <= font_pool_current && b < FONT_POOL_BLOCKS; b++) {
    if (font_pool_block[b] != nullptr) madvise(font_pool_block[b], FONT_POOL_BLOCK_BYTES, MADV_DONTNEED);
  }
  font_pool_current = 0;
  font_pool_cursor = 0;
  font_pool_full_logged = 0;
}
