// fonts/string_decoders.cpp -- (placeholder until the font work lands)
#include "fonts/fonts.h"
#include <cstdio>
extern "C" {
char* hex_handler_new(char*, int, int, int, float) { static char s[1]; return s; }
char* char_special_handler(int code, int) { static char s[8]; s[0] = 0; if (code >= 32 && code < 127 && code != 92) { s[0] = (char)code; s[1] = 0; } return s; }
char* char_special_handler_string(int code, int) { static char s[8]; s[0] = 0; if (code >= 32 && code < 128) { s[0] = (char)code; s[1] = 0; } return s; }
int standard_encoding_variances_handler(int code, int) { return code; }
int get_hex(int64_t*, int) { return 0; }
int get_hex_one_digit(int) { return 0; }
int differences_handler(char*, int font_index) { return 0; }
int fontfile_handler(char*, int font_index) { return 0; }
}
