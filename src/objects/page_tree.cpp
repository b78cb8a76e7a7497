// objects/page_tree.cpp -- walks the page tree from the catalog's /Pages, depth first, six levels
// of /Kids below the root at most, and lists the pages in document order.
// Reads: catalog, obj (get_obj), buffer. Writes: Pages[].page_obj, global_page_count.
// Limits: GLOBAL_MAX_PAGES pages, KIDS_LIST_MAX kids per node, TREE_LEVELS levels.
#include "objects/objects.h"
#include "run/run_state.h"

extern "C" {

// One list of object numbers per level (declared in objects.h): nn_global_tmp is overwritten by
// the next extraction, so a level copies its kids out before it looks at them.
int64_t level_list[TREE_LEVELS + 1][KIDS_LIST_MAX];
int kids_count[TREE_LEVELS + 1];

// Adds a page found at levels 1 to 4: at the cap the page is dropped (the spare entry of Pages
// is never written) and the level's warning comes once for each such page.
static void add_page_capped(int level, int number) {
  if (global_page_count < GLOBAL_MAX_PAGES) {
    Pages[global_page_count].page_obj = number;
    global_page_count++;
    return;
  }
  switch (level) {
    case 1:
      log_at(LOG_WARN, "WARNING:  pdf_parser - too many pages - exceeded GLOBAL_MAX_PAGES = %d \n",
             GLOBAL_MAX_PAGES);
      break;
    case 2:
      log_at(LOG_WARN, "WARNING:  pdf_parser - too many pages - exceeded cap of GLOBAL_MAX_PAGES = %d \n",
             GLOBAL_MAX_PAGES);
      break;
    case 3:
      log_at(LOG_WARN,
             "WARNING:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES "
             "= %d \n",
             GLOBAL_MAX_PAGES);
      break;
    default:
      log_at(LOG_WARN,
             "WARNING: pdf_parser -             too many pages - exceeded           cap - "
             "GLOBAL_MAX_PAGES =            %d \n",
             GLOBAL_MAX_PAGES);
      break;
  }
}

// Adds a page found at levels 5 and 6: the count may reach one past the cap, and then the walk
// ends. Returns 1 when it must end.
static int add_page_or_stop(int level, int number) {
  if (global_page_count < GLOBAL_MAX_PAGES) Pages[global_page_count].page_obj = number;
  global_page_count++;
  if (global_page_count <= GLOBAL_MAX_PAGES) return 0;
  if (level == 5) {
    log_at(LOG_DEEP, "DEBUG:  pdf_parser - too many pages - exceeded cap - stopping at GLOBAL_MAX_PAGES = %d \n",
           GLOBAL_MAX_PAGES);
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - too many pages - exceeded cap \n");
  }
  return 1;
}

// Extracts the /Kids value of the span; the count of numbers, 0 or less for none.
static int extract_kids(int start, int stop) {
  KeyValueSpan* kids = dict_find_key_value_buffer(start, stop, kids_seq, 4);
  return extract_obj_from_buffer(kids->value_start, kids->value_stop);
}

// One level of the walk over the kids that the last extraction left in nn_global_tmp; `count`
// is that extraction's count. Returns 1 when the walk must end at once (levels 5 and 6 past the
// cap), else 0.
static int walk_level(int level, int count) {
  // ---- 1. copy the kids out, up to the first number 0 ----
  // Intended: level five copies with level four's count as its bound, not its own.
  kids_count[level] = count;
  int bound = level == 5 ? kids_count[4] : count;
  if (bound > KIDS_LIST_MAX) bound = KIDS_LIST_MAX;
  if (bound > GLOBAL_NN_TMP_COUNT) bound = GLOBAL_NN_TMP_COUNT;
  int64_t* list = level_list[level];
  int length = 0;
  for (int j = 0; j < bound; j++) {
    if (nn_global_tmp[j].number == 0) break;
    list[length++] = nn_global_tmp[j].number;
  }

  // ---- 2. each kid: a page, or an inner node to go down into ----
  for (int e = 0; e < length; e++) {
    int number = static_cast<int>(list[e]);
    if (get_obj(number) < 0) continue;
    int start = global_tmp_obj.dict_start;
    int stop = global_tmp_obj.dict_stop;

    // ---- 3. no "/Pages" in it: a page, whatever else it says ----
    // No "/Page" test follows: its answer would be discarded, as would the object's text that
    // the third level used to fetch without printing; neither changes a byte of output.
    if (dict_search_buffer(start, stop, pages_seq, 6) != 1) {
      if (level <= 4) {
        add_page_capped(level, number);
      } else {
        if (level == 6) {
          log_at(LOG_DEEP, "DEBUG:  pdf_parser - unusual case- found Pages deep nested loop - Found last page - %s \n",
                 log_enabled(LOG_DEEP) ? get_string_from_buffer(start, stop) : "");
        }
        if (add_page_or_stop(level, number) == 1) return 1;
      }
      continue;
    }

    // ---- 4. an inner node ----
    if (level == TREE_LEVELS) {
      // Not followed: its pages are lost. This line is written at every logger level.
      KeyValueSpan* kids = dict_find_key_value_buffer(start, stop, kids_seq, 4);
      if (kids->value_start >= 0 && kids->value_stop >= 0) {
        extract_obj_from_buffer(kids->value_start, kids->value_stop);
        log_always(
            "DEBUG:  pdf_parser - unusual case - did not find all pages - still more pages  nested "
            "at layer 7 - not currently handled - %d \n",
            number);
      }
      continue;
    }
    if (level == 5) {
      log_at(LOG_DEEP, "DEBUG:  pdf_parser - catalog_to_page handler - need 6th loop - unusual nested loop -more pages- handling");
      log_at(LOG_DEEP, "DEBUG:  pdf_parser - dict found- very unlikely nesting pattern -%s \n",
             log_enabled(LOG_DEEP) ? get_string_from_buffer(start, stop) : "");
    }
    int inner = extract_kids(start, stop);
    if (inner > 0 && walk_level(level + 1, inner) == 1) return 1;
  }
  return 0;
}

// Fills Pages from the page tree of `catalog` (the arguments are its span and are not read).
// Returns 0, or -1 when debug_mode is 3 and the tree's root has no dictionary.
int catalog_to_page_handler(int start, int stop) {
  // ---- 1. the root, from the catalog's /Pages ----
  KeyValueSpan* pages = dict_find_key_value_buffer(catalog.dict_start, catalog.dict_stop, pages_seq, 6);
  int root = -1;
  if (extract_obj_from_buffer(pages->value_start, pages->value_stop) >= 1) {
    root = nn_global_tmp[0].number;
  } else {
    log_at(LOG_WARN, "WARNING: pdf_parser - pdf could not find page_root_obj - exiting. \n");
  }

  // ---- 2. the root's object ----
  if (get_obj(root) == -1) {
    log_at(LOG_WARN, "WARNING: pdf_parser - could not find page_root_obj - exiting - %d \n", root);
  }
  int root_start = global_tmp_obj.dict_start;
  int root_stop = global_tmp_obj.dict_stop;

  // ---- 3. no root dictionary ends the document only in debug mode 3 ----
  if (debug_mode == 3 && (root_start < 0 || root_stop < 0)) {
    log_at(LOG_WARN, "WARNING: pdf_parser - could not find /Page root str - exiting. \n");
    return -1;
  }

  // ---- 4. /Count, for the check at the end only ----
  KeyValueSpan* count = dict_find_key_value_buffer(root_start, root_stop, count_seq, 5);
  int page_count = 0;
  if (count->value_start >= 0 && count->value_stop >= 0) {
    page_count = get_int_from_buffer(count->value_start, count->value_stop);
  }

  // ---- 5. the levels ----
  int kids = extract_kids(root_start, root_stop);
  if (kids >= 1 && walk_level(1, kids) == 1) return 0;

  // ---- 6. the end check: only logs ----
  log_at(LOG_DEBUG, "DEBUG: pdf_parser - page count - %d- pages_found - %d \n", page_count, global_page_count);
  if (page_count > global_page_count) {
    log_at(LOG_DEBUG,
           "DEBUG: pdf_parser - potential error - page_count not the same as global_page_count - "
           "%d - %d \n",
           page_count, global_page_count);
  }
  return 0;
}

}  // extern "C"
