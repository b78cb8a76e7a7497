// fonts/font_pool.cpp -- the document's font pool: the storage of every font table (map, widths,
// page list). Reads: nothing. Writes: font_pool_generation, the pool blocks and cursor.
// Limits: POOL_BLOCKS blocks of POOL_BLOCK_BYTES; a table that does not fit is dropped and logged.
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

#include "fonts/fonts.h"
#include "run/run_state.h"

// 8 MB a block holds the tables of about 2,000 ordinary fonts; 1,024 blocks hold every table of
// the largest document the font records allow (10,000 fonts with full tables, about 6.5 GB).
constexpr size_t POOL_BLOCK_BYTES = size_t{8} << 20;
constexpr int POOL_BLOCKS = 1024;

uint32_t font_pool_generation = 1;  // font_pool_reset; zeroed tables (generation 0) read empty

static char* pool_block[POOL_BLOCKS];  // mapped on first use, kept for the run
static int pool_current = 0;           // block the cursor is in; font_pool_reset
static size_t pool_cursor = 0;         // bytes taken of pool_block[pool_current]; font_pool_reset
static int pool_full_logged = 0;       // one warning per document; font_pool_reset

static size_t aligned(size_t bytes) { return (bytes + 15) & ~size_t{15}; }

// `bytes` of pool space for a table that now holds `last` (`last_bytes` of it, null for none):
// the same space grown in place when it is the last taken, else a fresh block. Null when full.
void* font_pool_take(size_t bytes, void* last, size_t last_bytes) {
  char* block = pool_block[pool_current];
  if (last != nullptr && block != nullptr && static_cast<char*>(last) + aligned(last_bytes) == block + pool_cursor &&
      static_cast<char*>(last) >= block && static_cast<char*>(last) - block + aligned(bytes) <= POOL_BLOCK_BYTES) {
    pool_cursor = static_cast<size_t>(static_cast<char*>(last) - block) + aligned(bytes);
    return last;
  }
  if (block == nullptr || pool_cursor + aligned(bytes) > POOL_BLOCK_BYTES) {
    int next = block == nullptr ? pool_current : pool_current + 1;
    if (next >= POOL_BLOCKS) next = -1;
    if (next >= 0 && pool_block[next] == nullptr) {
      void* p = mmap(nullptr, POOL_BLOCK_BYTES, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
      pool_block[next] = p == MAP_FAILED ? nullptr : static_cast<char*>(p);
    }
    if (next < 0 || pool_block[next] == nullptr) {
      if (!pool_full_logged) {
        log_at(LOG_WARN, "WARNING: pdf_parser - font pool full - font table entries dropped \n");
        pool_full_logged = 1;
      }
      return nullptr;
    }
    pool_current = next;
    pool_cursor = 0;
    block = pool_block[next];
  }
  void* taken = block + pool_cursor;
  pool_cursor += aligned(bytes);
  return taken;
}

void font_pool_reset(void) {
  font_pool_generation++;
  if (font_pool_generation == 0) font_pool_generation = 1;  // 0 stays the never-written mark
  for (int b = 1; b <= pool_current && b < POOL_BLOCKS; b++) {
    if (pool_block[b] != nullptr) madvise(pool_block[b], POOL_BLOCK_BYTES, MADV_DONTNEED);
  }
  pool_current = 0;
  pool_cursor = 0;
  pool_full_logged = 0;
}
