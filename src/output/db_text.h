// output/db_text.h -- the text preparation the three database sinks share: a brik's text is
// sent as it is when it is valid UTF-8 and stripped to printable ASCII when not, and a short
// image brik takes the document's headlines. Used by db_pg.cpp, db_sqlite.cpp and db_mongo.cpp.
#pragma once

extern "C" {

constexpr int DB_SCRATCH_SIZE = 100000;     // the prepared text: a brik's text plus the headlines
constexpr int DB_SHORT_IMAGE_TEXT = 9;      // image briks with this much text or less take the headlines
constexpr int DB_SHORT_IMAGE_HEADER = 20;   // ... and, below this header length, in the header too (valid path)

// Header rule on the path where the headlines are not valid UTF-8.
constexpr int DB_INVALID_HEADER_ALWAYS = 1;   // PostgreSQL: the kept bytes always join the header
constexpr int DB_INVALID_HEADER_IF_ON = 0;    // SQLite, MongoDB: only when GLOBAL_GET_HEADER_TEXT is 1

// Fills `scratch` (DB_SCRATCH_SIZE bytes) with the prepared text of Briks[i] and may append the
// headlines to that brik's header_text in Briks. `remediation_line` is logged at limit 10 when the
// text is not valid UTF-8. Result: the CMYK flag text, "CMYK_FLAG" or "".
const char* db_prepare_text(int i, char* scratch, int invalid_header_rule, const char* remediation_line);

// The same prepared text of a brik already prepared, for sending it again: nothing is logged and
// header_text is not touched (the prepared text does not depend on it).
void db_prepare_text_again(int i, char* scratch);

}  // extern "C"
