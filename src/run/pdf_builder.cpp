// run/pdf_builder.cpp -- turns one PDF file into briks: reads it into buffer, runs the object
// pass, the page tree walk, the resource and font passes, then the page loop.
// Reads/writes: the per-document arrays (allocated here, freed on every road out) and counters.
// Limits: files of MAX_FILE_LENGTH bytes or more are refused; see document_arrays_begin.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sys/mman.h>
#include <unistd.h>

#include "fonts/fonts.h"
#include "images/images.h"
#include "objects/objects.h"
#include "run/run_state.h"
#include "text/text.h"

extern "C" {

// buffer, buffer_capacity, obj, Pages and nn_global_tmp are defined in objects/object_list.cpp,
// Font_CMAP in fonts/font_pass.cpp; this file allocates and frees them for each document.

constexpr int HEADLINES_SIZE = 50000;  // bytes of global_headlines

// Positions are signed 32-bit: the file, the hidden objects behind it and one inflation result
// must all stay below 2^31, so a file this long or longer is refused.
constexpr int64_t MAX_FILE_LENGTH = INT32_MAX - (int64_t)BUFFER_EXTRA_ROOM - FLATE_OUTPUT_SIZE;

// Hidden objects stop being added once the cursor passes the file's length plus this.
constexpr int HIDDEN_OBJECT_ROOM = 38999999;

// The tail of the file searched for /Encrypt: the last 300 bytes, up to 5 before the end.
constexpr int ENCRYPT_TAIL = 300;
constexpr int ENCRYPT_TAIL_END = 5;

// Every array is taken at full capacity as fresh zero pages straight from the kernel: only
// what a document writes becomes resident, and giving the pages back costs nothing per byte
// (a tool build that shadows the heap would otherwise clear gigabytes of shadow per document).
// Each array ends right against one inaccessible page, so a write or read past its end stops
// at once instead of landing in a neighbour. Pages has one spare entry past GLOBAL_MAX_PAGES:
// the page walk may count one page past the cap, and that entry then reads as zero.
static size_t page_size() { return static_cast<size_t>(sysconf(_SC_PAGESIZE)); }
static size_t mapped_size(size_t size) { return (size + page_size() - 1) / page_size() * page_size(); }

static void* take_zero_pages(size_t size) {
  size_t body = mapped_size(size);
  void* base = mmap(nullptr, body + page_size(), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (base == MAP_FAILED) return nullptr;
  mprotect(static_cast<char*>(base) + body, page_size(), PROT_NONE);
  return static_cast<char*>(base) + (body - size);
}

static void give_back_pages(void* p, size_t size) {
  if (p == nullptr) return;
  size_t body = mapped_size(size);
  munmap(static_cast<char*>(p) - (body - size), body + page_size());
}

// Byte sizes of the arrays; the capacities never change, so the same sizes go back at the end.
static size_t briks_size() { return sizeof(BrikRecord) * GLOBAL_MAX_BRIKS; }
static size_t fonts_size() { return sizeof(FontRecord) * GLOBAL_MAX_FONT_ENCODINGS; }
static size_t pages_size() { return sizeof(PageRecord) * (GLOBAL_MAX_PAGES + 1); }
static size_t objects_size() { return sizeof(ObjectRecord) * GLOBAL_MAX_OBJ; }
static size_t pairs_size() { return sizeof(NameNumberPair) * GLOBAL_NN_TMP_COUNT; }

// ---- the arrays and the file buffer are kept mapped from one document to the next ----
// Instead of a fresh mapping per document (every page it touches faults in and is cleared by the
// kernel, and is torn down again at the end), each array keeps its mapping, and at the end of a
// document the pages it touched are cleared in place: mincore tells which pages are resident,
// and only those can hold anything but zeros. The next document finds the array all zeros, just
// as a fresh mapping would be, so nothing it reads changes. When the resident pages of an array
// pass KEEP_RESIDENT_LIMIT, or the machine has swap (a swapped-out page is not resident yet not
// zero), the pages are handed back to the kernel instead, which also zeros them; this keeps what
// stays resident between documents small.
// The buffer is kept at the largest capacity asked for so far; a smaller one is its tail.
constexpr size_t KEEP_RESIDENT_LIMIT = 24u << 20;

// The kept arrays and the clearing's own state, declared in run_state.h.
KeptArray kept_briks;
KeptArray kept_fonts;
KeptArray kept_pages;
KeptArray kept_objects;
KeptArray kept_pairs;
KeptArray kept_buffer;
int kept_swap_checked = 0;
int kept_has_swap = 0;
unsigned char* kept_resident = nullptr;
size_t kept_resident_cap = 0;

static int machine_has_swap(void) {
  if (!kept_swap_checked) {
    kept_swap_checked = 1;
    FILE* f = fopen("/proc/swaps", "r");
    if (f == nullptr) {
      kept_has_swap = 1;  // unknown: take the safe road
    } else {
      char line[256];
      int lines = 0;
      while (fgets(line, sizeof line, f) != nullptr) lines++;
      fclose(f);
      kept_has_swap = lines > 1;  // a heading line, then one line per swap area
    }
  }
  return kept_has_swap;
}

// Makes the kept array all zeros again, either by clearing its resident pages or by handing its
// pages back. Returns 0 if it could do neither; the caller then unmaps the array.
// With `used`, only the array's first `used` bytes are cleared in place and the rest of the
// mapping is left as it is: the file buffer is written from its start up to the cursor, the
// page, object, font and brik records from index 0 up to their (highest) counts, so nothing past
// `used` was written and it is still all zeros. Its pages stay mapped for the next document (a
// page fault costs more than clearing a page) and are not cleared again by every document after.
static int clear_kept(const KeptArray& a, const char* array, size_t used) {
  size_t body = mapped_size(a.size);
  char* base = static_cast<char*>(a.data) - (body - a.size);
  char* lo = base;
  char* hi = base + body;
  if (array != nullptr) {
    uintptr_t ps = page_size();
    lo = reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(array) / ps * ps);
    hi = reinterpret_cast<char*>((reinterpret_cast<uintptr_t>(array + used) + ps - 1) / ps * ps);
    if (lo < base) lo = base;
    if (hi > base + body) hi = base + body;
    if (hi < lo) hi = lo;
  }
  size_t pages = static_cast<size_t>(hi - lo) / page_size();
  if (!machine_has_swap()) {
    if (pages > kept_resident_cap) {
      free(kept_resident);
      kept_resident = static_cast<unsigned char*>(malloc(pages));
      kept_resident_cap = kept_resident != nullptr ? pages : 0;
    }
    unsigned char* resident = kept_resident;
    if (resident != nullptr && (pages == 0 || mincore(lo, hi - lo, resident) == 0)) {
      size_t count = 0;
      for (size_t i = 0; i < pages; i++) count += resident[i] & 1;
      if (count * page_size() <= KEEP_RESIDENT_LIMIT) {
        for (size_t i = 0; i < pages; i++) {
          if (resident[i] & 1) memset(lo + i * page_size(), 0, page_size());
        }
        return 1;
      }
    }
  }
  return madvise(base, body, MADV_DONTNEED) == 0;
}

// An array of `size` bytes, from the kept one when it has that size (or, with fit_smaller, at
// least that size: the array is then the kept one's last `size` bytes, still ending against the
// guard page), else a fresh mapping.
static void* take_kept(KeptArray* a, size_t size, bool fit_smaller) {
  if (a->data != nullptr && (a->size == size || (fit_smaller && a->size > size))) {
    a->lent = a->data;
    a->lent_size = a->size;
    a->data = nullptr;
    return static_cast<char*>(a->lent) + (a->lent_size - size);
  }
  if (a->data != nullptr) give_back_pages(a->data, a->size);
  a->data = nullptr;
  void* p = take_zero_pages(size);
  a->lent = p;
  a->lent_size = p != nullptr ? size : 0;
  return p;
}

// Gives back an array handed out by take_kept. `used` > 0: only its first `used` bytes were
// written (see clear_kept).
static void give_back_kept(KeptArray* a, void* p, size_t size, size_t used = 0) {
  if (p == nullptr) return;
  void* whole = a->lent;
  size_t whole_size = a->lent_size;
  a->lent = nullptr;
  if (whole == nullptr || static_cast<char*>(p) + size != static_cast<char*>(whole) + whole_size) {
    give_back_pages(p, size);  // not the array this record lent out
    return;
  }
  if (a->data == nullptr) {
    KeptArray next = {whole, whole_size, nullptr, 0};
    if (clear_kept(next, used > 0 ? static_cast<const char*>(p) : nullptr, used < size ? used : size)) {
      *a = next;
      return;
    }
  }
  give_back_pages(whole, whole_size);
}

int document_arrays_begin(void) {
  Briks = static_cast<BrikRecord*>(take_kept(&kept_briks, briks_size(), false));
  Font_CMAP = static_cast<FontRecord*>(take_kept(&kept_fonts, fonts_size(), false));
  font_pool_reset();
  global_brik_high_water = 0;
  Pages = static_cast<PageRecord*>(take_kept(&kept_pages, pages_size(), false));
  obj = static_cast<ObjectRecord*>(take_kept(&kept_objects, objects_size(), false));
  nn_global_tmp = static_cast<NameNumberPair*>(take_kept(&kept_pairs, pairs_size(), false));
  global_headlines = static_cast<char*>(calloc(HEADLINES_SIZE, 1));
  if (Briks && Font_CMAP && Pages && obj && nn_global_tmp && global_headlines) return 1;
  log_at(LOG_ERROR, "ERROR: pdf_parser - out of memory - can not allocate document arrays. \n");
  document_arrays_end();
  return 0;
}

int document_buffer_begin(int capacity) {
  buffer = static_cast<unsigned char*>(take_kept(&kept_buffer, static_cast<size_t>(capacity), true));
  buffer_capacity = buffer != nullptr ? capacity : 0;
  if (buffer == nullptr) log_at(LOG_ERROR, "ERROR: pdf_parser - out of memory - can not allocate buffer - %d \n", capacity);
  return buffer != nullptr;
}

// The records of an array that a document writes as a rule: as many as its count, and two more.
// (Font records, pages and objects are written from index 0 up to their counters.)
static size_t records_used(int count, size_t record_size) {
  return (static_cast<size_t>(count > 0 ? count : 0) + 2) * record_size;
}

void document_buffer_end(void) {
  // Written: the file, then the hidden objects up to the cursor; a margin is cleared behind it.
  // Whatever lies past that is handed back, so the result is all zeros in any case.
  size_t used = global_buffer_cursor > 0 ? static_cast<size_t>(global_buffer_cursor) + (64u << 10)
                                         : static_cast<size_t>(buffer_capacity);
  give_back_kept(&kept_buffer, buffer, static_cast<size_t>(buffer_capacity), used);
  buffer = nullptr;
  buffer_capacity = 0;
}

void document_arrays_end(void) {
  document_buffer_end();
  // Briks are written at global_brik_counter only, so the entries up to the document's highest
  // count are all that can hold anything (see clear_kept).
  if (global_brik_counter > global_brik_high_water) global_brik_high_water = global_brik_counter;
  // Every record's text fields, whatever the counts say: the records are zeroed below.
  brik_texts_release(GLOBAL_MAX_BRIKS);
  give_back_kept(&kept_briks, Briks, briks_size(), records_used(global_brik_high_water, sizeof(BrikRecord)));
  Briks = nullptr;
  give_back_kept(&kept_fonts, Font_CMAP, fonts_size(), records_used(global_font_count, sizeof(FontRecord)));
  Font_CMAP = nullptr;
  give_back_kept(&kept_pages, Pages, pages_size(), records_used(global_page_count, sizeof(PageRecord)));
  Pages = nullptr;
  give_back_kept(&kept_objects, obj, objects_size(), records_used(global_obj_counter, sizeof(ObjectRecord)));
  obj = nullptr;
  give_back_kept(&kept_pairs, nn_global_tmp, pairs_size());
  nn_global_tmp = nullptr;
  free(global_headlines);
  global_headlines = nullptr;
}

// Reads the file at `path` into a new buffer with BUFFER_EXTRA_ROOM bytes behind it.
// Returns the file's length, or -1 when the file cannot be opened or is too long.
static int read_file_into_buffer(const char* path) {
  FILE* f = fopen(path, "rb");
  if (f == nullptr) {
    log_at(LOG_ERROR, "ERROR: pdf_parser - could not open file - can not process further - %s \n", path);
    return -1;
  }
  fseeko(f, 0, SEEK_END);
  int64_t length = ftello(f);
  rewind(f);
  if (length < 0 || length >= MAX_FILE_LENGTH) {
    log_at(LOG_ERROR, "ERROR: pdf_parser - file too large - can not process further - %lld \n",
           static_cast<long long>(length));
    fclose(f);
    return -1;
  }
  if (!document_buffer_begin(static_cast<int>(length) + BUFFER_EXTRA_ROOM)) {
    fclose(f);
    return -1;
  }
  size_t got = fread(buffer, 1, static_cast<size_t>(length), f);
  fclose(f);
  (void)got;  // a short read leaves zero bytes, which the scanners pass over
  return static_cast<int>(length);
}

// ---- the /Encrypt search over the file's tail ----
// The tail's bytes change only when a hidden object is appended right behind them (a match may
// run a few bytes past the span's stop), so the result is kept until the cursor moves.
int encrypt_tail_result = 0;  // declared in run_state.h
int encrypt_tail_cursor = 0;  // declared in run_state.h

static int search_encrypt_tail(int file_length) {
  if (file_length <= ENCRYPT_TAIL_END) return -1;
  if (encrypt_tail_cursor == global_buffer_cursor) return encrypt_tail_result;
  int start = file_length > ENCRYPT_TAIL ? file_length - ENCRYPT_TAIL : 0;
  encrypt_tail_result = dict_search_buffer(start, file_length - ENCRYPT_TAIL_END, encrypt_seq, 8);
  encrypt_tail_cursor = global_buffer_cursor;
  return encrypt_tail_result;
}

static void take_catalog(int index) {
  catalog = obj[index];
  catalog.hidden = 0;
  metadata_handler(catalog.dict_start, catalog.dict_stop);
}

// Result of the object pass: 0 to go on, -2 when the file is encrypted.
struct ObjectPass {
  int catalog_found;
  int hidden_count;
};

// ---- 1. the object pass: object streams, catalog, refusal of encrypted files ----
static int run_object_pass(int master_count, int file_length, ObjectPass* pass) {
  int encrypt_found = -1;
  encrypt_tail_cursor = -1;
  for (int i = 0; i < master_count; i++) {
    int start = obj[i].dict_start;
    int stop = obj[i].dict_stop;
    if (dict_search_buffer(start, stop, objstm_seq, 6) == 1) {
      if (global_buffer_cursor <= file_length + HIDDEN_OBJECT_ROOM) {
        pass->hidden_count += GLOBAL_REPAIR_MODE
                                  ? repair_objstm_handler(start, stop, obj[i].stream_start, obj[i].stop)
                                  : objstm_handler(obj[i].stream_start, obj[i].stop);
      } else {
        log_at(LOG_WARN,
               "WARNING:  pdf_parser - stopped adding hidden obj for safety - too big - may lead "
               "to missing content or broken links - %d \n",
               global_buffer_cursor);
      }
    }
    if (pass->catalog_found < 0) {
      pass->catalog_found = GLOBAL_REPAIR_MODE ? repair_is_catalog(start, stop)
                                               : dict_search_buffer(start, stop, catalog_seq, 7);
      if (pass->catalog_found == 1) take_catalog(i);
    }
    if (encrypt_found < 0) {
      encrypt_found = dict_search_buffer(start, stop, encrypt_seq, 8);
      if (encrypt_found == 1) {
        log_at(LOG_WARN,
               "WARNING:  pdf_parser - encrypted pdf - can not process further - Encrypt Dict - "
               "%s \n",
               log_enabled(LOG_WARN) ? get_string_from_buffer(start, stop) : "");
        return -2;
      }
      encrypt_found = search_encrypt_tail(file_length);
      if (encrypt_found == 1) {
        log_at(LOG_ERROR,
               "ERROR:  pdf_parser - encrypted pdf - can not process further - found Encrypt in "
               "pdf trailer. \n");
        return -2;
      }
    }
  }
  return 0;
}

// ---- 2. the fallback catalog search among the hidden objects ----
// It starts one index before the first hidden object, as the object pass left it.
static void search_catalog_in_hidden(int master_count, ObjectPass* pass) {
  log_at(LOG_DEEP, "DEBUG: pdf_parser - unusual_case - searching in objstm for catalog: %d-%d \n",
         master_count, global_obj_counter);
  for (int i = master_count > 0 ? master_count - 1 : 0; i < global_obj_counter; i++) {
    int found = GLOBAL_REPAIR_MODE ? repair_is_catalog(obj[i].dict_start, obj[i].dict_stop)
                                   : dict_search_buffer(obj[i].dict_start, obj[i].dict_stop, catalog_seq, 7);
    if (found == 1) {
      pass->catalog_found = 1;
      take_catalog(i);
      log_at(LOG_DEEP, "DEBUG: pdf_parser - unusual_case - success OK - found Catalog Dict in ObjStm - %s \n",
             log_enabled(LOG_DEEP) ? get_string_from_buffer(catalog.dict_start, catalog.dict_stop) : "");
      return;
    }
  }
}

// ---- 3. the page loop ----
static int run_page_loop(char* account, char* library) {
  PageWork work = {0, 0, 0, 0};
  for (int p = 0; p < global_page_count; p++) {
    work.page_briks = 0;
    work.page_success = 0;
    if (global_brik_counter >= GLOBAL_MAX_BRIKS) flush_brik_batch();
    master_page_brik_start = global_brik_counter;
    master_page_brik_stop = global_brik_counter;
    GLOBAL_PAGE_CMAP = -1;

    PageRecord* page = &Pages[p];
    int content_count = page->content_count;
    if (content_count > PAGE_MAX_CONTENTS) content_count = PAGE_MAX_CONTENTS;
    if (p < 10) {
      log_at(LOG_DEBUG, "DEBUG: pdf_parser - PAGE PROCESSING-MAIN-LOOP - %d - content entries - %d \n",
             p, content_count);
    } else {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - PAGE PROCESSING-MAIN-LOOP - %d - content entries - %d \n",
             p, content_count);
    }
    for (int c = 0; c < content_count; c++) {
      if (get_obj(static_cast<int>(page->content_obj[c])) < 0) continue;
      ObjectRecord stream = global_tmp_obj;
      int length;
      if (GLOBAL_REPAIR_MODE) {  // every filter chain; a stream that can not be decoded is passed over
        length = repair_decode_stream(stream.dict_start, stream.dict_stop, stream.stream_start, stream.stop);
        if (length < 0) continue;
      } else {
        if (dict_search_buffer(stream.dict_start, stream.dict_stop, flatedecode_seq, 11) != 1) continue;
        length = flate_handler_buffer_v2(stream.stream_start, stream.stop);
      }
      int made = text_processor_page(length, p);
      work.page_success = made;
      work.blocks_created += made;
      work.page_briks += made;
      global_text_found += made;
      master_page_brik_stop = master_page_brik_start + made;
      free(flate_dst_tmp_buffer);
      flate_dst_tmp_buffer = nullptr;
    }
    // Repair mode: the text of the forms the page draws, when the image pass does not read them.
    if (GLOBAL_REPAIR_MODE && page->image_count > 0 && global_image_save_on != 1) {
      int made = repair_form_text(p);
      work.blocks_created += made;
      work.page_briks += made;
      global_text_found += made;
    }
    if (page->image_count > 0 && global_image_save_on == 1) run_image_pass(p, account, library, &work);

    if (work.page_briks >= 1) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - briks added on page - %d - %d \n", p, work.page_briks);
      global_total_pages_added++;
    } else {
      log_at(LOG_DEEP, "DEBUG: no content found on page - %d \n", p);
    }
  }
  return work.blocks_created;
}

// One PDF file into briks. Result: briks and images made (above 0), 0 nothing produced or the
// file could not be read, -1 no catalog (or no page tree root at debug_mode 3), -2 encrypted.
int pdf_builder(char* path, char* account, char* library, char* time_stamp) {
  // ---- set-up ----
  global_obj_counter = 0;
  global_page_count = 0;
  global_font_count = 0;
  global_brik_counter = 0;
  master_new_images_added = 0;
  master_new_briks_added = 0;
  global_text_found = 0;
  global_unhandled_img_counter = 0;
  global_brik_save_off = -1;
  // the folders' own resets, always in this order
  objects_document_reset();
  fonts_document_reset();
  text_document_reset();
  images_document_reset();
  if (!document_arrays_begin()) return 0;

  int file_length = read_file_into_buffer(path);
  if (file_length < 0) {
    document_arrays_end();
    return 0;
  }
  global_buffer_cursor = file_length;
  int master_count = build_obj_master_list(file_length);

  ObjectPass pass = {-1, 0};
  if (run_object_pass(master_count, file_length, &pass) == -2) {
    document_arrays_end();
    return -2;
  }
  if (pass.catalog_found <= 0 && pass.hidden_count >= 1) search_catalog_in_hidden(master_count, &pass);

  // ---- page tree and fonts ----
  if (pass.catalog_found <= 0) {
    log_at(LOG_ERROR,
           "ERROR: pdf_parser - catalog not found - unusual - exiting and returning error code - "
           "can not process further. \n");
    document_arrays_end();
    return -1;
  }
  if (catalog_to_page_handler(catalog.dict_start, catalog.dict_stop) == -1) {
    document_arrays_end();
    return -1;
  }
  page_resource_handler(0);
  font_encoding_cmap_handler(0);
  if (GLOBAL_REPAIR_MODE) repair_font_pass();
  master_new_images_added = 0;

  text_font_lookup_begin();
  int blocks_created = run_page_loop(account, library);
  text_font_lookup_end();

  // ---- end of the document ----
  document_buffer_end();
  if (global_brik_counter > 0) {
    if (GLOBAL_WRITE_TO_DB == 1) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - at end of pdf_builder - writing to db - %d \n", global_brik_counter);
    }
    flush_brik_batch();
  }
  document_arrays_end();
  log_at(LOG_DEEP, "DEBUG: pdf_parser - document completed - total blocks created - %d \n", blocks_created);
  return blocks_created;
}

}  // extern "C"
