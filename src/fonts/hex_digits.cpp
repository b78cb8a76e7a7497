// fonts/hex_digits.cpp -- reads the digits of a hexadecimal token: one digit, or a group of
// 2, 4, 8 or 12 digits, where 8 and 12 digits pack two or three one-byte characters into a
// decimal number (1AAABBB, 1AAABBBCCC) that char_special_handler unpacks again.
// Reads: nothing global but the logger level. Writes: nothing. Limits: none.
#include "fonts/fonts.h"
#include "run/run_state.h"

namespace {

// Characters 0 and 1 of each four-digit block must be "0" for the packed forms.
bool zero_padded(const int64_t* digits, int blocks) {
  for (int b = 0; b < blocks; b++) {
    if (digits[4 * b] != '0' || digits[4 * b + 1] != '0') return false;
  }
  return true;
}

int byte_at(const int64_t* digits, int first) {
  return get_hex_one_digit(static_cast<int>(digits[first])) * 16 +
         get_hex_one_digit(static_cast<int>(digits[first + 1]));
}

}  // namespace

extern "C" {

// "0"-"9", "A"-"F", "a"-"f" give their value; anything else gives 0 without complaint.
int get_hex_one_digit(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return 0;
}

// Value of a digit group by its count; any other count gives 0.
// The 12-digit form pads a byte of 9 or less to two decimal places only, so such a packed
// number comes out short and the unpacking yields nothing for it: that is the intended result.
int get_hex(int64_t* digits, int count) {
  switch (count) {
    case 2:
      return byte_at(digits, 0);
    case 4:
      return byte_at(digits, 0) * 256 + byte_at(digits, 2);
    case 8:
      if (!zero_padded(digits, 2)) return 0;
      return 1000000 + byte_at(digits, 2) * 1000 + byte_at(digits, 6);
    case 12: {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - found a long 12 digit hex - special encoding applied.\n");
      if (!zero_padded(digits, 3)) return 0;
      int64_t packed = 1;
      for (int b = 0; b < 3; b++) {
        int value = byte_at(digits, 4 * b + 2);
        packed = packed * (value <= 9 ? 100 : 1000) + value;
      }
      return static_cast<int>(packed);
    }
    default:
      return 0;
  }
}

}  // extern "C"
