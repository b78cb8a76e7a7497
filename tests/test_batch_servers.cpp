// tests/test_batch_servers.cpp -- run bookkeeping on the PostgreSQL server and the MongoDB-wire
// peer that scripts/with_test_servers.sh starts: status upserts, events, document ids, totals,
// refused statements, and a folder run through level 3 into PostgreSQL.
#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <mongoc/mongoc.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "doc_fixture.h"
#include "output/output.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

namespace {

const char* env(const char* name) {
  const char* v = getenv(name);
  return v != nullptr && *v != 0 ? v : nullptr;
}

char* text(const char* s) { return const_cast<char*>(s); }

// The server's connection text with a schema of the test's own first on the search path, so
// tests that run at the same time do not share tables.
std::string in_schema(const char* conninfo, const std::string& schema) {
  return std::string(conninfo) + " options='-csearch_path=" + schema + "'";
}

// One PostgreSQL connection for the test's own statements; rows come back as "a|b" texts.
struct Pg {
  PGconn* conn;
  explicit Pg(const std::string& conninfo) : conn(PQconnectdb(conninfo.c_str())) {}
  ~Pg() { PQfinish(conn); }
  std::vector<std::string> rows(const std::string& sql) {
    PGresult* r = PQexec(conn, sql.c_str());
    std::vector<std::string> out;
    for (int i = 0; i < PQntuples(r); i++) {
      std::string row;
      for (int f = 0; f < PQnfields(r); f++) row += (f ? "|" : "") + std::string(PQgetvalue(r, i, f));
      out.push_back(row);
    }
    EXPECT_TRUE(PQresultStatus(r) == PGRES_TUPLES_OK || PQresultStatus(r) == PGRES_COMMAND_OK)
        << sql << PQresultErrorMessage(r);
    PQclear(r);
    return out;
  }
  // A fresh set of bookkeeping tables with the row of `library`.
  void provision(const std::string& schema, const std::string& library) {
    rows("DROP SCHEMA IF EXISTS " + schema + " CASCADE; CREATE SCHEMA " + schema);
    std::string sql = read_file(std::string(PDFBRIKS_TEST_DATA) + "/../../sql/bookkeeping_postgres.sql");
    for (size_t at; (at = sql.find("{library}")) != std::string::npos;) sql.replace(at, 9, library);
    rows(sql);
  }
};

void use_db(const char* kind, const char* uri) {
  static std::string kind_text, uri_text;
  kind_text = kind;
  uri_text = uri;
  global_db = &kind_text[0];
  global_db_uri_string = &uri_text[0];
}

}  // namespace

TEST(BookkeepingPg, StatusEventsIdsTotals) {
  const char* conninfo = env("PDFBRIKS_PG_CONNINFO");
  if (conninfo == nullptr) GTEST_SKIP() << "no PostgreSQL server (scripts/with_test_servers.sh)";
  std::string target = in_schema(conninfo, "batch_calls");
  Pg pg(target);
  pg.provision("batch_calls", "lib");
  use_db("postgres", target.c_str());
  LogCapture log(20);

  // A new row holds the two words; an update stores start_time and empties end_time.
  register_status_update(text("job"), text("In Progress"), text("s1"), text("e1"), 30, 0);
  EXPECT_EQ(pg.rows("SELECT * FROM status"),
            std::vector<std::string>{"job|In Progress|start_time|end_time|30|0|files"});
  register_status_update(text("job"), text("Completed"), text("s2"), text("e2"), 30, 30);
  EXPECT_EQ(pg.rows("SELECT * FROM status"), std::vector<std::string>{"job|Completed|s2||30|30|files"});

  register_parser_event(text("7"), text("lib"), text("acct"), text("/in/a.pdf"), text("ENCRYPTED"),
                        text("yes"), text("fail"), text("now"));
  EXPECT_EQ(pg.rows("SELECT * FROM parser_events"),
            std::vector<std::string>{"7|pdf|lib|acct|/in/a.pdf|ENCRYPTED|yes|fail|now"});

  EXPECT_EQ(pull_new_doc_id(text("acct"), text("lib")), 1);
  EXPECT_EQ(pull_new_doc_id(text("acct"), text("lib")), 2);
  EXPECT_LT(pull_new_doc_id(text("acct"), text("nolib")), 1);  // no row: below 1

  update_library_inc_totals(text("acct"), text("lib"), 1, 2, 3, 7, 5);  // pages 7, tables 5
  EXPECT_EQ(pg.rows("SELECT documents, blocks, images, tables, pages FROM library"),
            std::vector<std::string>{"1|2|3|5|7"});

  // Refused before sending: a quote in a file name, a library name that is no identifier.
  register_parser_event(text("7"), text("lib"), text("acct"), text("/in/it's.pdf"), text("NO_CATALOG"),
                        text("yes"), text("fail"), text("now"));
  EXPECT_LT(pull_new_doc_id(text("acct"), text("lib'--")), 1);
  EXPECT_EQ(pg.rows("SELECT count(*) FROM parser_events").at(0), "1");
  std::string t = log.text();
  EXPECT_NE(t.find("WARNING: pdf_parser - register_parser_event_pg - insert failed.\n"
                   "WARNING: pdf_parser - register_parser_event_pg - statement refused before sending - "
                   "a single quote in file_name"), std::string::npos);
  EXPECT_NE(t.find("WARNING: pdf_parser - pull_new_doc_id_pg - statement refused before sending - "
                   "the library name is not a plain identifier"), std::string::npos);

  // A server that is not there: the connection warning reaches the log, the number falls below 1.
  use_db("postgres", "host=127.0.0.1 port=1 connect_timeout=2");
  EXPECT_LT(pull_new_doc_id(text("acct"), text("lib")), 1);
  EXPECT_NE(log.text().find("WARNING: pdf_parser - pull_new_doc_id_pg - connection failed - "), std::string::npos);
}

// A folder through level 3 into PostgreSQL: numbers from the library row, one event, totals and
// the closing status.
TEST(BookkeepingPg, FolderRun) {
  const char* conninfo = env("PDFBRIKS_PG_CONNINFO");
  if (conninfo == nullptr) GTEST_SKIP() << "no PostgreSQL server (scripts/with_test_servers.sh)";
  std::string target = in_schema(conninfo, "batch_folder");
  Pg pg(target);
  pg.provision("batch_folder", "lib");
  std::string work = make_temp_dir("pgrun");
  std::string in = work + "in/";
  mkdir(in.c_str(), 0755);
  write_file(in + "a.pdf", simple_text_pdf({text_lines_content({"alpha"})}).build());
  write_file(in + "b.pdf", "%PDF-1.7\n1 0 obj\n<< >>\nendobj\n");
  int pages = add_pdf_main_dorvane_config_new(
      "acct", "lib", in.c_str(), "postgres", target.c_str(), "acct", "", "", work.c_str(), 60, -1, 1,
      "briks.txt", 400, -1, 1, 10, "j1", 0, 1, 1, 600, 2, 1, 1, 20, (work + "run.log").c_str());
  EXPECT_EQ(pages, 1);
  EXPECT_EQ(pg.rows("SELECT unique_doc_id, documents, pages FROM library"), std::vector<std::string>{"2|1|1"});
  EXPECT_EQ(pg.rows("SELECT job_id, message FROM parser_events"), std::vector<std::string>{"j1|NO_CATALOG"});
  EXPECT_EQ(pg.rows("SELECT key, summary, total, current FROM status"),
            std::vector<std::string>{"lib_pdf_parser_j1|Completed|2|2"});
}

TEST(BookkeepingMongo, StatusEventsIdsTotals) {
  const char* uri = env("PDFBRIKS_MONGO_URI");
  if (uri == nullptr) GTEST_SKIP() << "no MongoDB-wire peer (scripts/with_test_servers.sh)";
  mongoc_init();
  use_db("mongo", uri);
  static char account[] = "acct_batch";
  global_account_name = account;
  mongoc_client_t* client = mongoc_client_new(uri);
  mongoc_database_t* db = mongoc_client_get_database(client, account);
  mongoc_database_drop(db, nullptr);
  mongoc_collection_t* library = mongoc_client_get_collection(client, account, "library");
  bson_t* row = BCON_NEW("library_name", BCON_UTF8("lib"), "unique_doc_id", BCON_INT64(41));
  ASSERT_TRUE(mongoc_collection_insert_one(library, row, nullptr, nullptr, nullptr));
  bson_destroy(row);

  EXPECT_EQ(pull_new_doc_id(account, text("lib")), 42);
  EXPECT_EQ(pull_new_doc_id(account, text("lib")), 43);
  EXPECT_EQ(pull_new_doc_id(account, text("nolib")), -1);  // no upsert: unknown library
  bson_t all = BSON_INITIALIZER;
  EXPECT_EQ(mongoc_collection_count_documents(library, &all, nullptr, nullptr, nullptr, nullptr), 1);
  update_library_inc_totals(account, text("lib"), 1, 2, 3, 7, 5);
  register_status_update(text("job"), text("Completed"), text("s"), text("e"), 4, 4);
  register_parser_event(text("7"), text("lib"), account, text("/in/it's.pdf"), text("ENCRYPTED"),
                        text("yes"), text("fail"), text("now"));

  // Each record read back as relaxed JSON, without _id.
  auto read = [&](const char* collection) {
    mongoc_collection_t* c = mongoc_client_get_collection(client, account, collection);
    bson_t* filter = bson_new();
    bson_t* opts = BCON_NEW("projection", "{", "_id", BCON_INT32(0), "}");
    mongoc_cursor_t* cursor = mongoc_collection_find_with_opts(c, filter, opts, nullptr);
    const bson_t* doc;
    std::string out;
    while (mongoc_cursor_next(cursor, &doc)) {
      char* json = bson_as_canonical_extended_json(doc, nullptr);
      out += json;
      bson_free(json);
    }
    mongoc_cursor_destroy(cursor);
    bson_destroy(opts);
    bson_destroy(filter);
    mongoc_collection_destroy(c);
    return out;
  };
  std::string lib = read("library");
  EXPECT_NE(lib.find("\"unique_doc_id\" : { \"$numberLong\" : \"43\" }"), std::string::npos) << lib;
  EXPECT_NE(lib.find("\"tables\" : { \"$numberLong\" : \"5\" }, \"pages\" : { \"$numberLong\" : \"7\" }"),
            std::string::npos) << lib;
  std::string status = read("status");
  EXPECT_NE(status.find("\"end_time\" : \"e\", \"total\" : { \"$numberLong\" : \"4\" }"), std::string::npos) << status;
  EXPECT_NE(status.find("\"sender\" : \"pdf_parser\""), std::string::npos) << status;
  EXPECT_NE(read("parser_events").find("\"file_name\" : \"/in/it's.pdf\""), std::string::npos);

  mongoc_collection_destroy(library);
  mongoc_database_destroy(db);
  mongoc_client_destroy(client);
}
