// output/db_pg.cpp -- write_to_pg: entries [start, stop) of Briks as rows of the table
// `library_name` on PostgreSQL, one connection per call (inside a batch run, the run's kept one),
// values as bound text parameters.
// Reads: Briks, my_doc, global_db_uri_string, global_headlines. Writes: the rows, the log, and
// the header text of a short image brik. Limits: DB_SCRATCH_SIZE bytes of prepared text.
#include <libpq-fe.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "output/db_guard.h"
#include "output/db_text.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int STATEMENT_SIZE = 1000000;  // the insert text; its fixed part is about 450 bytes
constexpr int PG_PARAMS = 28;            // one per column of the brik table
constexpr int NUMBER_SIZE = 16;          // "%d" of an int with its sign
static const char PG_PREPARED[] = "pdfbriks_brik_insert";  // lives as long as the call's connection

static const char PG_COLUMNS[] =
    " (block_ID, doc_ID, content_type, file_type, master_index, master_index2, coords_x, coords_y, "
    "coords_cx, coords_cy, author_or_speaker, added_to_collection, file_source, table_block, "
    "modified_date, created_date, creator_tool, external_files, text_block, header_text, "
    "text_search, user_tags, special_field1, special_field2, special_field3, graph_status, dialog, "
    "embedding_flags) ";
static const char PG_VALUES[] =
    " VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12, $13, $14, $15, $16, $17, $18, "
    "$19, $20, $21, $22, $23, $24, $25, $26, $27, $28);";

// The 28 parameters of Briks[i] with the running id `id`, in column order. `numbers` holds the
// seven decimal texts; `scratch` the prepared text.
static void fill_params(int i, int id, int doc_id, const char* stamp, const char* scratch,
                        char numbers[7][NUMBER_SIZE], const char* params[PG_PARAMS]) {
  BrikRecord* brik = &Briks[i];
  snprintf(numbers[0], NUMBER_SIZE, "%d", id);
  snprintf(numbers[1], NUMBER_SIZE, "%d", doc_id);
  snprintf(numbers[2], NUMBER_SIZE, "%d", brik->master_index + 1);
  snprintf(numbers[3], NUMBER_SIZE, "%d", brik->coords_x);
  snprintf(numbers[4], NUMBER_SIZE, "%d", brik->coords_y);
  snprintf(numbers[5], NUMBER_SIZE, "%d", brik->coords_cx);
  snprintf(numbers[6], NUMBER_SIZE, "%d", brik->coords_cy);
  const char* values[PG_PARAMS] = {
      numbers[0], numbers[1], brik->content_type, "pdf", numbers[2], "0", numbers[3], numbers[4],
      numbers[5], numbers[6], my_doc.author, stamp, my_doc.file_name, brik->table,
      my_doc.modified_date, my_doc.created_date, my_doc.creator_tool, brik->external_files, scratch,
      brik->header_text, scratch, "", "", "", "cmyk_flag", "false", "false", "{}"};
  memcpy(params, values, sizeof values);
}

static const char PG_REMEDIATION[] =
    "DEBUG: pdf_parser - write_to_pg - fails bson validation - remediating before inserting into db.\n";

// Reads the results of one command sent in pipeline mode. Result: its status; the error text of a
// failed command goes to `error`.
static ExecStatusType take_result(PGconn* conn, std::string* error) {
  PGresult* result = PQgetResult(conn);
  ExecStatusType status = result != nullptr ? PQresultStatus(result) : PGRES_FATAL_ERROR;
  if (status == PGRES_FATAL_ERROR && error != nullptr) *error = PQresultErrorMessage(result);
  PQclear(result);
  if (status != PGRES_PIPELINE_SYNC) {
    while ((result = PQgetResult(conn)) != nullptr) PQclear(result);  // the command's end
  }
  return status;
}

static void send_command(PGconn* conn, const char* command) {
  PQsendQueryParams(conn, command, 0, nullptr, nullptr, nullptr, nullptr, 0);
}

// The rows of one call sent without waiting for each answer: BEGIN, every insert, COMMIT, then
// the answers. A row the server refuses aborts that transaction, which is rolled back; the rows
// before it are sent again in a transaction of their own and the batch goes on behind it, so
// every row ends stored or refused with its own error, as committed by itself. A transaction
// that ends in some other way hands the rows not yet stored to one-by-one inserts. The warnings
// are logged afterwards in row order; only used when no line below limit 39 would be logged.
static void write_rows_pipelined(PGconn* conn, const char* statement, int start, int stop, int doc_id,
                                 int brik_id, const char* stamp, char* scratch) {
  const int n = stop - start;
  enum { PENDING, STORED, REFUSED };
  std::vector<char> state(n, PENDING), prepared(n, 0);
  std::vector<std::string> errors(n);
  char numbers[7][NUMBER_SIZE];
  const char* params[PG_PARAMS];
  auto text_of = [&](int k) {
    if (prepared[k]) {
      db_prepare_text_again(start + k, scratch);
    } else {
      db_prepare_text(start + k, scratch, DB_INVALID_HEADER_ALWAYS, PG_REMEDIATION);
      prepared[k] = 1;
    }
  };
  bool pipeline_ok = PQenterPipelineMode(conn) == 1;
  // The insert is parsed once per call as a prepared statement, which saves the server most of
  // its work per row. Any refusal under it rolls the round back and the round is sent again as
  // plain statements, so that every error text is exactly that of a plain insert.
  bool prepared_ok = false;
  if (pipeline_ok) {
    PQsendPrepare(conn, PG_PREPARED, statement, PG_PARAMS, nullptr);
    PQpipelineSync(conn);
    prepared_ok = take_result(conn, nullptr) == PGRES_COMMAND_OK;
    take_result(conn, nullptr);  // the sync
  }
  const bool prepared_made = prepared_ok;
  int pos = 0, end = n;
  while (pipeline_ok && pos < n) {
    // ---- send: BEGIN, the pending rows of [pos, end), COMMIT, sync ----
    std::vector<int> sent;
    send_command(conn, "BEGIN");
    for (int k = pos; k < end; k++) {
      if (state[k] != PENDING) continue;
      text_of(k);
      fill_params(start + k, brik_id + k, doc_id, stamp, scratch, numbers, params);
      if (prepared_ok) {
        PQsendQueryPrepared(conn, PG_PREPARED, PG_PARAMS, params, nullptr, nullptr, 0);
      } else {
        PQsendQueryParams(conn, statement, PG_PARAMS, nullptr, params, nullptr, nullptr, 0);
      }
      sent.push_back(k);
    }
    send_command(conn, "COMMIT");
    PQpipelineSync(conn);
    // ---- answers ----
    bool begun = take_result(conn, nullptr) == PGRES_COMMAND_OK;
    int refused = -1;
    for (int k : sent) {
      std::string error;
      ExecStatusType status = take_result(conn, &error);
      if (status == PGRES_FATAL_ERROR && refused < 0) {
        refused = k;
        errors[k] = error;
      }
    }
    bool committed = take_result(conn, nullptr) == PGRES_COMMAND_OK;
    take_result(conn, nullptr);  // the sync
    if (PQtransactionStatus(conn) == PQTRANS_INERROR || PQtransactionStatus(conn) == PQTRANS_INTRANS) {
      send_command(conn, "ROLLBACK");
      PQpipelineSync(conn);
      take_result(conn, nullptr);
      take_result(conn, nullptr);
    }
    if (prepared_ok && !(begun && refused < 0 && committed) && PQstatus(conn) == CONNECTION_OK) {
      prepared_ok = false;  // the same rows again, as plain statements
    } else if (begun && refused < 0 && committed) {
      for (int k : sent) state[k] = STORED;
      pos = end;
      end = n;
    } else if (begun && refused >= 0 && PQstatus(conn) == CONNECTION_OK) {
      state[refused] = REFUSED;
      bool before = false;
      for (int k = pos; k < refused; k++) before = before || state[k] == PENDING;
      if (before) {
        end = refused;  // the rows before it first, on their own
      } else {
        pos = refused + 1;
        end = n;
      }
    } else {
      pipeline_ok = false;
    }
  }
  PQexitPipelineMode(conn);
  // A run's kept connection goes on to the next call, which prepares the statement again.
  if (prepared_made && conn == pg_session_conn) {
    PQclear(PQexec(conn, (std::string("DEALLOCATE ") + PG_PREPARED).c_str()));
  }
  // ---- whatever is still pending goes one row at a time ----
  for (int k = 0; k < n; k++) {
    if (state[k] != PENDING) continue;
    text_of(k);
    fill_params(start + k, brik_id + k, doc_id, stamp, scratch, numbers, params);
    PGresult* result = PQexecParams(conn, statement, PG_PARAMS, nullptr, params, nullptr, nullptr, 0);
    state[k] = PQresultStatus(result) == PGRES_COMMAND_OK ? STORED : REFUSED;
    errors[k] = PQresultErrorMessage(result);
    PQclear(result);
  }
  // Intended: a refused row names the next brik's id, as in the one-by-one inserts.
  for (int k = 0; k < n; k++) {
    if (state[k] == REFUSED) {
      log_at(LOG_WARN, "WARNING: pdf_parser - write_to_pg - error writing block - %d - %s \n", brik_id + k + 1,
             errors[k].c_str());
    }
  }
}

extern "C" {

// Result: 0 whatever happened. A failed connection is logged and every brik then logs its own
// failed insert; a table name that is not a plain identifier refuses every row unsent.
int write_to_pg(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp) {
  // ---- 1. to 4. connection and buffers ----
  log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_pg - starting here - %d - %d.\n", start, stop);
  const char* conninfo = global_db_uri_string != nullptr ? global_db_uri_string : "";
  PGconn* conn = db_pg_connect(conninfo);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_pg - started pgconn connection - %s \n", conninfo);
  char* scratch = static_cast<char*>(malloc(DB_SCRATCH_SIZE));
  char* statement = static_cast<char*>(malloc(STATEMENT_SIZE));
  if (PQstatus(conn) != CONNECTION_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - write_to_pg - connection failed - %s \n", conninfo);
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_pg - connection successful.\n");
  }
  const char* table_name = library_name != nullptr ? library_name : "";
  const char* stamp = time_stamp != nullptr ? time_stamp : "";
  const char* refusal = db_refusal_reason(table_name, nullptr, 0);
  // The statement text is the same for every brik of a call, so it is built once.
  snprintf(statement, STATEMENT_SIZE, "INSERT INTO %s%s%s", table_name, PG_COLUMNS, PG_VALUES);
  // ---- 5. one insert per brik; pipelined when the log shows warnings only ----
  if (refusal == nullptr && PQstatus(conn) == CONNECTION_OK && !log_enabled(LOG_DEBUG) && stop - start > 1) {
    write_rows_pipelined(conn, statement, start, stop, doc_id, brik_id, stamp, scratch);
    start = stop;
  }
  for (int i = start; i < stop; i++) {
    BrikRecord* brik = &Briks[i];
    // Intended: the flag is worked out and then not sent; the SQL sinks store "cmyk_flag".
    db_prepare_text(i, scratch, DB_INVALID_HEADER_ALWAYS, PG_REMEDIATION);
    log_at(LOG_DEEP, "DEBUG: writing to db: %s \n", brik->text.c_str());
    char numbers[7][NUMBER_SIZE];
    const char* params[PG_PARAMS];
    fill_params(i, brik_id, doc_id, stamp, scratch, numbers, params);
    PGresult* result = nullptr;
    if (refusal == nullptr) {
      result = PQexecParams(conn, statement, PG_PARAMS, nullptr, params, nullptr, nullptr, 0);
    }
    // Intended: the id moves on before the result is read, so a failure names the next brik's id.
    brik_id++;
    if (result != nullptr && PQresultStatus(result) == PGRES_COMMAND_OK) {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - write_to_pg - insert successful.\n");
    } else {
      log_at(LOG_WARN, "WARNING: pdf_parser - write_to_pg - error writing block - %d - %s \n", brik_id,
             refusal != nullptr ? refusal : PQresultErrorMessage(result));
      if (log_enabled(LOG_DEEP)) {
        for (const char* p = scratch; *p != 0; p++) {
          if (static_cast<signed char>(*p) <= 31) log_at(LOG_DEEP, "- %d - ", static_cast<signed char>(*p));
        }
      }
    }
    PQclear(result);
  }
  // ---- 6. close ----
  free(statement);
  free(scratch);
  db_pg_release(conn);
  return 0;
}

}  // extern "C"
