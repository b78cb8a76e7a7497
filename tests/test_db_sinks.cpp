// tests/test_db_sinks.cpp -- the three database sinks against real servers: the 28 stored values
// and their types, UTF-8 preparation, the headlines of short image briks, a run past one batch,
// failed rows, connections and URIs, and statements that carry hostile text.
#include "db_fixture.h"
#include "output/db_guard.h"
#include "suite.h"

namespace {

char stamp[] = "Mon Nov 23 10:00:00 2026";

void set_brik(int k, const char* type, const char* text, const char* header = "Head",
              int sub_index = 0, const char* table = "", const char* external = "") {
  BrikRecord& b = Briks[k];
  std::pair<char*, const char*> texts[] = {{b.content_type, type}, {b.external_files, external}};
  for (const auto& t : texts) strcpy(t.first, t.second);
  brik_text_set(&b.text, text, strlen(text));
  brik_text_set(&b.header_text, header, strlen(header));
  brik_text_set(&b.table, table, strlen(table));
  b.sub_index = sub_index;
  b.master_index = 3;
  b.coords_x = 72, b.coords_y = -5, b.coords_cx = 3, b.coords_cy = 7;
}

// A document in memory with its metadata and a private place in the back end under test.
class DbSink : public ::testing::TestWithParam<Backend> {
 protected:
  LoadedDoc doc{"%PDF-1.7\n", false};
  DbPlace place{GetParam()};
  void SetUp() override {
    if (!place.skip().empty()) GTEST_SKIP() << place.skip();
    place.use();
    GLOBAL_GET_HEADER_TEXT = 1;
    global_headlines[0] = 0;
    std::pair<char*, const char*> meta[] = {{my_doc.author, "O'Brien"}, {my_doc.file_name, "a.pdf"},
                                            {my_doc.created_date, "2026-01-01"}, {my_doc.modified_date, "2026-01-02"},
                                            {my_doc.creator_tool, "maker"}};
    for (const auto& m : meta) strcpy(m.first, m.second);
  }
  Backend backend() const { return GetParam(); }
  int write(int stop, int brik_id = 0, std::string library = "", int start = 0) {
    if (library.empty()) library = place.library;
    return write_to_db(start, stop, &place.account[0], &library[0], 4, brik_id, stamp);
  }
  std::vector<DbRow> rows() { return place.rows(place.library, "block_ID"); }
  std::string text_of(const DbRow& row) { return field(row, backend() == Backend::mongo ? "text" : "text_block").str; }
};

// ---- the 28 values of a text, a table and a CMYK image brik, in order, with their types ----
TEST_P(DbSink, StoresAllFieldsInOrderWithTypes) {
  set_brik(0, "text", "Hello world", "Head", -3);
  set_brik(1, "table", "cells", "", 1, "<th> a <td> b");
  set_brik(2, "image", "nearby text", "", -3, "", "image4_1.png");
  const bool mongo = backend() == Backend::mongo;
  EXPECT_EQ(write(3, 20), mongo ? 23 : 0);
  std::vector<DbRow> got = rows();
  ASSERT_EQ(got.size(), 3u);
  const std::string names = std::string("block_ID doc_ID content_type file_type master_index master_index2 coords_x ") +
      "coords_y coords_cx coords_cy author_or_speaker added_to_collection file_source " + (mongo ? "table" : "table_block") +
      " modified_date created_date creator_tool external_files " + (mongo ? "text" : "text_block") + " header_text " +
      "text_search user_tags special_field1 special_field2 special_field3 graph_status dialog embedding_flags ";
  std::string embedding = backend() == Backend::postgres ? "{}" : backend() == Backend::sqlite ? "test432" : "";
  for (int k = 0; k < 3; k++) {
    const BrikRecord& b = Briks[k];
    std::string flag = !mongo ? "cmyk_flag" : k == 2 ? "CMYK_FLAG" : "", got_names, kinds;
    for (const auto& kv : got[k]) got_names += kv.first + " ", kinds += "-ILt?"[kv.second.kind];
    EXPECT_EQ(strcasecmp(got_names.c_str(), names.c_str()), 0) << got_names;
    EXPECT_EQ(kinds, mongo ? "LLttLLLLLL" + std::string(18, 't') : "IIttIIIIII" + std::string(18, 't'));
    EXPECT_EQ(fields(got[k]), std::to_string(20 + k) + "|4|" + b.content_type + "|pdf|4|0|72|-5|3|7|O'Brien|" + stamp +
                                  "|a.pdf|" + b.table.c_str() + "|2026-01-02|2026-01-01|maker|" + b.external_files + "|" + b.text.c_str() +
                                  "|" + b.header_text.c_str() + "|" + b.text.c_str() + "||||" + flag + "|false|false|" + embedding);
  }
}

// ---- valid UTF-8 passes whole, one bad byte strips every byte above 127 and every control (and
// logs once); the headlines join short image briks only, by the header rule of each path ----
TEST_P(DbSink, TextPreparationAndHeadlines) {
  const char* briks[][3] = {{"image", "123456789", "short"}, {"image", "1234567890", "short"},
                            {"image", "", "twenty bytes header."}, {"text", "abc", "short"},
                            {"text", "caf\xC3\xA9\tx", "short"}, {"text", "caf\xC3\xA9\t\xFFx", "short"}, {"image", "img", "h"}};
  for (int k = 0; k < 7; k++) set_brik(k, briks[k][0], briks[k][1], briks[k][2]);
  strcpy(global_headlines, "Title");
  LogCapture log(10);
  write(6);
  strcpy(global_headlines, "T\xFFi\xC3\xA9t");  // the last, on the path of headlines that are not valid
  GLOBAL_GET_HEADER_TEXT = 0;
  write(7, 6, "", 6);
  std::vector<DbRow> got = rows();
  ASSERT_EQ(got.size(), 7u);
  const std::string want_text[] = {"123456789 Title", "1234567890", " Title", "abc", "caf\xC3\xA9\tx", "cafx", "imgTit"};
  const char* want_header[] = {"short Title", "short", "twenty bytes header.", "short", "short", "short",
                               backend() == Backend::postgres ? "hTit" : "h"};
  for (int k = 0; k < 7; k++) {
    EXPECT_EQ(text_of(got[k]) + "|" + field(got[k], "text_search").str, want_text[k] + "|" + want_text[k]);
    EXPECT_EQ(field(got[k], "header_text").str, want_header[k]) << k;
  }
  EXPECT_STREQ(Briks[0].header_text, "short Title");  // the change is made in Briks itself
  const char* line = backend() == Backend::postgres
      ? "DEBUG: pdf_parser - write_to_pg - fails bson validation - remediating before inserting into db.\n"
      : backend() == Backend::sqlite
      ? "DEBUG:  pdf_parser - write_to_sqlite - fails bson validation - remediating.\n"
      : "DEBUG:  pdf_parser - write_to_mongo - bson_utf8 validation failed - will remediate before adding to db. \n";
  EXPECT_EQ(count_of(log.text(), line), 1);
}

// ---- a run past one full batch: two flushes, ids without gap or repeat ----
TEST_P(DbSink, FlushesPastOneBatchKeepIds) {
  GLOBAL_WRITE_TO_DB = 1;
  global_account_name = &place.account[0];
  global_library_name = &place.library[0];
  global_time_stamp = stamp;
  master_brik_tracker = 0;
  master_doc_tracker = 4;
  for (int count : {GLOBAL_MAX_BRIKS, 7}) {
    for (int k = 0; k < count; k++) set_brik(k, "text", ("brik " + std::to_string(master_brik_tracker + k)).c_str());
    global_brik_counter = count;
    flush_brik_batch();
  }
  GLOBAL_WRITE_TO_DB = 0;
  EXPECT_EQ(master_brik_tracker, GLOBAL_MAX_BRIKS + 7);
  std::vector<DbRow> got = rows();
  ASSERT_EQ(got.size(), static_cast<size_t>(GLOBAL_MAX_BRIKS + 7));
  for (size_t k = 0; k < got.size(); k++) {
    ASSERT_EQ(fields(got[k], {"block_ID"}) + "|" + text_of(got[k]), std::to_string(k) + "|brik " + std::to_string(k));
  }
}

// ---- refused rows in a batch leave their neighbours stored; hostile text in escaped or bound
// values is stored as it is, and refused where SQLite writes it unescaped ----
TEST_P(DbSink, RefusedRowsAndHostileValues) {
  const std::string hostile = "x'); DROP TABLE briks; --";
  strcpy(my_doc.file_name, hostile.c_str());  // escaped (SQLite) or bound
  for (int k = 0; k < 5; k++) set_brik(k, "text", ("row " + std::to_string(k)).c_str());
  for (int k : {1, 3}) set_brik(k, "text", "bad", "Head", 0, "\xFF\xFE", "x'y.png");  // bad UTF-8; a quote for SQLite
  LogCapture log(20);
  testing::internal::CaptureStderr();
  write(5, 10);
  std::string err = testing::internal::GetCapturedStderr();
  strcpy(my_doc.creator_tool, hostile.c_str());  // unescaped in SQLite
  set_brik(0, "text", "row 6");
  write(1, 16);
  std::vector<DbRow> got = rows();
  std::string text = log.text();
  ASSERT_GE(got.size(), 2u);
  EXPECT_EQ(fields(got[0], {"file_source", "author_or_speaker"}), hostile + "|O'Brien");
  if (backend() == Backend::mongo) {
    // The wire peer keeps an unreadable message in its input and fails everything after it on
    // that connection (a server answers and goes on), so only the rows before are checked here.
    EXPECT_EQ(text_of(got[0]) + "|" + text_of(got.back()), "row 0|row 6");
    EXPECT_EQ(field(got.back(), "creator_tool").str, hostile);
    EXPECT_NE(find(err, "Invalid UTF-8"), -1) << err;
    EXPECT_EQ(text, "");  // MongoDB failures go to standard error only
    return;
  }
  ASSERT_EQ(got.size(), backend() == Backend::sqlite ? 3u : 4u);
  for (int k = 0; k < 3; k++) {
    EXPECT_EQ(fields(got[k], {"block_ID"}) + "|" + text_of(got[k]), std::to_string(10 + 2 * k) + "|row " + std::to_string(2 * k));
  }
  if (backend() == Backend::postgres) {  // each names the next brik's id, in row order
    int first = find(text, "WARNING: pdf_parser - write_to_pg - error writing block - 12 - ERROR:  invalid byte");
    EXPECT_NE(first, -1) << text;
    EXPECT_GT(find(text, "WARNING: pdf_parser - write_to_pg - error writing block - 14 - "), first);
    EXPECT_EQ(field(got[3], "creator_tool").str, hostile);
  } else {
    std::string line = "WARNING: pdf_parser - write_to_db_sqlite - exec error: statement refused before "
                       "sending - a single quote in ";
    std::string quote = line + "external_files, which is written unescaped\n";
    EXPECT_EQ(text, quote + quote + line + "creator_tool, which is written unescaped\n");
  }
}

// ---- connections that fail, a database that does not open, the dispatcher's exact names, and a
// table name that is not a plain identifier ----
TEST_P(DbSink, FailedConnectionsAndUnknownNames) {
  struct Case { Backend backend; const char* uri; int brik_id, result; const char* log, *err; };
  const Case cases[] = {
      {Backend::postgres, "host=127.0.0.1 port=1 user=x dbname=x connect_timeout=2", 5, 0,
       "WARNING: pdf_parser - write_to_pg - connection failed - host=127.0.0.1 port=1 user=x dbname=x "
       "connect_timeout=2 \nWARNING: pdf_parser - write_to_pg - error writing block - 6 - ", ""},
      {Backend::sqlite, "/nonexistent/folder/briks.db", 5, 0,
       "WARNING: pdf_parser - write_to_sqlite - can not open database: unable to open database file\n", ""},
      {Backend::mongo, "notmongo://x", 5000, 1, "", "failed to parse URI: notmongo://x\nerror message:       "},
      {Backend::mongo, "mongodb://127.0.0.1:1/?serverSelectionTimeoutMS=100", 5, 7, "", "No suitable servers"}};
  set_brik(0, "text", "one");
  set_brik(1, "text", "two");
  for (const Case& c : cases) {
    if (c.backend != backend()) continue;
    LogCapture log(20);
    testing::internal::CaptureStderr();
    global_db_uri_string = const_cast<char*>(c.uri);
    EXPECT_EQ(write(2, c.brik_id), c.result) << c.uri;
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.text().rfind(c.log, 0), 0u) << log.text();
    EXPECT_NE(find(err, c.err), -1) << err;
  }
  place.use();
  global_db = const_cast<char*>(backend() == Backend::postgres ? "Postgres" : "sqlite ");  // exact names only
  EXPECT_EQ(write(2, 5), 0);
  place.use();
  EXPECT_EQ(write(0, 9), backend() == Backend::mongo ? 9 : 0);  // an empty batch
  if (backend() != Backend::mongo) {  // a collection name is not SQL
    place.provision("briks", "victim");
    LogCapture log(20);
    write(2, 0, "briks (block_ID) VALUES (1); DROP TABLE victim; INSERT INTO briks");
    EXPECT_EQ(count_of(log.text(), "statement refused before sending - the table name is not a plain identifier"), 2);
    EXPECT_TRUE(place.exec("SELECT 1 FROM victim LIMIT 0"));
  }
  if (backend() == Backend::sqlite) {  // a second statement in one text never runs
    sqlite3* db = nullptr;
    db_sqlite_open(place.uri.c_str(), &db);
    char* error = nullptr;
    EXPECT_EQ(db_sqlite_exec_one(db, "SELECT 1; DROP TABLE victim", &error), SQLITE_ERROR);
    sqlite3_free(error);
    sqlite3_close(db);
    EXPECT_TRUE(place.exec("SELECT 1 FROM victim LIMIT 0"));
  }
  EXPECT_EQ(rows().size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Backends, DbSink, ::testing::ValuesIn(ALL_BACKENDS),
                         [](const ::testing::TestParamInfo<Backend>& info) { return backend_name(info.param); });

}  // namespace
