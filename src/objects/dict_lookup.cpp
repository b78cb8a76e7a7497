// objects/dict_lookup.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
extern "C" {
int dict_search_buffer(int, int, const int32_t*, int) { return -1; }
KeyValueSpan* dict_find_key_value_buffer(int, int, const int32_t*, int) { static KeyValueSpan k{-1,-1,-1,-1,0}; return &k; }
int extract_obj_from_buffer(int, int) { return 0; }
int extract_obj_from_buffer_with_safety_check(int, int) { return 0; }
int dict_search(int64_t*, int, const int32_t*, int) { return 0; }
int dict_find_key_value(int64_t*, int, const int32_t*, int) { return 0; }
int extract_obj_from_dict_value(int64_t*, int) { return 0; }
}
