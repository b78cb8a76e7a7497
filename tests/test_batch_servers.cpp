// tests/test_batch_servers.cpp -- a folder run through level 3 into each database back end
// (PostgreSQL and the MongoDB-wire peer that scripts/with_test_servers.sh starts, and SQLite):
// briks, document numbers from the library row, the event, totals, the closing status; then the
// back ends' own rules for status upserts, unknown libraries and refused statements.
#include <gtest/gtest.h>
#include <mongoc/mongoc.h>
#include <sys/stat.h>

#include <string>

#include "db_fixture.h"
#include "doc_fixture.h"
#include "output/output.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

namespace {

char* text(const char* s) { return const_cast<char*>(s); }

// The bookkeeping tables and the row of `library` in `place` (MongoDB: the library document).
void provision_bookkeeping(DbPlace& place, const std::string& library) {
  if (place.backend != Backend::mongo) {
    place.provision(place.backend == Backend::postgres ? "bookkeeping_postgres.sql" : "bookkeeping_sqlite.sql",
                    library);
    return;
  }
  mongoc_client_t* client = mongoc_client_new(place.uri.c_str());
  mongoc_collection_t* c = mongoc_client_get_collection(client, place.account.c_str(), "library");
  bson_t* row = BCON_NEW("library_name", BCON_UTF8(library.c_str()), "unique_doc_id", BCON_INT64(0));
  EXPECT_TRUE(mongoc_collection_insert_one(c, row, nullptr, nullptr, nullptr));
  bson_destroy(row);
  mongoc_collection_destroy(c);
  mongoc_client_destroy(client);
}

long long num(const DbRow& row, const char* name) { return field(row, name).number; }
std::string str(const DbRow& row, const char* name) { return field(row, name).str; }
// The named fields of `row` as "a|b|c" (numbers or texts).
std::string fields(const DbRow& row, std::initializer_list<const char*> names) {
  std::string out;
  for (const char* n : names) {
    DbValue v = field(row, n);
    out += (out.empty() ? "" : "|") + (v.kind == DbValue::text ? v.str : std::to_string(v.number));
  }
  return out;
}

// A work folder whose "in/" holds a.pdf (one line of text) and b.pdf (no catalog).
std::string two_documents(const char* tag) {
  std::string work = make_temp_dir(tag);
  mkdir((work + "in/").c_str(), 0755);
  write_file(work + "in/a.pdf", simple_text_pdf({text_lines_content({"alpha"})}).build());
  write_file(work + "in/b.pdf", "%PDF-1.7\n1 0 obj\n<< >>\nendobj\n");
  return work;
}

class BatchBackend : public testing::TestWithParam<Backend> {};

}  // namespace

TEST_P(BatchBackend, FolderRun) {
  DbPlace place(GetParam(), "lib");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  provision_bookkeeping(place, "lib");
  std::string work = two_documents("batchdb"), in = work + "in/";
  int pages = add_pdf_main_dorvane_config_new(
      place.account.c_str(), "lib", in.c_str(), backend_name(GetParam()), place.uri.c_str(),
      place.account.c_str(), "", "", work.c_str(), 60, 1, 1, "briks.txt", 400, -1, 1, 10, "j1",
      0, 1, 1, 600, 2, 1, 1, 20, (work + "run.log").c_str());
  EXPECT_EQ(pages, 1);
  // The failed file takes a number too, so a.pdf has 1 or 2 by the directory's order.
  int a_number = read_file(work + "run.log").find("processing file - 0 - a.pdf") != std::string::npos ? 1 : 2;
  std::vector<DbRow> briks = place.rows("lib");
  ASSERT_FALSE(briks.empty());
  for (const DbRow& b : briks) {
    EXPECT_EQ(num(b, "doc_ID"), a_number);
    EXPECT_EQ(str(b, "file_source"), "a.pdf");
  }
  std::vector<DbRow> library = place.rows("library"), events = place.rows("parser_events"), status = place.rows("status");
  ASSERT_EQ(library.size() * 100 + events.size() * 10 + status.size(), 111u);
  EXPECT_EQ(fields(library[0], {"unique_doc_id", "documents", "blocks", "pages"}), "2|1|" + std::to_string(briks.size()) + "|1");
  EXPECT_EQ(fields(events[0], {"message", "file_name"}), "NO_CATALOG|" + in + "b.pdf");
  EXPECT_EQ(fields(status[0], {"key", "summary", "total", "current"}), "lib_pdf_parser_j1|Completed|2|2");
  // A new row on PostgreSQL holds the word start_time; MongoDB alone adds the sender.
  EXPECT_EQ(str(status[0], "start_time"), GetParam() == Backend::postgres ? "start_time" : "");
  EXPECT_EQ(str(status[0], "sender"), GetParam() == Backend::mongo ? "pdf_parser" : "");
}

INSTANTIATE_TEST_SUITE_P(Backends, BatchBackend, testing::ValuesIn(ALL_BACKENDS),
                         [](const testing::TestParamInfo<Backend>& i) { return backend_name(i.param); });

// PostgreSQL: an update stores start_time and empties end_time; refused statements say why;
// a server that is not there gives a number below 1 and a warning in the log.
TEST(BookkeepingPg, UpsertsAndRefusals) {
  DbPlace place(Backend::postgres, "");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  provision_bookkeeping(place, "lib");
  place.use();
  LogCapture log(20);
  register_status_update(text("job"), text("In Progress"), text("s1"), text("e1"), 30, 0);
  register_status_update(text("job"), text("Completed"), text("s2"), text("e2"), 30, 30);
  std::vector<DbRow> status = place.rows("status");
  EXPECT_EQ(str(status.at(0), "start_time") + "|" + str(status.at(0), "end_time"), "s2|");
  EXPECT_LT(pull_new_doc_id(text("acct"), text("nolib")), 1);  // no row
  update_library_inc_totals(text("acct"), text("lib"), 1, 2, 3, 7, 5);  // pages 7, tables 5
  EXPECT_EQ(num(place.rows("library").at(0), "tables") * 10 + num(place.rows("library").at(0), "pages"), 57);

  register_parser_event(text("7"), text("lib"), text("acct"), text("/in/it's.pdf"), text("NO_CATALOG"),
                        text("yes"), text("fail"), text("now"));
  EXPECT_LT(pull_new_doc_id(text("acct"), text("lib'--")), 1);
  EXPECT_TRUE(place.rows("parser_events").empty());
  std::string t = log.text();
  EXPECT_NE(t.find("WARNING: pdf_parser - register_parser_event_pg - insert failed.\n"
                   "WARNING: pdf_parser - register_parser_event_pg - statement refused before sending - "
                   "a single quote in file_name"), std::string::npos);
  EXPECT_NE(t.find("WARNING: pdf_parser - pull_new_doc_id_pg - statement refused before sending - "
                   "the library name is not a plain identifier"), std::string::npos);

  global_db_uri_string = text("host=127.0.0.1 port=1 connect_timeout=2");
  EXPECT_LT(pull_new_doc_id(text("acct"), text("lib")), 1);
  EXPECT_NE(log.text().find("WARNING: pdf_parser - pull_new_doc_id_pg - connection failed - "), std::string::npos);
}

// MongoDB: an unknown library gives -1 and is not created; the status keeps end_time; values
// travel as BSON, so a quote is stored as it is.
TEST(BookkeepingMongo, UnknownLibraryAndQuotes) {
  DbPlace place(Backend::mongo, "");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  provision_bookkeeping(place, "lib");
  place.use();
  global_account_name = &place.account[0];
  EXPECT_EQ(pull_new_doc_id(&place.account[0], text("nolib")), -1);
  EXPECT_EQ(place.rows("library").size(), 1u);
  register_status_update(text("job"), text("Completed"), text("s"), text("e"), 4, 4);
  EXPECT_EQ(field(place.rows("status").at(0), "end_time"), db_text("e"));
  EXPECT_EQ(field(place.rows("status").at(0), "total"), db_int64(4));
  register_parser_event(text("7"), text("lib"), &place.account[0], text("/in/it's.pdf"),
                        text("ENCRYPTED"), text("yes"), text("fail"), text("now"));
  EXPECT_EQ(str(place.rows("parser_events").at(0), "file_name"), "/in/it's.pdf");
}

// Level 1 always writes to MongoDB and registers no events; level 2 takes the kind and does.
TEST(BatchLevels, OneIntoMongoTwoIntoSqlite) {
  for (Backend backend : {Backend::mongo, Backend::sqlite}) {
    DbPlace place(backend, "lib");
    if (!place.skip().empty()) continue;
    provision_bookkeeping(place, "lib");
    std::string work = two_documents("levels12"), in = work + "in/";
    testing::internal::CaptureStdout();
    if (backend == Backend::mongo) {
      add_pdf_main_dorvane(place.account.c_str(), "lib", in.c_str(), place.uri.c_str(), work.c_str(),
                           0, -1, 1, "b.txt", 400, 5, "", "");
    } else {
      add_pdf_main_dorvane_config(place.account.c_str(), "lib", in.c_str(), "sqlite", place.uri.c_str(),
                                  "db", "", "", work.c_str(), 0, -1, 1, "b.txt", 400, 5, 0, 10, "j2");
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(num(place.rows("library").at(0), "documents"), 1);
    EXPECT_EQ(num(place.rows("lib").at(0), "doc_ID"), 5);
    EXPECT_EQ(str(place.rows("status").at(0), "key"), backend == Backend::mongo ? "lib_pdf_parser_0" : "lib_pdf_parser_j2");
    EXPECT_EQ(place.rows("parser_events").size(), backend == Backend::mongo ? 0u : 1u);
  }
}
