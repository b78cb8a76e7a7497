// objects/page_resources.cpp -- page_resource_handler: for each page, its content streams, the
// images it may draw and the fonts it may use; fonts become records of Font_CMAP (is_new_font).
// Reads: Pages[].page_obj, obj through get_obj, buffer. Writes: Pages[] content and image lists,
// Font_CMAP names, objects and page lists, global_font_count, page_first_font_of,
// page_font_map_active. Limits: the constants below.
#include <cstring>
#include <string>
#include <unordered_map>

#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"

std::unordered_map<std::string, int> page_first_font_of;  // declared in objects.h
extern "C" {
bool page_font_map_active = false;  // declared in objects.h
}  // extern "C"

namespace {

constexpr int PAGE_SPAN_TRUSTED = 99999;     // a longer page dictionary span is read as the whole object
constexpr int PAGE_IMAGE_WALK = 499;         // images kept per page by the XObject walks
constexpr int FONT_NAME_MAX_DIRECT = 50;     // longer names on a page's own Font entry are dropped and logged
constexpr int FONT_NOT_FOUND = 999;          // is_new_font's answer for no record; a true 999 reads the same
constexpr int RESOURCE_WALK_MAX_TURNS = 10000;  // turns of the /Resources walk; it stops there and logs

struct Span {
  int start;
  int stop;
};

Span value_of(int start, int stop, const int32_t* key, int key_length) {
  KeyValueSpan* kv = dict_find_key_value_buffer(start, stop, key, key_length);
  return Span{kv->value_start, kv->value_stop};
}

bool present(const Span& s) { return s.start >= 0 && s.stop >= 0; }

// Copies at most size - 1 bytes of `src` and terminates; a longer text is cut.
void copy_text(char* dst, int size, const char* src) {
  int n = 0;
  while (n < size - 1 && src[n] != 0) {
    dst[n] = src[n];
    n++;
  }
  dst[n] = 0;
}

Span dict_of_tmp_obj() { return Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop}; }

// Pairs of nn_global_tmp past its size are never read.
int pair_limit(int count) { return count > GLOBAL_NN_TMP_COUNT ? GLOBAL_NN_TMP_COUNT : count; }

// ---- image entries ----
void clear_image_fields(PageRecord& page, int s) {
  page.image_x[s] = 0;
  page.image_y[s] = 0;
  page.image_height[s] = 0;
  page.image_width[s] = 0;
  page.image_placed[s] = 0;
}

// Number and name of a pair into image entry `s`; a name is kept up to 39 characters.
void copy_image_pair(PageRecord& page, int s, const NameNumberPair& pair) {
  if (s < 0 || s >= PAGE_MAX_IMAGES) return;
  page.image_obj[s] = pair.number;
  copy_text(page.image_name[s], IMAGE_NAME_SIZE, pair.name);
}

void store_image(PageRecord& page, int s, const NameNumberPair& pair) {
  copy_image_pair(page, s, pair);
  clear_image_fields(page, s);
}

// ---- the look-up behind is_new_font while the pass runs ----
// While page_resource_handler runs, create_font is the only writer of font names and objects
// (the records start empty with the pass), so the pass keeps a map from object and name to the
// first record that holds them, filled as records are made. is_new_font answers from it instead
// of walking every record, which made the pass cost fonts times pages; any call from outside the
// pass gets the plain walk. The answers are the same. The map is page_first_font_of (objects.h).

std::string font_key(int number, const char* name) {
  std::string key(reinterpret_cast<const char*>(&number), sizeof number);
  key += name;
  return key;
}

// ---- font records ----
void create_font(const char* name, int number, int page) {
  if (global_font_count >= GLOBAL_MAX_FONT_ENCODINGS) {
    log_at(LOG_WARN, "WARNING: pdf_parser - font records full - font not registered - %s \n", name);
    return;
  }
  FontRecord& font = Font_CMAP[global_font_count];
  copy_text(font.font_name, FONT_NAME_SIZE, name);  // a name over 51 characters is cut
  font.font_obj = number;
  font.page_count = 1;
  font.page_list[0] = page;
  font.cmap_count = 0;
  if (page_font_map_active) page_first_font_of.emplace(font_key(number, font.font_name), global_font_count);
  global_font_count++;
}

void add_page_to_font(int r, int page) {
  FontRecord& font = Font_CMAP[r];
  if (font.page_count >= 0 && font.page_count < FONT_PAGE_LIST_SIZE) {
    font.page_list[font.page_count] = page;
    font.page_count++;
  }  // pages past the list are dropped: the font is not resolved on them
  font.cmap_count = 0;
}

void register_font(const char* name, int number, int page) {
  int r = is_new_font(const_cast<char*>(name), number);
  if (r == FONT_NOT_FOUND) create_font(name, number, page);
  else add_page_to_font(r, page);
}

// Registers each of the first `count` pairs of nn_global_tmp that has a name.
void register_named_pairs(int count, int page) {
  for (int k = 0; k < pair_limit(count); k++) {
    if (nn_global_tmp[k].name[0] != 0) register_font(nn_global_tmp[k].name, nn_global_tmp[k].number, page);
  }
}

// ---- step 4: the page's own XObject list ----
void page_images(PageRecord& page, const Span& dict) {
  page.image_count = 0;
  Span xo = value_of(dict.start, dict.stop, xobject_seq, 7);
  if (!present(xo)) return;
  if (log_enabled(LOG_DEBUG)) {
    log_at(LOG_DEBUG, "DEBUG: pdf_parser - images identified - xobject str-%s-%d-%d \n",
           get_string_from_buffer(xo.start, xo.stop), xo.start, xo.stop);
  }
  int n = extract_obj_from_buffer(xo.start, xo.stop);
  if (n <= 0) return;
  int limit = n;
  if (n >= 500) {
    limit = PAGE_IMAGE_WALK;
    log_at(LOG_WARN, "WARNING: pdf_parser - found more than 500 images on single page - capping page- %d \n", n);
  }
  limit = pair_limit(limit);
  int s = 0;
  for (int j = 0; j < limit; j++) {
    // a. the entry's own dictionary
    get_obj(nn_global_tmp[j].number);
    Span d = dict_of_tmp_obj();
    // b. an XObject itself
    if (dict_search_buffer(d.start, d.stop, xobject_seq, 7) == 1 ||
        dict_search_buffer(d.start, d.stop, form_seq, 4) == 1) {
      if (s < PAGE_IMAGE_WALK) store_image(page, s++, nn_global_tmp[j]);
    } else if (d.start >= 0 && d.stop >= 0) {
      // c. an indirect dictionary of XObjects; pair j of the new list is looked at each turn
      int m = pair_limit(extract_obj_from_buffer_with_safety_check(d.start, d.stop));
      for (int q = 0; q < m; q++) {
        get_obj(nn_global_tmp[j].number);
        Span e = dict_of_tmp_obj();
        bool is_xobject = present(value_of(e.start, e.stop, xobject_seq, 7));
        bool is_image = present(value_of(e.start, e.stop, image_seq, 5));
        if ((is_xobject || is_image) && s < PAGE_IMAGE_WALK) store_image(page, s++, nn_global_tmp[q]);
      }
    }
    page.image_count = s;
  }
}

// ---- step 6: fonts and images through /Resources ----
void resources_fonts(PageRecord& page, int p, const Span& dict) {
  Span res = value_of(dict.start, dict.stop, resources_seq, 9);
  if (!present(res)) return;

  // a-c. Form XObjects' fonts, or the referenced resource dictionary
  int c = 0;
  Span xo = value_of(res.start, res.stop, xobject_seq, 7);
  if (present(xo)) {
    c = extract_obj_from_buffer(xo.start, xo.stop);
    for (int j = 0; j < pair_limit(c); j++) {
      if (get_obj(nn_global_tmp[j].number) < 0) continue;
      Span d = dict_of_tmp_obj();
      Span f = value_of(d.start, d.stop, font_seq, 4);
      if (!present(f)) continue;
      int n = extract_obj_from_buffer(f.start, f.stop);
      if (n > 0) register_named_pairs(n, p);
    }
  } else {
    c = extract_obj_from_buffer(res.start, res.stop);
  }
  if (c <= 0) return;

  // d. each bare reference of the list as it now stands
  int turns = 0;
  for (int j = 0; j < pair_limit(c); j++) {
    if (++turns > RESOURCE_WALK_MAX_TURNS) {
      log_at(LOG_WARN, "WARNING: pdf_parser - page resources walk stopped - too many turns - %d \n", p);
      break;
    }
    if (nn_global_tmp[j].name[0] != 0 || get_obj(nn_global_tmp[j].number) < 0) continue;
    const Span d = dict_of_tmp_obj();

    // i. fonts, directly or through a referenced font dictionary
    Span f = value_of(d.start, d.stop, font_seq, 4);
    if (present(f)) {
      int m = extract_obj_from_buffer(f.start, f.stop);
      if (m > 0 && nn_global_tmp[0].name[0] == 0 && get_obj(nn_global_tmp[0].number) >= 0) {
        m = extract_obj_from_buffer(global_tmp_obj.dict_start, global_tmp_obj.dict_stop);
      }
      if (m > 0) register_named_pairs(m, p);
    }

    // ii-iii. fonts of the first XObject, then its images from the current count on
    Span x = value_of(d.start, d.stop, xobject_seq, 7);
    if (present(x)) {
      int t = extract_obj_from_buffer(x.start, x.stop);
      if (t > 0 && get_obj(nn_global_tmp[0].number) >= 0) {
        Span ff = value_of(global_tmp_obj.dict_start, global_tmp_obj.dict_stop, font_seq, 4);
        int n = extract_obj_from_buffer(ff.start, ff.stop);
        if (n > 0) register_named_pairs(n, p);
      }
      t = extract_obj_from_buffer(x.start, x.stop);
      if (t > 0) {
        int limit = pair_limit(t >= 500 ? PAGE_IMAGE_WALK : t);
        // Intended: the index j is the walk's own, reused; it runs on from where this copy stops.
        for (j = page.image_count; j < limit; j++) {
          store_image(page, j, nn_global_tmp[j]);
          page.image_count++;
        }
      }
    }

    // iv. the last XObject list has the last word on the image list
    Span x2 = value_of(d.start, d.stop, xobject_seq, 7);
    int t = extract_obj_from_buffer(x2.start, x2.stop);
    if (t > 0) {
      int kept = t > PAGE_MAX_IMAGES ? PAGE_MAX_IMAGES : pair_limit(t);
      page.image_count = kept;
      for (int k = 0; k < kept; k++) copy_image_pair(page, k, nn_global_tmp[k]);
    }
  }
}

// ---- step 7: the Font entry of the page span ----
void page_fonts(int p, const Span& dict) {
  Span f = value_of(dict.start, dict.stop, font_seq, 4);
  int n = extract_obj_from_buffer(f.start, f.stop);
  for (int j = 0; j < pair_limit(n); j++) {
    const NameNumberPair& pair = nn_global_tmp[j];
    if (pair.name[0] != 0) {
      int r = is_new_font(nn_global_tmp[j].name, pair.number);
      if (r != FONT_NOT_FOUND) {
        add_page_to_font(r, p);
        continue;
      }
      int length = static_cast<int>(strlen(pair.name));
      if (length <= FONT_NAME_MAX_DIRECT) {
        create_font(pair.name, pair.number, p);
      } else {
        log_at(LOG_WARN, "DEBUG:  pdf_parser - unusual - font name too long - can not save - %d \n", length);
      }
      continue;
    }
    if (get_obj(pair.number) < 0) continue;
    Span d = dict_of_tmp_obj();
    Span inner = value_of(d.start, d.stop, font_seq, 4);
    int m = (inner.start != -1 && inner.stop != -1) ? extract_obj_from_buffer(inner.start, inner.stop)
                                                    : extract_obj_from_buffer(d.start, d.stop);
    if (m >= 1) register_named_pairs(m, p);
  }
}

}  // namespace

extern "C" {

// Repair mode (repair_forms.cpp): a font of a form drawn on page `page`, registered as the
// page's own fonts are; a page already last in the record's list is not added again.
void repair_register_font(const char* name, int number, int page) {
  int r = is_new_font(const_cast<char*>(name), number);
  if (r != FONT_NOT_FOUND && Font_CMAP[r].page_count > 0 &&
      Font_CMAP[r].page_list[Font_CMAP[r].page_count - 1] == page) {
    return;
  }
  register_font(name, number, page);
}

// Index of the first record with this name and object number, or 999 when there is none.
int is_new_font(char* name, int object_number) {
  if (Font_CMAP == nullptr || name == nullptr) return FONT_NOT_FOUND;
  if (page_font_map_active) {
    auto hit = page_first_font_of.find(font_key(object_number, name));
    return hit == page_first_font_of.end() ? FONT_NOT_FOUND : hit->second;
  }
  int count = global_font_count < GLOBAL_MAX_FONT_ENCODINGS ? global_font_count : GLOBAL_MAX_FONT_ENCODINGS;
  for (int i = 0; i < count; i++) {
    if (Font_CMAP[i].font_obj == object_number && strcmp(Font_CMAP[i].font_name, name) == 0) return i;
  }
  return FONT_NOT_FOUND;
}

// The whole pass over Pages[0, global_page_count); always 0.
int page_resource_handler(int unused) {
  global_font_count = 0;
  page_first_font_of.clear();
  page_font_map_active = true;
  int pages = global_page_count < GLOBAL_MAX_PAGES ? global_page_count : GLOBAL_MAX_PAGES;
  for (int p = 0; p < pages; p++) {
    PageRecord& page = Pages[p];

    // ---- 1. the page object ----
    if (get_obj(page.page_obj) < 0) {
      log_at(LOG_DEEP, "DEBUG:  pdf_parser - problem page - unusual - %d - page not found. \n", p);
      continue;
    }

    // ---- 2. the span every page-level look-up uses ----
    Span dict = dict_of_tmp_obj();
    if (dict.stop - dict.start > PAGE_SPAN_TRUSTED) {
      log_at(LOG_DEEP, "DEBUG:  pdf_parser - page dictionary mis-mapping - %d - %d \n", dict.start, dict.stop);
      dict = Span{global_tmp_obj.start, global_tmp_obj.stop};
    }

    // ---- 3. content streams ----
    Span contents = value_of(dict.start, dict.stop, contents_seq, 8);
    if (present(contents)) {
      int n = extract_obj_from_buffer(contents.start, contents.stop);
      if (n >= 1) {
        int kept = n > PAGE_MAX_CONTENTS ? PAGE_MAX_CONTENTS : pair_limit(n);  // later streams drop
        page.content_count = kept;
        for (int k = 0; k < kept; k++) page.content_obj[k] = nn_global_tmp[k].number;
      } else if (log_enabled(LOG_DEBUG)) {
        log_at(LOG_DEBUG, "DEBUG: pdf_parser - page - no content found - %s \n",
               get_string_from_buffer(dict.start, dict.stop));
      }
    }

    // ---- 4. images of the page ----
    page_images(page, dict);

    // ---- 5-7. fonts: the page's Font entry, or its Resources ----
    if (GLOBAL_REPAIR_MODE) repair_resources_span(&dict.start, &dict.stop);  // inherited resources
    if (present(value_of(dict.start, dict.stop, font_seq, 4))) {
      page_fonts(p, dict);
    } else {
      resources_fonts(page, p, dict);
    }
    if (GLOBAL_REPAIR_MODE) repair_form_fonts(p);  // the fonts of the page's forms
  }

  page_font_map_active = false;
  page_first_font_of.clear();

  log_at(LOG_DEBUG, "DEBUG: pdf_parser - global page count - %d \n", global_page_count);
  log_at(LOG_DEBUG, "DEBUG: pdf_parser - global font count- %d \n", global_font_count);
  for (int i = 0; i < global_font_count; i++) {
    Font_CMAP[i].cmap_count = 0;
    log_at(LOG_DEEP, "DEBUG: FONT MASTER LIST-%d-%s-%d-%d-%s \n", i, Font_CMAP[i].font_name,
           Font_CMAP[i].font_obj, Font_CMAP[i].page_count, Font_CMAP[i].font_name);
  }
  return 0;
}

}  // extern "C"
