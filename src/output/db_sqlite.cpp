// output/db_sqlite.cpp -- write_to_sqlite: entries [start, stop) of Briks as rows of the table
// `library_name` in the SQLite file global_db_uri_string, each row the values of one literal
// INSERT text with five values escaped, in one transaction per call.
// Reads: Briks, my_doc, global_db_uri_string, global_headlines. Writes: the rows, the log, and the
// header text of a short image brik. Limits: STATEMENT_SIZE bytes of statement.
#include <libpq-fe.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output/db_guard.h"
#include "output/db_text.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int STATEMENT_SIZE = 1000000;  // holds the fixed text and every value escaped at its worst
// PQescapeString writes at most twice the input plus the terminator, so each buffer takes its
// source's capacity twice over.
constexpr size_t ESCAPED_TEXT_SIZE = 2 * DB_SCRATCH_SIZE + 1;
constexpr size_t ESCAPED_HEADER_SIZE = 2 * BRIK_HEADER_SIZE + 1;
constexpr size_t ESCAPED_TABLE_SIZE = 2 * BRIK_TABLE_SIZE + 1;
constexpr size_t ESCAPED_DOC_SIZE = 2 * sizeof(DocumentRecord::author) + 1;  // author, then file name

static const char SQLITE_COLUMNS[] =
    "(block_ID, doc_ID, content_type, file_type, master_index, master_index2, coords_x, coords_y, "
    "coords_cx, coords_cy, author_or_speaker, added_to_collection, file_source, table_block, "
    "modified_date, created_date, creator_tool, external_files, text_block, header_text, "
    "text_search, user_tags, special_field1, special_field2, special_field3, graph_status, dialog, "
    "embedding_flags) ";

static size_t escape(char* to, const char* from) {
  return PQescapeString(to, from, strlen(from));
}

// Turns the escaped text of `length` bytes into the value its quoted SQL literal stands for:
// each doubled quote becomes one (a backslash is an ordinary byte in SQLite). Result: new length.
static int unquote(char* text, size_t length) {
  size_t out = 0;
  for (size_t k = 0; k < length; k++) {
    text[out++] = text[k];
    if (text[k] == '\'' && k + 1 < length && text[k + 1] == '\'') k++;
  }
  text[out] = 0;
  return static_cast<int>(out);
}

extern "C" {

// Result: 0 whatever happened. A database that does not open stops the call before any row.
// All rows of a call share one transaction: a refused INSERT undoes only its own statement (the
// table's conflict rule is the default ABORT), so each row still stands or falls alone, as it
// would committed by itself, and the file sees one commit per batch instead of one per row.
int write_to_sqlite(int start, int stop, char* account_name, char* library_name, int doc_id,
                    int brik_id, char* time_stamp) {
  // ---- 1. and 2. open ----
  const char* path = global_db_uri_string != nullptr ? global_db_uri_string : "";
  log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_sqlite - %s \n", path);
  sqlite3* db = nullptr;
  if (db_sqlite_open(path, &db) != SQLITE_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - write_to_sqlite - can not open database: %s\n", sqlite3_errmsg(db));
    sqlite3_close(db);  // the handle of a failed open still holds memory
    return 0;
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_sqlite - opened database successfully\n");
  char* scratch = static_cast<char*>(malloc(DB_SCRATCH_SIZE));
  char* statement = static_cast<char*>(malloc(STATEMENT_SIZE));
  char* escaped_text = static_cast<char*>(malloc(ESCAPED_TEXT_SIZE));
  char* escaped_header = static_cast<char*>(malloc(ESCAPED_HEADER_SIZE));
  char* escaped_table = static_cast<char*>(malloc(ESCAPED_TABLE_SIZE));
  char* escaped_doc = static_cast<char*>(malloc(ESCAPED_DOC_SIZE));
  char* escaped_file = static_cast<char*>(malloc(ESCAPED_DOC_SIZE));
  const char* table_name = library_name != nullptr ? library_name : "";
  const char* stamp = time_stamp != nullptr ? time_stamp : "";
  // The row's literal INSERT text is built for the log only; the row itself goes through one
  // statement prepared once per call, with each value bound as the literal would have given it:
  // integers as integers, an escaped value as the text its quoted literal stands for, a raw
  // value as it is (it holds no quote, or the row is refused). The stored rows, the failure texts
  // and the log are those of the literal statements; parsing 28 columns once per call instead of
  // once per row is most of the saving.
  char insert_text[sizeof SQLITE_COLUMNS + 400];
  snprintf(insert_text, sizeof insert_text,
           "INSERT INTO %s%sVALUES (?1, ?2, ?3, 'pdf', ?4, 0, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, "
           "?14, ?15, ?16, ?17, ?18, ?17, '', '', '', 'cmyk_flag', 'false', 'false', 'test432');",
           table_name, SQLITE_COLUMNS);
  sqlite3_stmt* insert = nullptr;
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  // ---- 3. one row per brik ----
  for (int i = start; i < stop; i++) {
    BrikRecord* brik = &Briks[i];
    // Intended: the flag is worked out and then not written; the row always says 'cmyk_flag'.
    db_prepare_text(i, scratch, DB_INVALID_HEADER_IF_ON,
                    "DEBUG:  pdf_parser - write_to_sqlite - fails bson validation - remediating.\n");
    log_at(LOG_DEEP, "DEBUG: pdf_parser - writing to db: %s \n", brik->text.c_str());
    size_t text_length = escape(escaped_text, scratch);
    size_t header_length = escape(escaped_header, brik->header_text);
    size_t table_length = escape(escaped_table, brik->table);
    size_t author_length = escape(escaped_doc, my_doc.author);
    size_t file_length = escape(escaped_file, my_doc.file_name);
    if (log_enabled(LOG_DEEP)) {
      snprintf(statement, STATEMENT_SIZE,
               "INSERT INTO %s%sVALUES (%d, %d, '%s', 'pdf', %d, %d, %d, %d, %d, %d, '%s', '%s', '%s', "
               "'%s', '%s', '%s', '%s', '%s', '%s', '%s', '%s', '', '', '', 'cmyk_flag', 'false', "
               "'false', 'test432');",
               table_name, SQLITE_COLUMNS, brik_id, doc_id, brik->content_type, brik->master_index + 1,
               0, brik->coords_x, brik->coords_y, brik->coords_cx, brik->coords_cy, escaped_doc, stamp,
               escaped_file, escaped_table, my_doc.modified_date, my_doc.created_date,
               my_doc.creator_tool, brik->external_files, escaped_text, escaped_header, escaped_text);
      log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_db_sqlite - sql_string - %s \n", statement);
    }
    // The values written between quotes without escaping must hold no quote, and the table name
    // must be a plain identifier; otherwise the row is never sent.
    const DbRawValue raw[] = {{"content_type", brik->content_type},
                              {"added_to_collection", stamp},
                              {"modified_date", my_doc.modified_date},
                              {"created_date", my_doc.created_date},
                              {"creator_tool", my_doc.creator_tool},
                              {"external_files", brik->external_files}};
    const char* refusal = db_refusal_reason(table_name, raw, sizeof raw / sizeof raw[0]);
    if (refusal != nullptr) {
      log_at(LOG_WARN, "WARNING: pdf_parser - write_to_db_sqlite - exec error: %s\n", refusal);
      brik_id++;
      continue;
    }
    // Prepared again on each row until it prepares, as each literal text would be.
    if (insert == nullptr && sqlite3_prepare_v2(db, insert_text, -1, &insert, nullptr) != SQLITE_OK) {
      log_at(LOG_WARN, "WARNING: pdf_parser - write_to_db_sqlite - exec error: %s\n", sqlite3_errmsg(db));
      brik_id++;
      continue;
    }
    sqlite3_bind_int(insert, 1, brik_id);
    sqlite3_bind_int(insert, 2, doc_id);
    sqlite3_bind_text(insert, 3, brik->content_type, -1, SQLITE_STATIC);
    sqlite3_bind_int64(insert, 4, static_cast<sqlite3_int64>(brik->master_index) + 1);
    sqlite3_bind_int(insert, 5, brik->coords_x);
    sqlite3_bind_int(insert, 6, brik->coords_y);
    sqlite3_bind_int(insert, 7, brik->coords_cx);
    sqlite3_bind_int(insert, 8, brik->coords_cy);
    sqlite3_bind_text(insert, 9, escaped_doc, unquote(escaped_doc, author_length), SQLITE_STATIC);
    sqlite3_bind_text(insert, 10, stamp, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 11, escaped_file, unquote(escaped_file, file_length), SQLITE_STATIC);
    sqlite3_bind_text(insert, 12, escaped_table, unquote(escaped_table, table_length), SQLITE_STATIC);
    sqlite3_bind_text(insert, 13, my_doc.modified_date, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 14, my_doc.created_date, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 15, my_doc.creator_tool, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 16, brik->external_files, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert, 17, escaped_text, unquote(escaped_text, text_length), SQLITE_STATIC);
    sqlite3_bind_text(insert, 18, escaped_header, unquote(escaped_header, header_length), SQLITE_STATIC);
    if (sqlite3_step(insert) != SQLITE_DONE) {
      log_at(LOG_WARN, "WARNING: pdf_parser - write_to_db_sqlite - exec error: %s\n", sqlite3_errmsg(db));
      // A failure of the disk (full, I/O, memory) ends the whole transaction; later rows then
      // go into a fresh one.
      if (sqlite3_get_autocommit(db)) sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    } else {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_db_sqlite - insert successful.\n");
    }
    sqlite3_reset(insert);
    brik_id++;
  }
  sqlite3_finalize(insert);
  // ---- 4. close ----
  char* error = nullptr;
  if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, &error) != SQLITE_OK && !sqlite3_get_autocommit(db)) {
    log_at(LOG_WARN, "WARNING: pdf_parser - write_to_db_sqlite - exec error: %s\n", error != nullptr ? error : "");
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  sqlite3_free(error);
  free(escaped_file);
  free(escaped_doc);
  free(escaped_table);
  free(escaped_header);
  free(escaped_text);
  free(statement);
  free(scratch);
  sqlite3_close(db);
  return 0;
}

}  // extern "C"
