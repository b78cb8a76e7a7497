// run/repair_forms.cpp -- Form XObject text in the repair mode (GLOBAL_REPAIR_MODE 1): the fonts
// of each Form XObject a page lists are registered for that page, and the content of each form
// the page draws is read as one more content stream of the page. This is for runs without the
// image pass (single-file entries); the image pass reads forms of its own when it runs.
// Reads: Pages, obj, buffer. Writes: Font_CMAP (through the resource pass), briks.
#include <cstdlib>

#include "fonts/fonts.h"
#include "objects/objects.h"
#include "run/run_state.h"
#include "text/text.h"

namespace {

struct Span {
  int start;
  int stop;
};

Span value_span(int start, int stop, const int32_t* key, int key_length) {
  KeyValueSpan* kv = dict_find_key_value_buffer(start, stop, key, key_length);
  return Span{kv->value_start, kv->value_stop};
}

bool present(const Span& s) { return s.start >= 0 && s.stop >= 0; }

// The page's image entry `k` when it is a Form XObject: its record in `form`.
bool form_of(const PageRecord& page, int k, ObjectRecord* form) {
  if (get_obj(static_cast<int>(page.image_obj[k])) < 0) return false;
  *form = global_tmp_obj;
  return dict_search_buffer(form->dict_start, form->dict_stop, form_seq, 4) == 1 &&
         dict_search_buffer(form->dict_start, form->dict_stop, image_seq, 5) != 1;
}

int image_entries(const PageRecord& page) {
  return page.image_count < PAGE_MAX_IMAGES ? (page.image_count < 0 ? 0 : page.image_count) : PAGE_MAX_IMAGES;
}

}  // namespace

extern "C" {

// Registers for page `p` the fonts named in the /Resources of each form the page lists.
void repair_form_fonts(int p) {
  const PageRecord& page = Pages[p];
  for (int k = 0; k < image_entries(page); k++) {
    ObjectRecord form;
    if (!form_of(page, k, &form)) continue;
    Span res = value_span(form.dict_start, form.dict_stop, resources_seq, 9);
    if (!present(res)) continue;
    // /Resources N 0 R: the resource dictionary's own span
    if (extract_obj_from_buffer(res.start, res.stop) == 1 && nn_global_tmp[0].name[0] == 0 &&
        get_obj(nn_global_tmp[0].number) >= 0) {
      res = Span{global_tmp_obj.dict_start, global_tmp_obj.dict_stop};
    }
    Span fonts = value_span(res.start, res.stop, font_seq, 4);
    if (!present(fonts)) continue;
    int n = extract_obj_from_buffer(fonts.start, fonts.stop);
    if (n >= 1 && nn_global_tmp[0].name[0] == 0 && get_obj(nn_global_tmp[0].number) >= 0) {
      n = extract_obj_from_buffer(global_tmp_obj.dict_start, global_tmp_obj.dict_stop);
    }
    if (n > GLOBAL_NN_TMP_COUNT) n = GLOBAL_NN_TMP_COUNT;
    for (int j = 0; j < n; j++) {
      if (nn_global_tmp[j].name[0] != 0) repair_register_font(nn_global_tmp[j].name, nn_global_tmp[j].number, p);
    }
  }
}

// The text of every form that page `p` draws, each read as a content stream of the page.
// Returns the briks made.
int repair_form_text(int p) {
  const PageRecord& page = Pages[p];
  int made = 0;
  for (int k = 0; k < image_entries(page); k++) {
    if (page.image_placed[k] != 1) continue;
    ObjectRecord form;
    if (!form_of(page, k, &form)) continue;
    int length = repair_decode_stream(form.dict_start, form.dict_stop, form.stream_start, form.stop);
    if (length < 0) continue;
    made += text_processor_page(length, p);
    free(flate_dst_tmp_buffer);
    flate_dst_tmp_buffer = nullptr;
  }
  return made;
}

}  // extern "C"
