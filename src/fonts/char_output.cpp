// fonts/char_output.cpp -- the last step of text decoding: one output code becomes the bytes
// of one character (or none), for hex strings (char_special_handler) and literal strings
// (char_special_handler_string); and the fold of some accented codes to ASCII.
// Reads: GLOBAL_ENCODING. Writes: char_hex_scratch or char_string_scratch, the result, valid
// until that function's next call.
// Limits: a result holds at most 4 bytes.
#include "fonts/fonts.h"
#include "run/run_state.h"

extern "C" {
char char_hex_scratch[CHAR_SCRATCH_SIZE];     // declared in fonts.h
char char_string_scratch[CHAR_SCRATCH_SIZE];  // declared in fonts.h
}  // extern "C"

namespace {

// Appends bytes to a scratch text; the caller empties it first.
struct CharText {
  char* text;
  int len = 0;
  void put(int byte) {
    if (len < CHAR_SCRATCH_SIZE - 1) {
      text[len++] = static_cast<char>(byte);
      text[len] = 0;
    }
  }
  void put_str(const char* s) {
    while (*s) put(static_cast<unsigned char>(*s++));
  }
};

// The form GLOBAL_ENCODING selects, for a code from 129 to 999,999: one raw byte below 254
// (encoding 1), UTF-8 (encoding 2), nothing for any other setting.
void put_by_encoding(CharText& out, int code) {
  if (GLOBAL_ENCODING == 1) {
    if (code < 254) out.put(code);
  } else if (GLOBAL_ENCODING == 2) {
    if (code < 2048) {
      out.put(0xC0 | (code >> 6));
      out.put(0x80 | (code & 0x3F));
    } else if (code < 65536) {
      out.put(0xE0 | (code >> 12));
      out.put(0x80 | ((code >> 6) & 0x3F));
      out.put(0x80 | (code & 0x3F));
    } else {
      out.put(0xF0 | (code >> 18));
      out.put(0x80 | ((code >> 12) & 0x3F));
      out.put(0x80 | ((code >> 6) & 0x3F));
      out.put(0x80 | (code & 0x3F));
    }
  }
}

// Packed codes: the decimal digits after the leading 1, three at a time, each group one raw
// byte (low eight bits); a byte of 0 adds nothing.
void put_unpacked(CharText& out, int code, int groups) {
  int divisor = groups == 3 ? 1000000 : 1000;
  for (int g = 0; g < groups; g++) {
    int value = (code / divisor) % 1000;
    divisor /= 1000;
    if ((value & 0xFF) != 0) out.put(value & 0xFF);
  }
}

// Rows shared by both functions from 64256 up; returns false where neither has a rule.
bool put_high_code(CharText& out, int code) {
  switch (code) {
    case 64256: out.put_str("ff"); return true;
    case 64257: out.put_str("fi"); return true;
    case 64258: out.put_str("fl"); return true;
    case 64259: out.put_str("ffi"); return true;
    case 6684774: out.put_str("ff"); return true;
    case 6684777: out.put_str("fi"); return true;
    case 6684780: out.put_str("fl"); return true;
    default: break;
  }
  if (code >= 129 && code <= 999999) {
    put_by_encoding(out, code);
  } else if (code >= 1000000 && code <= 1999999) {
    put_unpacked(out, code, 2);
  } else if (code >= 1000000000 && code <= 1999999999) {
    put_unpacked(out, code, 3);
  }
  return true;
}

}  // namespace

extern "C" {

// Text of one code of a hex string. With escape_flag 1 only 9, 10 and 13 give a character
// (tab, line feed, carriage return); every other code gives the empty text.
char* char_special_handler(int code, int escape_flag) {
  char* scratch = char_hex_scratch;
  scratch[0] = 0;
  CharText out{scratch};
  if (escape_flag == 1) {
    if (code == 10) out.put('\n');
    else if (code == 13) out.put('\r');
    else if (code == 9) out.put('\t');
    return scratch;
  }
  if (code < 0) return scratch;
  if (code < 32) {
    if (code == 3 || code == 9) out.put(' ');  // line ends and code 31 give nothing here
    return scratch;
  }
  if (code <= 127) {
    if (code != 92) out.put(code);  // the backslash is dropped in hex strings
    return scratch;
  }
  switch (code) {
    case 128: return scratch;
    case 8212: out.put('-'); return scratch;
    case 8216:
    case 8217: out.put('\''); return scratch;
    case 8220:
    case 8221: out.put('"'); return scratch;
    default: break;  // 8211 goes by encoding here
  }
  put_high_code(out, code);
  return scratch;
}

// Text of one code of a literal string; the second argument has no effect.
char* char_special_handler_string(int code, int unused) {
  char* scratch = char_string_scratch;
  scratch[0] = 0;
  CharText out{scratch};
  if (code < 0) return scratch;
  if (code < 32) {
    if (code == 3 || code == 9 || code == 31) out.put(' ');
    else if (code == 10) out.put('\n');
    else if (code == 13) out.put('\r');
    return scratch;
  }
  if (code <= 127) {
    out.put(code);  // the backslash is kept in literal strings
    return scratch;
  }
  switch (code) {
    case 128: return scratch;
    case 8211:
    case 8212: out.put('-'); return scratch;
    case 8217: out.put('\''); return scratch;
    default: break;  // 8216, 8220 and 8221 go by encoding here
  }
  put_high_code(out, code);
  return scratch;
}

// Folds some accented codes of WinAnsi (kind 9) and MacRoman (kind 1) to plain letters; the
// table holds 247 and 133 for the lower-case c on purpose. Anything else comes back unchanged.
int standard_encoding_variances_handler(int code, int kind) {
  if (kind == 9) {
    switch (code) {
      case 232: case 233: return 101;
      case 200: case 201: return 69;
      case 247: return 99;
      case 199: return 67;
      default: return code;
    }
  }
  if (kind == 1) {
    switch (code) {
      case 142: case 143: return 101;
      case 131: case 233: return 69;
      case 133: return 99;
      case 130: return 67;
      default: return code;
    }
  }
  return code;
}

}  // extern "C"
