// output/db_status.cpp -- the run's bookkeeping records: the job's `status` row (upserted by its
// key) and one `parser_events` row per document that could not be parsed, on all three back ends.
// Reads: global_db, global_db_uri_string, global_account_name. Writes: nothing but the database.
// Limits: STATEMENT_SIZE bytes of statement; a longer statement is refused, never cut.
#include <mongoc/mongoc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output/db_guard.h"
#include "output/db_mongo_target.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int STATEMENT_SIZE = 100000;  // one status or event statement; the values are short texts


// The reason a statement built as text must not run: a refused value, a library name that is
// not a plain identifier (when `library` is not null), or a statement cut by its buffer.
static const char* statement_refusal(const char* library, const DbRawValue* values, int count,
                                     int written) {
  if (library != nullptr && !db_is_plain_identifier(library)) {
    return "statement refused before sending - the library name is not a plain identifier";
  }
  const char* reason = db_refusal_reason(nullptr, values, count);
  if (reason != nullptr) return reason;
  if (written < 0 || written >= STATEMENT_SIZE) return "statement refused before sending - too long";
  return nullptr;
}

// One PostgreSQL statement on its own connection, with the messages of `name`: the connection
// lines, the statement at deep debug (when log_sql), "insert successful" or "insert failed".
// A refused statement is not sent; its reason follows the failure warning.
static void run_pg_statement(const char* name, const char* sql, const char* refusal) {
  log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - starting.\n", name);
  PGconn* conn = db_pg_connect(text_or_empty(global_db_uri_string));
  if (PQstatus(conn) != CONNECTION_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - %s - connection failed - %s \n", name,
           text_or_empty(global_db_uri_string));
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - connection successful.\n", name);
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - sql_string - %s \n", name, sql);
  PGresult* result = refusal == nullptr ? db_pg_exec_one(conn, sql) : nullptr;
  if (result != nullptr && PQresultStatus(result) == PGRES_COMMAND_OK) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - insert successful.\n", name);
  } else {
    log_at(LOG_WARN, "WARNING: pdf_parser - %s - insert failed.\n", name);
    if (refusal != nullptr) log_at(LOG_WARN, "WARNING: pdf_parser - %s - %s \n", name, refusal);
  }
  PQclear(result);
  db_pg_release(conn);
}

// One SQLite statement through a fresh handle: open (waiting for a lock), run as one statement,
// close. `start_limit` is the level of the "starting." line; `log_sql` logs the statement.
static void run_sqlite_statement(const char* name, int start_limit, int log_sql, const char* sql,
                                 const char* refusal) {
  log_at(start_limit, "DEBUG: pdf_parser - %s - starting.\n", name);
  sqlite3* db = nullptr;
  if (db_sqlite_open(text_or_empty(global_db_uri_string), &db) != SQLITE_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - %s - can not open database: %s\n", name, sqlite3_errmsg(db));
    sqlite3_close(db);  // Intended: the handle sqlite3_open gives even on failure is released
    return;
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - opened database successfully.\n", name);
  if (log_sql) log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - sql_string - %s \n", name, sql);
  if (refusal != nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - %s - exec error: %s\n", name, refusal);
  } else {
    char* error = nullptr;
    if (db_sqlite_exec_one(db, sql, &error) != SQLITE_OK) {
      log_at(LOG_WARN, "WARNING: pdf_parser - %s - exec error: %s\n", name, text_or_empty(error));
      sqlite3_free(error);
    } else {
      log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - update successful.\n", name);
    }
  }
  sqlite3_close(db);
}

extern "C" {

// ---- status ----

int register_status_update_pg(char* key, char* summary, char* start_time, char* end_time,
                              int total, int current) {
  char* sql = static_cast<char*>(malloc(STATEMENT_SIZE));
  // Intended: a new row holds the words start_time and end_time; an update stores the start
  // argument and empties end_time. Two blanks follow "current = %d,".
  int n = snprintf(sql, STATEMENT_SIZE,
                   "INSERT INTO status (key, summary, start_time, end_time, total, current, units) "
                   "VALUES ('%s', '%s', 'start_time', 'end_time', %d, %d, 'files') ON CONFLICT (key) "
                   "DO UPDATE SET key = '%s', summary = '%s', start_time = '%s', end_time = '', "
                   "total = %d, current = %d,  units = 'files';",
                   text_or_empty(key), text_or_empty(summary), total, current, text_or_empty(key),
                   text_or_empty(summary), text_or_empty(start_time), total, current);
  DbRawValue raw[] = {{"key", key}, {"summary", summary}, {"start_time", start_time}};
  run_pg_statement("register_status_update_pg", sql, statement_refusal(nullptr, raw, 3, n));
  free(sql);
  return 0;
}

int register_status_update_sqlite(char* key, char* summary, char* start_time, char* end_time,
                                  int total, int current) {
  char* sql = static_cast<char*>(malloc(STATEMENT_SIZE));
  int n = snprintf(sql, STATEMENT_SIZE,
                   "INSERT INTO status (key, summary, start_time, end_time, total, current, units) "
                   "VALUES ('%s', '%s', '%s', '%s', %d, %d, 'files') ON CONFLICT (key) "
                   "DO UPDATE SET key = '%s', summary = '%s', start_time = '%s', end_time = '', "
                   "total = %d, current = %d,  units = 'files';",
                   text_or_empty(key), text_or_empty(summary), text_or_empty(start_time),
                   text_or_empty(end_time), total, current, text_or_empty(key),
                   text_or_empty(summary), text_or_empty(start_time), total, current);
  DbRawValue raw[] = {
      {"key", key}, {"summary", summary}, {"start_time", start_time}, {"end_time", end_time}};
  run_sqlite_statement("register_status_update_sqlite", LOG_DEEP, 0, sql,
                       statement_refusal(nullptr, raw, 4, n));
  free(sql);
  return 0;
}

int register_status_update_mongo(char* key, char* summary, char* start_time, char* end_time,
                                 int total, int current) {
  MongoTarget target;
  if (!mongo_open(global_account_name, "status", &target)) return 1;
  bson_t* options = BCON_NEW("upsert", BCON_BOOL(true));
  bson_t* selector = BCON_NEW("key", BCON_UTF8(text_or_empty(key)));
  bson_t* update = BCON_NEW("$set", "{",
                            "key", BCON_UTF8(text_or_empty(key)),
                            "summary", BCON_UTF8(text_or_empty(summary)),
                            "start_time", BCON_UTF8(text_or_empty(start_time)),
                            "end_time", BCON_UTF8(text_or_empty(end_time)),
                            "total", BCON_INT64(total),
                            "current", BCON_INT64(current),
                            "units", BCON_UTF8("files"),
                            "sender", BCON_UTF8("pdf_parser"), "}");
  bson_error_t error;
  if (!mongoc_collection_update_one(target.collection, selector, update, options, nullptr, &error)) {
    fprintf(stderr, "%s\n", error.message);
  }
  bson_destroy(update);
  bson_destroy(selector);
  bson_destroy(options);
  mongo_close(&target);
  return 0;
}

int register_status_update(char* key, char* summary, char* start_time, char* end_time,
                           int total, int current) {
  const char* db = text_or_empty(global_db);
  if (strcmp(db, "mongo") == 0) register_status_update_mongo(key, summary, start_time, end_time, total, current);
  if (strcmp(db, "postgres") == 0) register_status_update_pg(key, summary, start_time, end_time, total, current);
  if (strcmp(db, "sqlite") == 0) register_status_update_sqlite(key, summary, start_time, end_time, total, current);
  return 0;
}

// ---- failure events ----

// The event statement, shared by PostgreSQL and SQLite; the blank before ")" is the system's.
static const char* build_event(char* sql, char* job_id, char* library_name, char* account_name,
                               char* file_name, char* message, char* ocr_flag, char* fail_flag,
                               char* time_stamp) {
  int n = snprintf(sql, STATEMENT_SIZE,
                   "INSERT INTO parser_events (job_id, parser_type, library_name, account_name, "
                   "file_name, message, ocr_flag, fail_flag, time_stamp) VALUES ('%s', 'pdf', '%s', "
                   "'%s', '%s', '%s', '%s', '%s', '%s' );",
                   text_or_empty(job_id), text_or_empty(library_name), text_or_empty(account_name),
                   text_or_empty(file_name), text_or_empty(message), text_or_empty(ocr_flag),
                   text_or_empty(fail_flag), text_or_empty(time_stamp));
  DbRawValue raw[] = {{"job_id", job_id},       {"account_name", account_name},
                      {"file_name", file_name}, {"message", message},
                      {"ocr_flag", ocr_flag},   {"fail_flag", fail_flag},
                      {"time_stamp", time_stamp}};
  return statement_refusal(text_or_empty(library_name), raw, 7, n);
}

int register_parser_event_pg(char* job_id, char* library_name, char* account_name,
                             char* file_name, char* message, char* ocr_flag, char* fail_flag,
                             char* time_stamp) {
  char* sql = static_cast<char*>(malloc(STATEMENT_SIZE));
  const char* refusal = build_event(sql, job_id, library_name, account_name, file_name, message,
                                    ocr_flag, fail_flag, time_stamp);
  run_pg_statement("register_parser_event_pg", sql, refusal);
  free(sql);
  return 0;
}

int register_parser_event_sqlite(char* job_id, char* library_name, char* account_name,
                                 char* file_name, char* message, char* ocr_flag, char* fail_flag,
                                 char* time_stamp) {
  char* sql = static_cast<char*>(malloc(STATEMENT_SIZE));
  const char* refusal = build_event(sql, job_id, library_name, account_name, file_name, message,
                                    ocr_flag, fail_flag, time_stamp);
  // Intended: this back end's "starting." line is written at warning level.
  run_sqlite_statement("register_parser_event_sqlite", LOG_WARN, 1, sql, refusal);
  free(sql);
  return 0;
}

int register_parser_event_mongo(char* job_id, char* library_name, char* account_name,
                                char* file_name, char* message, char* ocr_flag, char* fail_flag,
                                char* time_stamp) {
  MongoTarget target;
  if (!mongo_open(account_name, "parser_events", &target)) return 1;
  bson_t* event = BCON_NEW("job_id", BCON_UTF8(text_or_empty(job_id)),
                           "parser_type", BCON_UTF8("pdf"),
                           "library_name", BCON_UTF8(text_or_empty(library_name)),
                           "account_name", BCON_UTF8(text_or_empty(account_name)),
                           "file_name", BCON_UTF8(text_or_empty(file_name)),
                           "message", BCON_UTF8(text_or_empty(message)),
                           "ocr_flag", BCON_UTF8(text_or_empty(ocr_flag)),
                           "fail_flag", BCON_UTF8(text_or_empty(fail_flag)),
                           "time_stamp", BCON_UTF8(text_or_empty(time_stamp)));
  bson_error_t error;
  if (!mongoc_collection_insert_one(target.collection, event, nullptr, nullptr, &error)) {
    fprintf(stderr, "%s\n", error.message);
  }
  bson_destroy(event);
  mongo_close(&target);
  return 0;
}

int register_parser_event(char* job_id, char* library_name, char* account_name, char* file_name,
                          char* message, char* ocr_flag, char* fail_flag, char* time_stamp) {
  const char* db = text_or_empty(global_db);
  if (strcmp(db, "mongo") == 0) {
    register_parser_event_mongo(job_id, library_name, account_name, file_name, message, ocr_flag,
                                fail_flag, time_stamp);
  }
  if (strcmp(db, "postgres") == 0) {
    register_parser_event_pg(job_id, library_name, account_name, file_name, message, ocr_flag,
                             fail_flag, time_stamp);
  }
  if (strcmp(db, "sqlite") == 0) {
    register_parser_event_sqlite(job_id, library_name, account_name, file_name, message,
                                 ocr_flag, fail_flag, time_stamp);
  }
  return 0;
}

}  // extern "C"
