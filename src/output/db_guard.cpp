// output/db_guard.cpp -- refusal of statements that would let a document's text or a table name
// run SQL of its own, and one-statement execution for SQLite and PostgreSQL.
// Reads: its arguments only. Writes: the scratch reason text db_refusal_text.
// Limits: DB_REFUSAL_TEXT_SIZE bytes of reason (output.h).
#include "output/db_guard.h"
#include "output/output.h"

#include <cstdio>
#include <cstring>

extern "C" {
char db_refusal_text[DB_REFUSAL_TEXT_SIZE];  // declared in output.h
}  // extern "C"

static int is_ident_start(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

extern "C" {

int db_is_plain_identifier(const char* name) {
  if (name == nullptr || !is_ident_start(static_cast<unsigned char>(name[0]))) return 0;
  for (const char* p = name + 1; *p != 0; p++) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (!is_ident_start(c) && !(c >= '0' && c <= '9')) return 0;
  }
  return 1;
}

int db_has_single_quote(const char* value) {
  return value != nullptr && strchr(value, '\'') != nullptr;
}

const char* db_refusal_reason(const char* table_name, const DbRawValue* values, int count) {
  if (table_name != nullptr && !db_is_plain_identifier(table_name)) {
    snprintf(db_refusal_text, sizeof db_refusal_text,
             "statement refused before sending - the table name is not a plain identifier");
    return db_refusal_text;
  }
  for (int k = 0; k < count; k++) {
    if (db_has_single_quote(values[k].value)) {
      snprintf(db_refusal_text, sizeof db_refusal_text,
               "statement refused before sending - a single quote in %s, which is written unescaped",
               values[k].field != nullptr ? values[k].field : "a value");
      return db_refusal_text;
    }
  }
  return nullptr;
}

// Opens the file with the busy wait set. A file kept in write-ahead-log mode (as provisioning
// makes it) commits without a disk flush per transaction: the log is flushed at its checkpoints,
// and a commit is then safe from corruption and from a crash of the process, though not from a
// power loss right after it. With a flush per commit, the half dozen commits of each file held
// the write lock through a disk flush each, and several processes writing to one file waited on
// one another for most of their time. A file in another mode keeps its flush per commit.
int db_sqlite_open(const char* path, sqlite3** db) {
  int rc = sqlite3_open(path, db);
  if (rc != SQLITE_OK) return rc;
  sqlite3_busy_timeout(*db, DB_SQLITE_BUSY_MS);
  sqlite3_stmt* mode = nullptr;
  if (sqlite3_prepare_v2(*db, "PRAGMA journal_mode", -1, &mode, nullptr) == SQLITE_OK && sqlite3_step(mode) == SQLITE_ROW) {
    const unsigned char* name = sqlite3_column_text(mode, 0);
    if (name != nullptr && sqlite3_stricmp(reinterpret_cast<const char*>(name), "wal") == 0) {
      sqlite3_exec(*db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    }
  }
  sqlite3_finalize(mode);
  return rc;
}

int db_sqlite_exec_one(sqlite3* db, const char* sql, char** errmsg) {
  if (errmsg != nullptr) *errmsg = nullptr;
  sqlite3_stmt* stmt = nullptr;
  const char* tail = nullptr;
  int rc = sqlite3_prepare_v2(db, sql, -1, &stmt, &tail);
  if (rc != SQLITE_OK) {
    if (errmsg != nullptr) *errmsg = sqlite3_mprintf("%s", sqlite3_errmsg(db));
    return rc;
  }
  // Whatever follows the first statement must prepare to nothing (blanks, comments, a lone ';').
  if (tail != nullptr && *tail != 0) {
    sqlite3_stmt* extra = nullptr;
    int tail_rc = sqlite3_prepare_v2(db, tail, -1, &extra, nullptr);
    if (tail_rc != SQLITE_OK || extra != nullptr) {
      sqlite3_finalize(extra);
      sqlite3_finalize(stmt);
      if (errmsg != nullptr) {
        *errmsg = sqlite3_mprintf("statement refused before running - more than one statement in one text");
      }
      return SQLITE_ERROR;
    }
  }
  if (stmt == nullptr) return SQLITE_OK;  // blanks or comments only, as sqlite3_exec allows
  do {
    rc = sqlite3_step(stmt);
  } while (rc == SQLITE_ROW);
  if (rc == SQLITE_DONE) {
    rc = SQLITE_OK;
  } else if (errmsg != nullptr) {
    *errmsg = sqlite3_mprintf("%s", sqlite3_errmsg(db));
  }
  sqlite3_finalize(stmt);
  return rc;
}

PGresult* db_pg_exec_one(PGconn* conn, const char* sql) {
  return PQexecParams(conn, sql, 0, nullptr, nullptr, nullptr, nullptr, 0);
}

}  // extern "C"
