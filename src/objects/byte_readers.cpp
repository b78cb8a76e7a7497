// objects/byte_readers.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
extern "C" {
char* get_string_from_buffer(int, int) { static char s[1]; return s; }
char* get_string_from_byte_array(int64_t*, int) { static char s[1]; return s; }
int get_int_from_buffer(int, int) { return -1; }
int get_int_from_byte_array(int64_t*) { return -1; }
float get_float_from_byte_array(int64_t*) { return 0.0f; }
}
