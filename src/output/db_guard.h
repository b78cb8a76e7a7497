// output/db_guard.h -- the checks every statement built as text passes before it reaches a
// database: the table name must be a plain identifier, a value written between quotes without
// escaping must hold no single quote, and a statement text runs as exactly one statement.
// Shared by the brik sinks and the run's bookkeeping. Its only state is the reason text,
// db_refusal_text (output.h); nothing here logs.
#pragma once

#include <libpq-fe.h>
#include <sqlite3.h>

extern "C" {

constexpr int DB_SQLITE_BUSY_MS = 5000;  // a file shared by several processes: wait this long for a lock

// One value that a statement carries between single quotes without escaping, with the name of
// its field for the refusal reason.
struct DbRawValue {
  const char* field;
  const char* value;
};

// 1 if `name` is a plain identifier: [A-Za-z_][A-Za-z0-9_]*, at least one byte; 0 otherwise
// (null included). Table names go into statements unquoted, so only these are accepted.
int db_is_plain_identifier(const char* name);

// 1 if `value` holds a single quote; 0 otherwise (null included).
int db_has_single_quote(const char* value);

// Why a statement must not be sent, or null when it may be: `table_name` (skipped when null) is
// not a plain identifier, or one of the `count` raw values holds a single quote. The reason is a
// scratch text, valid until the next call; it stands in the log where a server's error would.
const char* db_refusal_reason(const char* table_name, const DbRawValue* values, int count);

// sqlite3_open plus the busy timeout, so a writer waits for a lock instead of failing at once.
// Result and handle as sqlite3_open's.
int db_sqlite_open(const char* path, sqlite3** db);

// Runs `sql` like sqlite3_exec with no callback, but only as one statement: the text is
// prepared once, and a text with anything but blanks or comments after its first statement is
// refused before it runs. Result: SQLITE_OK, or an error code with *errmsg (when errmsg is not
// null) set to a text from sqlite3_malloc that the caller releases with sqlite3_free.
int db_sqlite_exec_one(sqlite3* db, const char* sql, char** errmsg);

// Runs `sql` on PostgreSQL as exactly one command (the extended protocol refuses a text with
// several). Same result as PQexec; the caller PQclears it.
PGresult* db_pg_exec_one(PGconn* conn, const char* sql);

}  // extern "C"
