// tests/support/db_fixture.h -- a private place in each database back end for one test: a
// table (PostgreSQL), a file (SQLite) or a database (MongoDB) provisioned from the repository's
// SQL files, pointed at by global_db and global_db_uri_string, read back row by row, and removed
// afterwards. The servers' addresses come from PDFBRIKS_PG_CONNINFO and PDFBRIKS_MONGO_URI.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace pdftest {

enum class Backend { postgres, sqlite, mongo };
extern const Backend ALL_BACKENDS[3];
const char* backend_name(Backend b);  // the global_db text: "postgres", "sqlite", "mongo"

// One stored value, with the type the back end reports.
struct DbValue {
  enum Kind { null, integer, int64, text, other } kind = null;  // int64: a BSON int64 only
  long long number = 0;
  std::string str;
};

using DbRow = std::vector<std::pair<std::string, DbValue>>;  // in column or field order, no _id

struct DbPlace {
  // Makes a fresh place in `backend` and, unless `library` is empty, the brik table named
  // `library` in it (for MongoDB nothing: the first insert makes the collection). skip() says
  // why the place is unusable (server not configured); the caller then GTEST_SKIPs.
  DbPlace(Backend backend, const std::string& library = "briks");
  ~DbPlace();
  DbPlace(const DbPlace&) = delete;
  DbPlace& operator=(const DbPlace&) = delete;

  const std::string& skip() const { return skip_reason; }
  // Sets global_db and global_db_uri_string (borrowed from this place) for the sinks.
  void use();
  // Runs sql/<kind>_postgres.sql or _sqlite.sql with {library} replaced by `table`; on MongoDB,
  // "bookkeeping" makes the library document of `table` and "briks" nothing.
  void provision(const std::string& kind, const std::string& table);
  // Runs SQL text as it is (PostgreSQL and SQLite); false, with the error in `error`, on failure.
  bool exec(const std::string& sql, std::string* error = nullptr);
  // Every row of `table`, sorted by the integer or text field `order_by` when it is not empty.
  std::vector<DbRow> rows(const std::string& table, const std::string& order_by = "");
  // The same rows as fields() texts, one a line.
  std::string text(const std::string& table, std::initializer_list<const char*> names = {},
                   const std::string& order_by = "");

  Backend backend;
  std::string uri;       // connection string, file path or MongoDB URI
  std::string account;   // MongoDB database name (account_name of the sinks)
  std::string library;   // the brik table's name
  std::string skip_reason;
  std::string folder;    // SQLite: the temp folder that holds the file
  std::vector<std::string> tables;  // made here, dropped at the end (PostgreSQL)
};

// Value of `field` in `row` (case-insensitive name), or a null value.
DbValue field(const DbRow& row, const std::string& name);
// The named fields of `row`, or all of them, as "a|b|c"; a null value is "NULL".
std::string fields(const DbRow& row, std::initializer_list<const char*> names = {});

}  // namespace pdftest
