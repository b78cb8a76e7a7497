// tests/support/db_fixture.cpp -- private places in the three database back ends for the tests.
#include "db_fixture.h"

#include <libpq-fe.h>
#include <mongoc/mongoc.h>
#include <sqlite3.h>
#include <gtest/gtest.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "pdf_writer.h"
#include "run/run_state.h"

namespace pdftest {

const Backend ALL_BACKENDS[3] = {Backend::postgres, Backend::sqlite, Backend::mongo};

const char* backend_name(Backend b) {
  return b == Backend::postgres ? "postgres" : b == Backend::sqlite ? "sqlite" : "mongo";
}

static DbValue db_int(long long n) { DbValue v; v.kind = DbValue::integer; v.number = n; return v; }
static DbValue db_int64(long long n) { DbValue v; v.kind = DbValue::int64; v.number = n; return v; }
static DbValue db_text(const std::string& s) { DbValue v; v.kind = DbValue::text; v.str = s; return v; }

DbValue field(const DbRow& row, const std::string& name) {
  for (const auto& kv : row) {
    if (strcasecmp(kv.first.c_str(), name.c_str()) == 0) return kv.second;
  }
  return DbValue{};
}

std::string fields(const DbRow& row, std::initializer_list<const char*> names) {
  std::vector<DbValue> values;
  for (const auto& kv : row) {
    if (names.size() == 0) values.push_back(kv.second);
  }
  for (const char* n : names) values.push_back(field(row, n));
  std::string out;
  for (size_t i = 0; i < values.size(); i++) {
    const DbValue& v = values[i];
    bool number = v.kind == DbValue::integer || v.kind == DbValue::int64;
    out += (i ? "|" : "") + (v.kind == DbValue::null ? "NULL" : number ? std::to_string(v.number) : v.str);
  }
  return out;
}

static int place_counter = 0;

static std::string unique_name() {
  return "t" + std::to_string(getpid()) + "_" + std::to_string(++place_counter);
}

static std::string env(const char* name) {
  const char* v = getenv(name);
  return v != nullptr ? v : "";
}

// ---- PostgreSQL: one connection per operation, each place in its own schema ----
static PGconn* pg_connect(const std::string& conninfo) {
  PGconn* conn = PQconnectdb(conninfo.c_str());
  PQsetNoticeProcessor(conn, [](void*, const char*) {}, nullptr);
  return conn;
}

static bool pg_exec(const std::string& conninfo, const std::string& sql, std::string* error) {
  PGconn* conn = pg_connect(conninfo);
  PGresult* r = PQexec(conn, sql.c_str());
  bool ok = PQresultStatus(r) == PGRES_COMMAND_OK || PQresultStatus(r) == PGRES_TUPLES_OK;
  if (!ok && error != nullptr) *error = PQresultErrorMessage(r);
  PQclear(r);
  PQfinish(conn);
  return ok;
}

DbPlace::DbPlace(Backend b, const std::string& lib) : backend(b), library(lib) {
  static bool mongo_started = false;
  std::string name = unique_name();
  account = "acct_" + name;
  if (backend == Backend::postgres) {
    std::string base = env("PDFBRIKS_PG_CONNINFO");
    if (base.empty()) { skip_reason = "PDFBRIKS_PG_CONNINFO is not set (run under scripts/with_test_servers.sh)"; return; }
    std::string error;
    if (!pg_exec(base, "CREATE SCHEMA " + name, &error)) { skip_reason = "PostgreSQL: " + error; return; }
    uri = base + " options='-c search_path=" + name + "'";
    account = name;  // the schema, dropped at the end
  } else if (backend == Backend::sqlite) {
    folder = make_temp_dir("db_sqlite");
    uri = folder + "briks.db";
  } else {
    uri = env("PDFBRIKS_MONGO_URI");
    if (uri.empty()) { skip_reason = "PDFBRIKS_MONGO_URI is not set (run under scripts/with_test_servers.sh)"; return; }
    if (!mongo_started) { mongoc_init(); mongo_started = true; }
  }
  if (!library.empty()) provision("briks", library);
}

DbPlace::~DbPlace() {
  if (!skip_reason.empty()) return;
  if (backend == Backend::postgres) {
    pg_exec(env("PDFBRIKS_PG_CONNINFO"), "DROP SCHEMA " + account + " CASCADE", nullptr);
  } else if (backend == Backend::sqlite) {
    std::filesystem::remove_all(folder);
  } else {
    mongoc_client_t* client = mongoc_client_new(uri.c_str());
    mongoc_database_t* db = mongoc_client_get_database(client, account.c_str());
    mongoc_database_drop(db, nullptr);
    mongoc_database_destroy(db);
    mongoc_client_destroy(client);
  }
}

void DbPlace::use() {
  global_db = const_cast<char*>(backend_name(backend));
  global_db_uri_string = const_cast<char*>(uri.c_str());
}

void DbPlace::provision(const std::string& kind, const std::string& table) {
  if (backend == Backend::mongo) {
    if (kind == "briks") return;  // the first insert makes the collection
    mongoc_client_t* client = mongoc_client_new(uri.c_str());
    mongoc_collection_t* c = mongoc_client_get_collection(client, account.c_str(), "library");
    bson_t* row = BCON_NEW("library_name", BCON_UTF8(table.c_str()), "unique_doc_id", BCON_INT64(0));
    EXPECT_TRUE(mongoc_collection_insert_one(c, row, nullptr, nullptr, nullptr));
    bson_destroy(row);
    mongoc_collection_destroy(c);
    mongoc_client_destroy(client);
    return;
  }
  // The repository's sql/ folder, found from this file's own path (tests/support/ beside it).
  std::string here = __FILE__, file = kind + (backend == Backend::postgres ? "_postgres.sql" : "_sqlite.sql");
  std::string sql = read_file(here.substr(0, here.rfind("/tests/support/")) + "/sql/" + file), error;
  for (size_t at; (at = sql.find("{library}")) != std::string::npos;) sql.replace(at, 9, table);
  if (sql.empty() || !exec(sql, &error)) ADD_FAILURE() << "provisioning " << file << ": " << error;
}

bool DbPlace::exec(const std::string& sql, std::string* error) {
  if (backend == Backend::postgres) return pg_exec(uri, sql, error);
  if (backend != Backend::sqlite) return false;
  sqlite3* db = nullptr;
  sqlite3_open(uri.c_str(), &db);
  char* message = nullptr;
  bool ok = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) == SQLITE_OK;
  if (!ok && error != nullptr) *error = message != nullptr ? message : "";
  sqlite3_free(message);
  sqlite3_close(db);
  return ok;
}

static std::vector<DbRow> pg_rows(const std::string& conninfo, const std::string& table) {
  std::vector<DbRow> rows;
  PGconn* conn = pg_connect(conninfo);
  PGresult* r = PQexec(conn, ("SELECT * FROM " + table).c_str());
  for (int t = 0; PQresultStatus(r) == PGRES_TUPLES_OK && t < PQntuples(r); t++) {
    DbRow row;
    for (int f = 0; f < PQnfields(r); f++) {
      DbValue v;
      Oid type = PQftype(r, f);
      if (PQgetisnull(r, t, f)) {
      } else if (type == 20 || type == 21 || type == 23) {  // int8, int2, int4
        v = db_int(atoll(PQgetvalue(r, t, f)));
      } else {
        v = db_text(PQgetvalue(r, t, f));
        if (type != 25 && type != 1043) v.kind = DbValue::other;  // neither text nor varchar
      }
      row.emplace_back(PQfname(r, f), v);
    }
    rows.push_back(row);
  }
  PQclear(r);
  PQfinish(conn);
  return rows;
}

static std::vector<DbRow> sqlite_rows(const std::string& path, const std::string& table) {
  std::vector<DbRow> rows;
  sqlite3* db = nullptr;
  sqlite3_stmt* stmt = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_prepare_v2(db, ("SELECT * FROM " + table).c_str(), -1, &stmt, nullptr);
  while (stmt != nullptr && sqlite3_step(stmt) == SQLITE_ROW) {
    DbRow row;
    for (int f = 0; f < sqlite3_column_count(stmt); f++) {
      DbValue v;
      int type = sqlite3_column_type(stmt, f);
      if (type == SQLITE_INTEGER) v = db_int(sqlite3_column_int64(stmt, f));
      if (type == SQLITE_TEXT) {
        v = db_text(std::string(reinterpret_cast<const char*>(sqlite3_column_text(stmt, f)),
                                sqlite3_column_bytes(stmt, f)));
      }
      if (type == SQLITE_FLOAT || type == SQLITE_BLOB) v.kind = DbValue::other;
      row.emplace_back(sqlite3_column_name(stmt, f), v);
    }
    rows.push_back(row);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return rows;
}

static std::vector<DbRow> mongo_rows(const std::string& uri, const std::string& account,
                                     const std::string& collection_name) {
  std::vector<DbRow> rows;
  mongoc_client_t* client = mongoc_client_new(uri.c_str());
  mongoc_collection_t* coll = mongoc_client_get_collection(client, account.c_str(), collection_name.c_str());
  bson_t filter = BSON_INITIALIZER;
  mongoc_cursor_t* cursor = mongoc_collection_find_with_opts(coll, &filter, nullptr, nullptr);
  const bson_t* doc = nullptr;
  while (mongoc_cursor_next(cursor, &doc)) {
    DbRow row;
    bson_iter_t it;
    bson_iter_init(&it, doc);
    while (bson_iter_next(&it)) {
      std::string key = bson_iter_key(&it);
      if (key == "_id") continue;
      DbValue v;
      bson_type_t type = bson_iter_type(&it);
      if (type == BSON_TYPE_INT64) v = db_int64(bson_iter_as_int64(&it));
      else if (type == BSON_TYPE_INT32) v = db_int(bson_iter_as_int64(&it));
      else if (type == BSON_TYPE_UTF8) v = db_text(bson_iter_utf8(&it, nullptr));
      else if (type != BSON_TYPE_NULL) v.kind = DbValue::other;
      row.emplace_back(key, v);
    }
    rows.push_back(row);
  }
  mongoc_cursor_destroy(cursor);
  bson_destroy(&filter);
  mongoc_collection_destroy(coll);
  mongoc_client_destroy(client);
  return rows;
}

std::vector<DbRow> DbPlace::rows(const std::string& table, const std::string& order_by) {
  std::vector<DbRow> rows = backend == Backend::postgres ? pg_rows(uri, table)
                            : backend == Backend::sqlite ? sqlite_rows(uri, table)
                                                         : mongo_rows(uri, account, table);
  if (!order_by.empty()) {
    std::stable_sort(rows.begin(), rows.end(), [&](const DbRow& a, const DbRow& b) {
      DbValue x = field(a, order_by), y = field(b, order_by);
      return x.number != y.number ? x.number < y.number : x.str < y.str;
    });
  }
  return rows;
}

std::string DbPlace::text(const std::string& table, std::initializer_list<const char*> names,
                          const std::string& order_by) {
  std::string out;
  for (const DbRow& row : rows(table, order_by)) out += (out.empty() ? "" : "\n") + fields(row, names);
  return out;
}

}  // namespace pdftest
