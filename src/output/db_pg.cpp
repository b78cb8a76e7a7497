// output/db_pg.cpp -- write_to_pg: entries [start, stop) of Briks as rows of the table
// `library_name` on PostgreSQL, one connection per call, values as bound text parameters.
// Reads: Briks, my_doc, global_db_uri_string, global_headlines. Writes: the rows, the log, and
// the header text of a short image brik. Limits: DB_SCRATCH_SIZE bytes of prepared text.
#include <libpq-fe.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output/db_guard.h"
#include "output/db_text.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int STATEMENT_SIZE = 1000000;  // the insert text; its fixed part is about 450 bytes
constexpr int PG_PARAMS = 28;            // one per column of the brik table
constexpr int NUMBER_SIZE = 16;          // "%d" of an int with its sign

static const char PG_COLUMNS[] =
    " (block_ID, doc_ID, content_type, file_type, master_index, master_index2, coords_x, coords_y, "
    "coords_cx, coords_cy, author_or_speaker, added_to_collection, file_source, table_block, "
    "modified_date, created_date, creator_tool, external_files, text_block, header_text, "
    "text_search, user_tags, special_field1, special_field2, special_field3, graph_status, dialog, "
    "embedding_flags) ";
static const char PG_VALUES[] =
    " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16, $17, $18, "
    "$19, $20, $21, $22, $23, $24, $25, $26, $27, $28);";

extern "C" {

// Result: 0 whatever happened. A failed connection is logged and every brik then logs its own
// failed insert; a table name that is not a plain identifier refuses every row unsent.
int write_to_pg(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp) {
  // ---- 1. to 4. connection and buffers ----
  log_at(9, "DEBUG: pdf_parser - write_to_pg - starting here - %d - %d.\n", start, stop);
  const char* conninfo = global_db_uri_string != nullptr ? global_db_uri_string : "";
  PGconn* conn = PQconnectdb(conninfo);
  log_at(9, "DEBUG: pdf_parser - write_to_pg - started pgconn connection - %s \n", conninfo);
  char* scratch = static_cast<char*>(malloc(DB_SCRATCH_SIZE));
  char* statement = static_cast<char*>(malloc(STATEMENT_SIZE));
  if (PQstatus(conn) != CONNECTION_OK) {
    log_at(39, "WARNING: pdf_parser - write_to_pg - connection failed - %s \n", conninfo);
  } else {
    log_at(9, "DEBUG: pdf_parser - write_to_pg - connection successful.\n");
  }
  const char* table_name = library_name != nullptr ? library_name : "";
  const char* stamp = time_stamp != nullptr ? time_stamp : "";
  const char* refusal = db_refusal_reason(table_name, nullptr, 0);
  // ---- 5. one insert per brik ----
  for (int i = start; i < stop; i++) {
    BrikRecord* brik = &Briks[i];
    // Intended: the flag is worked out and then not sent; the SQL sinks store "cmyk_flag".
    db_prepare_text(i, scratch, DB_INVALID_HEADER_ALWAYS,
                    "DEBUG: pdf_parser - write_to_pg - fails bson validation - remediating before inserting into db.\n");
    log_at(9, "DEBUG: writing to db: %s \n", brik->text);
    snprintf(statement, STATEMENT_SIZE, "INSERT INTO %s%s%s", table_name, PG_COLUMNS, PG_VALUES);
    char id_text[NUMBER_SIZE], doc_text[NUMBER_SIZE], page_text[NUMBER_SIZE];
    char x_text[NUMBER_SIZE], y_text[NUMBER_SIZE], cx_text[NUMBER_SIZE], cy_text[NUMBER_SIZE];
    snprintf(id_text, NUMBER_SIZE, "%d", brik_id);
    snprintf(doc_text, NUMBER_SIZE, "%d", doc_id);
    snprintf(page_text, NUMBER_SIZE, "%d", brik->master_index + 1);
    snprintf(x_text, NUMBER_SIZE, "%d", brik->coords_x);
    snprintf(y_text, NUMBER_SIZE, "%d", brik->coords_y);
    snprintf(cx_text, NUMBER_SIZE, "%d", brik->coords_cx);
    snprintf(cy_text, NUMBER_SIZE, "%d", brik->coords_cy);
    const char* params[PG_PARAMS] = {
        id_text, doc_text, brik->content_type, "pdf", page_text, "0", x_text, y_text, cx_text,
        cy_text, my_doc.author, stamp, my_doc.file_name, brik->table, my_doc.modified_date,
        my_doc.created_date, my_doc.creator_tool, brik->external_files, scratch,
        brik->header_text, scratch, "", "", "", "cmyk_flag", "false", "false", "{}"};
    PGresult* result = nullptr;
    if (refusal == nullptr) {
      result = PQexecParams(conn, statement, PG_PARAMS, nullptr, params, nullptr, nullptr, 0);
    }
    // Intended: the id moves on before the result is read, so a failure names the next brik's id.
    brik_id++;
    if (result != nullptr && PQresultStatus(result) == PGRES_COMMAND_OK) {
      log_at(9, "DEBUG: pdf_parser - write_to_pg - insert successful.\n");
    } else {
      log_at(39, "WARNING: pdf_parser - write_to_pg - error writing block - %d - %s \n", brik_id,
             refusal != nullptr ? refusal : PQresultErrorMessage(result));
      if (log_enabled(9)) {
        for (const char* p = scratch; *p != 0; p++) {
          if (static_cast<signed char>(*p) <= 31) log_at(9, "- %d - ", static_cast<signed char>(*p));
        }
      }
    }
    PQclear(result);
  }
  // ---- 6. close ----
  free(statement);
  free(scratch);
  PQfinish(conn);
  return 0;
}

}  // extern "C"
