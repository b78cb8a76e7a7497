// output/db_doc_ids.cpp -- the `library` row of a library: pull_new_doc_id raises and returns
// its unique_doc_id before each document of a batch; update_library_inc_totals adds a run's
// totals. Reads: global_db, global_db_uri_string. Limits: SQL_SIZE bytes of statement.
#include <mongoc/mongoc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "output/db_guard.h"
#include "output/db_mongo_target.h"
#include "output/output.h"
#include "run/run_state.h"

constexpr int SQL_SIZE = 10000;  // one statement; a library name of plain identifier bytes fits


// Why a statement about `library_name` must not run, or null: the name goes between quotes
// unescaped, so only a plain identifier is accepted; a statement cut by its buffer is refused.
static const char* library_refusal(const char* library_name, int written) {
  if (!db_is_plain_identifier(library_name)) {
    return "statement refused before sending - the library name is not a plain identifier";
  }
  if (written < 0 || written >= SQL_SIZE) return "statement refused before sending - too long";
  return nullptr;
}

static void build_next_id(char* sql, const char* library_name, const char** refusal) {
  int n = snprintf(sql, SQL_SIZE,
                   "UPDATE library SET unique_doc_id = unique_doc_id + 1 WHERE library_name = '%s' "
                   "RETURNING unique_doc_id;",
                   text_or_empty(library_name));
  *refusal = library_refusal(library_name, n);
}

// Pages come before tables among the arguments, tables before pages in the statement.
static void build_totals(char* sql, const char* library_name, int documents, int blocks,
                         int images, int pages, int tables, const char** refusal) {
  int n = snprintf(sql, SQL_SIZE,
                   "UPDATE library SET documents = documents + %d, blocks = blocks + %d, images = "
                   "images + %d, tables = tables + %d, pages = pages + %d WHERE library_name = '%s'; ",
                   documents, blocks, images, tables, pages, text_or_empty(library_name));
  *refusal = library_refusal(library_name, n);
}

static PGconn* pg_connect(const char* name, int warn_limit) {
  PGconn* conn = db_pg_connect(text_or_empty(global_db_uri_string));
  if (PQstatus(conn) != CONNECTION_OK) {
    log_at(warn_limit, "WARNING: pdf_parser - %s - connection failed - %s \n", name,
           text_or_empty(global_db_uri_string));
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - %s - connection successful.\n", name);
  }
  return conn;
}

extern "C" {

// ---- document identifiers ----

int pull_new_doc_id_pg(char* account_name, char* library_name) {
  // The connection warning goes to the log at warning level, like its sisters'.
  PGconn* conn = pg_connect("pull_new_doc_id_pg", LOG_WARN);
  char sql[SQL_SIZE];
  const char* refusal = nullptr;
  build_next_id(sql, library_name, &refusal);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_pg - sql_string - %s \n", sql);
  PGresult* result = refusal == nullptr ? db_pg_exec_one(conn, sql) : nullptr;
  if (result == nullptr || PQresultStatus(result) != PGRES_TUPLES_OK) {
    log_at(LOG_DEBUG, "DEBUG: pdf_parser - pull_new_doc_id_pg - query failed.\n");
    if (refusal != nullptr) log_at(LOG_WARN, "WARNING: pdf_parser - pull_new_doc_id_pg - %s \n", refusal);
  }
  // No row at all (no such library, a failed or refused statement) gives 0, so that the
  // caller's fallback number applies. Otherwise the last value read wins.
  int doc_id = 0;
  int rows = result != nullptr ? PQntuples(result) : 0;
  int fields = result != nullptr ? PQnfields(result) : 0;
  for (int r = 0; r < rows; r++) {
    for (int f = 0; f < fields; f++) doc_id = atoi(PQgetvalue(result, r, f));
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_pg - new doc id - %d \n", doc_id);
  PQclear(result);
  db_pg_release(conn);
  return doc_id;
}

int pull_new_doc_id_sqlite(char* account_name, char* library_name) {
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_sqlite - %s \n", text_or_empty(global_db_uri_string));
  sqlite3* db = nullptr;
  if (db_sqlite_open(text_or_empty(global_db_uri_string), &db) != SQLITE_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - pull_new_doc_id_sqlite - can not open database: %s\n",
           sqlite3_errmsg(db));
    sqlite3_close(db);
    return 0;
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_sqlite - opened database successfully\n");
  char sql[SQL_SIZE];
  const char* refusal = nullptr;
  build_next_id(sql, library_name, &refusal);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_sqlite - sql_string - %s \n", sql);
  sqlite3_stmt* stmt = nullptr;
  const char* tail = nullptr;
  int doc_id = 0;
  if (refusal != nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - pull_new_doc_id - sqlite - query error: %s.\n", refusal);
  } else if (sqlite3_prepare_v2(db, sql, -1, &stmt, &tail) != SQLITE_OK || stmt == nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - pull_new_doc_id - sqlite - query error: %s.\n", sqlite3_errmsg(db));
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id - sqlite - query successful.\n");
    // The loop ends at SQLITE_DONE and at any failure, with the identifier as it stands.
    while (sqlite3_step(stmt) == SQLITE_ROW) doc_id = sqlite3_column_int(stmt, 0);
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - pull_new_doc_id_sqlite - new doc id - %d \n", doc_id);
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return doc_id;
}

int pull_new_doc_id_mongo(char* account_name, char* library_name) {
  MongoTarget target;
  if (!mongo_open(account_name, "library", &target)) return 1;  // Intended: a usable-looking number
  int doc_id = -1;
  bson_t* query = BCON_NEW("library_name", BCON_UTF8(text_or_empty(library_name)));
  bson_t* update = BCON_NEW("$inc", "{", "unique_doc_id", BCON_INT64(1), "}");
  bson_t reply;
  bson_error_t error;
  if (!mongoc_collection_find_and_modify(target.collection, query, nullptr, update, nullptr,
                                         false, false, true, &reply, &error)) {
    fprintf(stderr, "%s\n", error.message);
  }
  bson_iter_t iter;
  bson_iter_t inner;
  if (bson_iter_init_find(&iter, &reply, "value") &&
      (BSON_ITER_HOLDS_DOCUMENT(&iter) || BSON_ITER_HOLDS_ARRAY(&iter)) &&
      bson_iter_recurse(&iter, &inner) && bson_iter_find(&inner, "unique_doc_id")) {
    doc_id = static_cast<int>(bson_iter_int64(&inner));
    log_at(LOG_DEEP, "DEBUG: pdf_parser - pulled new unique doc_id value - %d \n", doc_id);
  }
  bson_destroy(&reply);
  bson_destroy(update);
  bson_destroy(query);
  mongo_close(&target);
  return doc_id;
}

int pull_new_doc_id(char* account_name, char* library_name) {
  int doc_id = -1;
  const char* db = text_or_empty(global_db);
  if (strcmp(db, "mongo") == 0) doc_id = pull_new_doc_id_mongo(account_name, library_name);
  if (strcmp(db, "postgres") == 0) doc_id = pull_new_doc_id_pg(account_name, library_name);
  if (strcmp(db, "sqlite") == 0) doc_id = pull_new_doc_id_sqlite(account_name, library_name);
  return doc_id;
}

// ---- library totals ----

int update_library_inc_totals_pg(char* account_name, char* library_name, int documents,
                                 int blocks, int images, int pages, int tables) {
  PGconn* conn = pg_connect("update_library_inc_totals_pg", LOG_WARN);
  char sql[SQL_SIZE];
  const char* refusal = nullptr;
  build_totals(sql, library_name, documents, blocks, images, pages, tables, &refusal);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - update_library_inc_totals_pg - %s \n", sql);
  PGresult* result = refusal == nullptr ? db_pg_exec_one(conn, sql) : nullptr;
  if (result != nullptr && PQresultStatus(result) == PGRES_COMMAND_OK) {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - update_library_inc_totals_pg - insert successful.\n");
  } else {
    log_at(LOG_WARN, "WARNING: pdf_parser - update_library_inc_totals_pg - insert failed.\n");
    if (refusal != nullptr) {
      log_at(LOG_WARN, "WARNING: pdf_parser - update_library_inc_totals_pg - %s \n", refusal);
    }
  }
  PQclear(result);
  db_pg_release(conn);
  return 0;
}

int update_library_inc_totals_sqlite(char* account_name, char* library_name, int documents,
                                     int blocks, int images, int pages, int tables) {
  sqlite3* db = nullptr;
  if (db_sqlite_open(text_or_empty(global_db_uri_string), &db) != SQLITE_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - update_library_inc_totals_sqlite - can not open database: %s\n",
           sqlite3_errmsg(db));
    sqlite3_close(db);
    return 0;
  }
  log_at(LOG_DEEP, "DEBUG: pdf_parser - update_library_inc_totals_sqlite - opened database successfully.\n");
  char sql[SQL_SIZE];
  const char* refusal = nullptr;
  build_totals(sql, library_name, documents, blocks, images, pages, tables, &refusal);
  log_at(LOG_DEEP, "DEBUG: pdf_parser - update_library_inc_totals_sqlite - sql_string - %s \n", sql);
  char* error = nullptr;
  if (refusal != nullptr) {
    log_at(LOG_WARN, "WARNING: pdf_parser - update_library_inc_totals_sqlite - exec error: %s\n", refusal);
  } else if (db_sqlite_exec_one(db, sql, &error) != SQLITE_OK) {
    log_at(LOG_WARN, "WARNING: pdf_parser - update_library_inc_totals_sqlite - exec error: %s\n",
           text_or_empty(error));
    sqlite3_free(error);
  } else {
    log_at(LOG_DEEP, "DEBUG: pdf_parser - update_library_inc_totals_sqlite - update successful.\n");
  }
  sqlite3_close(db);
  return 0;
}

int update_library_inc_totals_mongo(char* account_name, char* library_name, int documents,
                                    int blocks, int images, int pages, int tables) {
  MongoTarget target;
  if (!mongo_open(account_name, "library", &target)) return 1;
  bson_t* selector = BCON_NEW("library_name", BCON_UTF8(text_or_empty(library_name)));
  bson_t* update = BCON_NEW("$inc", "{",
                            "documents", BCON_INT64(documents),
                            "blocks", BCON_INT64(blocks),
                            "images", BCON_INT64(images),
                            "tables", BCON_INT64(tables),
                            "pages", BCON_INT64(pages), "}");
  bson_error_t error;
  if (!mongoc_collection_update_one(target.collection, selector, update, nullptr, nullptr, &error)) {
    fprintf(stderr, "%s\n", error.message);
  }
  bson_destroy(update);
  bson_destroy(selector);
  mongo_close(&target);
  return 0;
}

int update_library_inc_totals(char* account_name, char* library_name, int documents, int blocks,
                              int images, int pages, int tables) {
  int result = 0;
  const char* db = text_or_empty(global_db);
  if (strcmp(db, "mongo") == 0) {
    result = update_library_inc_totals_mongo(account_name, library_name, documents, blocks, images, pages, tables);
  }
  if (strcmp(db, "postgres") == 0) {
    result = update_library_inc_totals_pg(account_name, library_name, documents, blocks, images, pages, tables);
  }
  if (strcmp(db, "sqlite") == 0) {
    result = update_library_inc_totals_sqlite(account_name, library_name, documents, blocks, images, pages, tables);
  }
  return result;
}

}  // extern "C"
