// run/image_pass.cpp -- the second half of each page: the page's image entries, each sent to the
// handler of its filter, and Form XObjects, whose text is read and whose images are exported.
// Reads: Pages[page], obj, buffer. Writes: the page's image entries (sizes, ids, form images), the
// builder's PageWork, global_unhandled_img_counter. Limits: PAGE_MAX_IMAGES image entries per page.
#include <cstdint>
#include <cstdlib>

#include "images/images.h"
#include "objects/objects.h"
#include "run/run_state.h"
#include "text/text.h"

namespace {

enum ImageKindChoice { KIND_OTHER = 0, KIND_FLATE = 1, KIND_DCT = 2 };

struct ImageObject {
  int dict_start;
  int dict_stop;
  int stream_start;
  int stop;
};

ImageObject image_object_of_tmp() {
  return ImageObject{global_tmp_obj.dict_start, global_tmp_obj.dict_stop, global_tmp_obj.stream_start,
                     global_tmp_obj.stop};
}

// /Height or /Width of the dictionary: 0 when the key has no value, else as read.
int read_size(const ImageObject& o, const int32_t* key, int key_length) {
  KeyValueSpan* kv = dict_find_key_value_buffer(o.dict_start, o.dict_stop, key, key_length);
  if (kv->value_start < 0 || kv->value_stop < 0) return 0;
  return get_int_from_buffer(kv->value_start, kv->value_stop);
}

// The products are formed in 64 bits: a huge /Height times /Width must not wrap into range.
bool size_passes(int height, int width) {
  return height > IMG_MIN_HEIGHT && width > IMG_MIN_WIDTH &&
         static_cast<int64_t>(height) * width >= IMG_MIN_HxW;
}

// The strict product of the CCITT, JBIG2 and JPX tests.
bool size_passes_strict(int height, int width) {
  return height > IMG_MIN_HEIGHT && width > IMG_MIN_WIDTH &&
         static_cast<int64_t>(height) * width > IMG_MIN_HxW;
}

int found(const ImageObject& o, const int32_t* key, int key_length) {
  return dict_search_buffer(o.dict_start, o.dict_stop, key, key_length);
}

const char* dict_text(const ImageObject& o) {
  return log_enabled(LOG_DEEP) ? get_string_from_buffer(o.dict_start, o.dict_stop) : "";
}

// The text bookkeeping of a content stream read by text_processor_page.
void count_text(int made, PageWork* work) {
  work->page_success = made;
  work->blocks_created += made;
  work->page_briks += made;
  global_text_found += made;
  master_page_brik_stop = master_page_brik_start + made;
  free(flate_dst_tmp_buffer);
  flate_dst_tmp_buffer = nullptr;
}

struct PassContext {
  int page;
  char* account;
  char* library;
  PageWork* work;
  int image_slot;  // next free image entry for images found inside Form XObjects
  int image_kind;  // 1 Flate, 2 DCT, 0 neither; carried from image to image inside a form
};

// ---- image path, first level: entry k of the page ----
void first_level_image(PassContext& c, int k, const ImageObject& o, int cmyk) {
  PageRecord& page = Pages[c.page];
  PageWork* w = c.work;
  int flate = found(o, flatedecode_seq, 11);
  int dct = found(o, dctdecode_seq, 9);
  c.image_kind = flate == 1 ? KIND_FLATE : dct == 1 ? KIND_DCT : KIND_OTHER;
  int height = read_size(o, height_seq, 6);
  int width = read_size(o, width_seq, 5);
  page.image_height[k] = height;
  page.image_width[k] = width;

  if (c.image_kind == KIND_FLATE) {
    if (size_passes(height, width)) {
      w->image_result = image_handler_flate(height, width, o.stream_start, o.stop, master_image_tracker,
                                            c.account, c.library, c.page, k, dct, w->page_success,
                                            global_png_convert_on, cmyk);
      w->page_briks += w->image_result;
    } else {
      w->image_result = -1;
    }
  } else if (c.image_kind == KIND_DCT) {
    // Intended: no size test at this level; the handler alone looks at the data's length.
    w->image_result = image_handler_dct(o.stream_start, o.stop, master_image_tracker, c.account, c.library,
                                        c.page, k, w->page_success, cmyk);
    w->page_briks += w->image_result;
  } else {
    w->image_result = -1;
    log_at(LOG_DEEP, "DEBUG: pdf_parser - image_not_processed -  Image Name + Dict - %s-%s \n",
           page.image_name[k], dict_text(o));
    if (found(o, ccittfaxdecode_seq, 14) == 1) {
      global_unhandled_img_counter++;
      log_at(LOG_DEEP,
             "DEBUG: pdf_parser - found CCITTFAXDECODE - %s - registering as 'unhandled' - note: "
             "can be converted to TIFF in post-processing. \n",
             page.image_name[k]);
      if (size_passes_strict(height, width) && global_ccitt_image_save_on == 1) {
        w->image_result = image_handler_ccitt(o.stream_start, o.stop, master_image_tracker, c.account,
                                              c.library, c.page, k, w->page_success, height, width);
        w->page_briks += w->image_result;
      }
    }
    if (found(o, jbig2decode_seq, 11) == 1) {
      global_unhandled_img_counter++;
      log_at(LOG_DEEP, "DEBUG: pdf_parser - image handler- JBIG2DECODE image type found - flagging as unhandled-  %s \n",
             page.image_name[k]);
      if (size_passes_strict(height, width)) log_at(LOG_DEEP, "DEBUG: pdf_parser - not saving JBIG2. \n");
    }
    if (found(o, jpxdecode_seq, 9) == 1 && size_passes_strict(height, width)) {
      // Intended: the handler gets image_slot, not k, and takes the position from that entry.
      w->image_result = image_handler_jpx(o.stream_start, o.stop, master_image_tracker, c.account,
                                          c.library, c.page, c.image_slot, w->page_success);
      w->page_briks += w->image_result;
    }
  }
  if (w->image_result >= 0) {
    page.image_id[k] = master_image_tracker;  // Intended: the number after the image's own
    w->blocks_created++;
  }
}

// ---- Form path: the form's text, then each image of its XObject list ----
// `cmyk` is the DeviceCMYK search of the form's own dictionary, as the page's entry found it.
void form_xobject(PassContext& c, const ImageObject& form, int cmyk) {
  PageRecord& page = Pages[c.page];
  PageWork* w = c.work;
  if (found(form, flatedecode_seq, 11) > 0) {
    log_at(LOG_DEEP, "DEBUG: found Form/Flate stream - process text in stream \n");
    int length = flate_handler_buffer_v2(form.stream_start, form.stop);
    count_text(text_processor_page(length, c.page), w);
  }
  KeyValueSpan* kv = dict_find_key_value_buffer(form.dict_start, form.dict_stop, xobject_seq, 7);
  if (kv->value_start < 0 || kv->value_stop < 0) return;
  int count = extract_obj_from_buffer(kv->value_start, kv->value_stop);
  if (count > GLOBAL_NN_TMP_COUNT) count = GLOBAL_NN_TMP_COUNT;
  for (int q = 0; q < count; q++) {
    int number = nn_global_tmp[q].number;
    if (get_obj(number) < 0) continue;
    ImageObject o = image_object_of_tmp();
    int flate = found(o, flatedecode_seq, 11);
    int dct = found(o, dctdecode_seq, 9);
    // Intended: with neither filter the kind stays as the previous image of the form left it.
    if (flate == 1) {
      c.image_kind = KIND_FLATE;
    } else if (dct == 1) {
      c.image_kind = KIND_DCT;
    }
    int height = read_size(o, height_seq, 6);
    int width = read_size(o, width_seq, 5);
    int slot = c.image_slot;
    if (slot >= PAGE_MAX_IMAGES) {
      log_at(LOG_WARN, "WARNING: pdf_parser - image pass - no free image entry on page - form image dropped - %d - %d \n",
             c.page, number);
      continue;
    }
    page.image_obj[slot] = number;
    page.image_height[slot] = height;
    page.image_width[slot] = width;
    page.image_x[slot] = 0;
    page.image_y[slot] = 0;

    if (c.image_kind == KIND_FLATE) {
      if (size_passes(height, width)) {
        w->image_result = image_handler_flate(height, width, o.stream_start, o.stop, master_image_tracker,
                                              c.account, c.library, c.page, slot, dct, w->page_success,
                                              global_png_convert_on, cmyk);
        w->page_briks += w->image_result;
      } else {
        w->image_result = -1;
      }
    } else if (c.image_kind == KIND_DCT) {
      // Intended: a DCT image that fails the size test leaves the previous result in force.
      if (size_passes(height, width)) {
        w->image_result = image_handler_dct(o.stream_start, o.stop, master_image_tracker, c.account,
                                            c.library, c.page, slot, w->page_success, cmyk);
        w->page_briks += w->image_result;
      }
    } else {
      w->image_result = -1;
      log_at(LOG_DEEP, "WARNING: pdf_parser -   image_not_processed -  Image Name + Dict - %s-%s \n",
             page.image_name[slot], dict_text(o));
      page.image_height[slot] = 0;
      page.image_width[slot] = 0;
    }
    if (w->image_result >= 0) {
      page.image_id[slot] = master_image_tracker;
      w->blocks_created++;
      c.image_slot++;
    }
  }
}

}  // namespace

extern "C" {

void run_image_pass(int page_index, char* account, char* library, PageWork* work) {
  PageRecord& page = Pages[page_index];
  if (page.image_count <= 0 || global_image_save_on != 1) return;
  int count = page.image_count < PAGE_MAX_IMAGES ? page.image_count : PAGE_MAX_IMAGES;
  PassContext c{page_index, account, library, work, page.image_count, KIND_OTHER};
  for (int k = 0; k < count; k++) {
    // ---- 1. to 3. ----
    // Intended: strictly above here, where the page's own test is at or above.
    if (global_brik_counter > GLOBAL_MAX_BRIKS) flush_brik_batch();
    if (page.image_placed[k] != 1 && work->page_success != 0) continue;
    page.image_height[k] = 0;
    page.image_width[k] = 0;
    if (get_obj(static_cast<int>(page.image_obj[k])) < 0) continue;
    ImageObject o = image_object_of_tmp();
    // ---- 4. to 6. ----
    int cmyk = found(o, device_cmyk_seq, 10);
    c.image_kind = KIND_OTHER;
    if (o.dict_start < 0 || o.dict_stop < 0) continue;
    if (found(o, form_seq, 4) == 1) {
      form_xobject(c, o, cmyk);
    } else {
      first_level_image(c, k, o, cmyk);
    }
  }
}

}  // extern "C"
