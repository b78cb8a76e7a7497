// tests/test_batch.cpp -- the three folder entry points: the name test, capacity, document numbers,
// status updates, then a level-3 run into each database back end (PostgreSQL and the MongoDB-wire
// peer of scripts/with_test_servers.sh, and SQLite) with events, totals and the closing status, the
// back ends' own bookkeeping rules and refusals, and the lines and targets that differ by level.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "db_fixture.h"
#include "suite.h"

namespace {

char* text(const char* s) { return const_cast<char*>(s); }
std::string good_pdf(const std::string& words) { return simple_text_pdf({text_lines_content({words})}).build(); }
const std::string kNoCatalog = "%PDF-1.7\n1 0 obj\n<< /Type /Page >>\nendobj\n";

struct BatchRun {
  std::string db_kind = "none", db_uri, account = "acct", library = "lib", job_id = "job7";
  int write_to_db = 0, unique_doc_num = 100, status_flag = 0, interval = 10, level = 20;
};

// Settings of a run into `place`, which gets the bookkeeping of "lib".
BatchRun into(DbPlace& place) {
  place.provision("bookkeeping", "lib");
  return BatchRun{backend_name(place.backend), place.uri, place.account, "lib", "job7", 1};
}

// Level 3 over the "in/" folder `in` (or `folder`), work and log beside it; the log in `log`.
int run3(const std::string& in, const BatchRun& r, std::string* log, const std::string& folder = "") {
  std::string work = in + "../", log_path = work + "run.log";
  int pages = add_pdf_main_dorvane_config_new(
      r.account.c_str(), r.library.c_str(), (folder.empty() ? in : folder).c_str(), r.db_kind.c_str(),
      r.db_uri.c_str(), r.account.c_str(), "", "", work.c_str(), 60, -1, r.write_to_db, "briks.txt", 400,
      r.unique_doc_num, r.status_flag, r.interval, r.job_id.c_str(), 0, 1, 1, 600, 2, 1, 1, r.level, log_path.c_str());
  *log = read_file(log_path);
  return pages;
}

// A fresh "in/" folder under a temp folder, holding `docs` (name and bytes).
std::string make_input(const std::string& tag, const std::vector<std::pair<std::string, std::string>>& docs) {
  std::string in = make_temp_dir(tag) + "in/";
  mkdir(in.c_str(), 0755);
  for (const auto& d : docs) write_file(in + d.first, d.second);
  return in;
}

// Names in the order the log says they were processed.
std::vector<std::string> processed(const std::string& log) {
  std::vector<std::string> names;
  const std::string mark = "pdf_parser - processing file - ";
  for (size_t at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
    size_t name_at = log.find(" - ", at + mark.size()) + 3;
    names.push_back(log.substr(name_at, log.find(" \n", name_at) - name_at));
  }
  return names;
}

// doc_ID of each document in the brik file, in the order written.
std::vector<int> doc_numbers(const std::string& brik_file) {
  std::vector<int> ids;
  std::string briks = read_file(brik_file);
  for (size_t at = briks.find("<doc_ID>: "); at != std::string::npos; at = briks.find("<doc_ID>: ", at + 1)) {
    int id = atoi(briks.c_str() + at + 10);
    if (ids.empty() || ids.back() != id) ids.push_back(id);
  }
  return ids;
}

class BatchBackend : public testing::TestWithParam<Backend> {};

}  // namespace

// Only names after "." and ".." in byte order, not .DS_Store, of type "pdf" or "PDF", are taken;
// a name made of points only has no type. Past the capacity of files, or past the length of one
// entry, a file is left out and named.
TEST(BatchScan, NamesCapacityAndLongPaths) {
  std::string doc = good_pdf("hello"), log;
  std::string in = make_input("scan", {{"a.pdf", doc}, {"Report.PDF", doc}, {"Report.Pdf", doc}, {"-draft.pdf", doc},
                                       {".hidden.pdf", doc}, {"notes.txt", doc}, {"...", doc}, {"+x.pdf", doc},
                                       {".DS_Store", doc}});
  EXPECT_EQ(run3(in, BatchRun(), &log), 3);
  std::vector<std::string> names = processed(log);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".hidden.pdf", "Report.PDF", "a.pdf"}));
  EXPECT_NE(log.find("INFO: pdf_parser - total pdf files processed - 3 \n"
                     "INFO: pdf_parser - total input files received - 3 \n"), std::string::npos);
  int saved = GLOBAL_MAX_INPUT_FILES;
  GLOBAL_MAX_INPUT_FILES = 2;
  run3(in, BatchRun(), &log);
  GLOBAL_MAX_INPUT_FILES = saved;
  EXPECT_EQ(processed(log).size(), 2u);
  EXPECT_EQ(count_of(log, "too many input files - exceeded GLOBAL_MAX_INPUT_FILES = 2 - left out - "), 1);
  in = make_input("long_paths_are_left_out_of_runs", {{"a.pdf", doc}, {std::string(250, 'x') + ".pdf", doc}});
  run3(in, BatchRun(), &log);
  EXPECT_EQ(processed(log), std::vector<std::string>{"a.pdf"});
  EXPECT_EQ(count_of(log, "WARNING: pdf_parser - input file path too long - left out - " + in + "xxx"), 1);
}

// Numbers run from unique_doc_num by finished documents, so the file after a failed one gets
// the failed one's number; below 1 (0, or no library row to pull from) gives 1000000 onwards.
TEST(BatchNumbers, FromUniqueDocNum) {
  // expected: the numbers of the good files in processing order.
  struct Row { int unique_doc_num; bool with_failure; std::vector<int> expected; } table[] = {{100, false, {100, 101, 102}}, {100, true, {100, 101, 102}}, {0, false, {1000000, 1, 2}},
               {-1, true, {1000000, 1000001, 1000002}}};
  for (const Row& row : table) {
    std::vector<std::pair<std::string, std::string>> docs = {
        {"a.pdf", good_pdf("alpha")}, {"b.pdf", good_pdf("beta")}, {"c.pdf", good_pdf("gamma")}};
    if (row.with_failure) docs.push_back({"bad.pdf", kNoCatalog});
    std::string in = make_input("numbers", docs), log;
    BatchRun r;
    r.unique_doc_num = row.unique_doc_num;
    run3(in, r, &log);
    EXPECT_EQ(doc_numbers(in + "../briks.txt"), row.expected) << row.unique_doc_num << " failure " << row.with_failure;
  }
}

// Status updates start above 20 files, every `interval` files from index 0; an interval of 0
// gives one warning and no periodic update. The run ends with "Completed" whatever the flag, also
// for an empty folder and for one that does not open (which says so); no documents add zeros.
TEST(BatchStatus, UpdatesAndTheClosingRow) {
  struct { int files, interval, updates; const char* sub; } table[] = {
      {20, 10, 0, "in/"}, {21, 10, 3, "in/"}, {21, 0, 0, "in/"}, {0, 10, 0, "in/"}, {0, 10, 0, "missing/"}};
  for (const auto& row : table) {
    std::vector<std::pair<std::string, std::string>> docs;
    for (int i = 0; i < row.files; i++) docs.push_back({"d" + std::to_string(i) + ".pdf", kNoCatalog});
    std::string in = make_input("status", docs), log;
    DbPlace place(Backend::sqlite, "");
    BatchRun r = into(place);
    r.status_flag = row.files > 0;
    r.interval = row.interval;
    EXPECT_EQ(run3(in, r, &log, in + "../" + row.sub), 0);
    EXPECT_EQ(count_of(log, "INFO: pdf_parser - registered status to database - lib_pdf_parser_job7 - In Progress - "),
              row.updates);
    EXPECT_EQ(count_of(log, "WARNING: pdf_parser - status interval not above 0"), row.interval <= 0 ? 1 : 0);
    EXPECT_EQ(count_of(log, "WARNING: pdf_parser - input folder can not be opened"), row.sub[0] == 'm');
    std::string n = std::to_string(row.files);
    EXPECT_EQ(place.text("status"), "lib_pdf_parser_job7|Completed|||" + n + "|" + n + "|files");
    EXPECT_EQ(place.text("library", {"documents", "blocks", "pages"}), "0|0|0");
  }
}

// Level 3 into each back end, numbers from the library row: every file takes one in turn, each
// failed document leaves one event with its reason, totals count the good ones (tables and pages
// each in their own field), one status row closes the run; level 3 writes debug lines where
// levels 1 and 2 warn.
TEST_P(BatchBackend, EventsTotalsAndStatus) {
  DbPlace place(GetParam(), "lib");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  PdfWriter encrypted = simple_text_pdf({text_lines_content({"secret"})});
  encrypted.trailer_extra = "/Encrypt 9 0 R";
  std::string in = make_input("events", {{"nocat.pdf", kNoCatalog}, {"enc.pdf", encrypted.build()},
                                         {"empty.pdf", simple_text_pdf({""}).build()}, {"good.pdf", good_pdf("one")},
                                         {"table.pdf", read_file(std::string(PDFBRIKS_TEST_DATA) + "/table_office.pdf")}});
  BatchRun r = into(place);
  r.unique_doc_num = -1;
  r.status_flag = 1;
  std::string log;
  int pages = run3(in, r, &log);
  std::vector<std::string> order = processed(log);
  std::vector<DbRow> briks = place.rows("lib");
  ASSERT_FALSE(briks.empty());
  for (const DbRow& b : briks) {
    std::string file = field(b, "file_source").str;
    EXPECT_EQ(field(b, "doc_ID").number, 1 + std::find(order.begin(), order.end(), file) - order.begin()) << file;
  }
  std::string head = "job7|pdf|lib|" + place.account + "|" + in;
  EXPECT_EQ(place.text("parser_events", {"job_id", "parser_type", "library_name", "account_name", "file_name", "message",
                                         "ocr_flag", "fail_flag"}, "message"),
            head + "enc.pdf|ENCRYPTED|yes|fail\n" + head + "nocat.pdf|NO_CATALOG|yes|fail\n" + head +
                "empty.pdf|NO_CONTENT_FOUND|yes|fail");
  DbRow library = place.rows("library").at(0);
  EXPECT_EQ(fields(library, {"unique_doc_id", "documents", "blocks", "pages"}),
            "5|2|" + std::to_string(briks.size()) + "|" + std::to_string(pages));
  EXPECT_GT(field(library, "tables").number, 0);
  EXPECT_EQ(count_of(log, "INFO: pdf_parser - total tables created - " + fields(library, {"tables"}) + " \n"), 1);
  EXPECT_EQ(count_of(log, "WARNING: pdf_parser - no content captured"), 0);
  // A new row on PostgreSQL holds the word start_time; MongoDB alone adds the sender.
  EXPECT_EQ(place.text("status", {"key", "summary", "total", "current", "start_time", "sender"}),
            std::string("lib_pdf_parser_job7|Completed|5|5|") + (GetParam() == Backend::postgres ? "start_time|NULL"
                                                                 : GetParam() == Backend::sqlite ? "|NULL" : "|pdf_parser"));
}

// The bookkeeping calls: an update stores the start and empties end_time (MongoDB keeps it); an
// unknown library gives a number below 1 and is not made. The SQL back ends refuse a quote and a
// library name that is not a plain identifier, saying why; MongoDB stores values as they are.
TEST_P(BatchBackend, BookkeepingCalls) {
  DbPlace place(GetParam(), "");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  place.provision("bookkeeping", "lib");
  place.use();
  char* account = global_account_name = &place.account[0];
  const bool pg = GetParam() == Backend::postgres, mongo = GetParam() == Backend::mongo;
  LogCapture log(20);
  register_status_update(text("job"), text("In Progress"), text("s1"), text("e1"), 30, 0);
  register_status_update(text("job"), text("Completed"), text("s2"), text("e2"), 30, 30);
  register_status_update(text("it's"), text("Completed"), text("s"), text("e"), 1, 1);
  EXPECT_EQ(place.text("status", {"key", "summary", "start_time", "end_time", "total", "current"}, "key"),
            mongo ? "it's|Completed|s|e|1|1\njob|Completed|s2|e2|30|30" : "job|Completed|s2||30|30");
  EXPECT_EQ(field(place.rows("status", "key").back(), "total").kind, mongo ? DbValue::int64 : DbValue::integer);
  EXPECT_LT(pull_new_doc_id(account, text("nolib")), 1);
  EXPECT_LT(pull_new_doc_id(account, text("lib'--")), 1);
  update_library_inc_totals(account, text("lib"), 1, 2, 3, 7, 5);  // pages 7, tables 5
  update_library_inc_totals(account, text("lib' OR 1=1 --"), 1, 1, 1, 1, 1);
  EXPECT_EQ(place.text("library", {"library_name", "unique_doc_id", "documents", "blocks", "images", "tables", "pages"}),
            "lib|0|1|2|3|5|7");
  register_parser_event(text("7"), text("lib"), account, text("/in/it's.pdf"), text("NO_CATALOG"), text("yes"),
                        text("fail"), text("now"));
  EXPECT_EQ(place.text("parser_events", {"job_id", "file_name"}), mongo ? "7|/in/it's.pdf" : "");
  const std::string quote = "statement refused before sending - a single quote in ", sep = pg ? "_pg - " : "_sqlite - exec error: ",
                    lib = "statement refused before sending - the library name is not a plain identifier";
  std::vector<std::string> lines = {"register_status_update" + sep + quote + "key", "register_parser_event" + sep + quote + "file_name",
                                    (pg ? "pull_new_doc_id_pg - " : "pull_new_doc_id - sqlite - query error: ") + lib,
                                    "update_library_inc_totals" + sep + lib};
  if (pg) lines.push_back("register_parser_event_pg - insert failed.\nWARNING: pdf_parser - register_parser_event_pg - " + quote);
  if (mongo) lines.clear();
  for (const std::string& line : lines) EXPECT_EQ(count_of(log.text(), "WARNING: pdf_parser - " + line), 1) << line;
  if (pg) {
    global_db_uri_string = text("host=127.0.0.1 port=1 connect_timeout=2");
    EXPECT_LT(pull_new_doc_id(account, text("lib")), 1);
    EXPECT_NE(log.text().find("WARNING: pdf_parser - pull_new_doc_id_pg - connection failed - "), std::string::npos);
  }
}

// A run keeps one PostgreSQL connection for all its calls and closes it at its end; when the
// server ends the kept connection between two calls, the next call opens a fresh one and logs
// nothing more than it would have on its own.
TEST(BatchPostgres, KeptConnectionReplacedWhenTheServerEndsIt) {
  DbPlace place(Backend::postgres, "");
  if (!place.skip().empty()) GTEST_SKIP() << place.skip();
  place.provision("bookkeeping", "lib");
  std::string uri = place.uri + " application_name=" + place.account;
  const std::string ours = "pg_stat_activity WHERE application_name = '" + place.account + "'";
  global_db = text("postgres");
  global_db_uri_string = &uri[0];
  char* account = &place.account[0];
  auto kept = [&] { return field(place.rows("(SELECT count(*)::int AS c FROM " + ours + ") q").at(0), "c").number; };
  LogCapture log(9);
  db_pg_session_begin();
  EXPECT_EQ(pull_new_doc_id(account, text("lib")), 1);
  EXPECT_EQ(pull_new_doc_id(account, text("lib")), 2);
  EXPECT_EQ(kept(), 1);
  place.exec("SELECT pg_terminate_backend(pid) FROM " + ours);
  for (int i = 0; i < 100 && kept() > 0; i++) usleep(20000);
  EXPECT_EQ(pull_new_doc_id(account, text("lib")), 3);
  update_library_inc_totals(account, text("lib"), 1, 2, 3, 4, 5);
  db_pg_session_end();
  EXPECT_EQ(kept(), 0);
  EXPECT_EQ(count_of(log.text(), "pull_new_doc_id_pg - connection successful"), 3);
  EXPECT_EQ(count_of(log.text(), "WARNING"), 0) << log.text();
  EXPECT_EQ(place.text("library", {"unique_doc_id", "documents", "pages"}), "3|1|4");
}

INSTANTIATE_TEST_SUITE_P(Backends, BatchBackend, testing::ValuesIn(ALL_BACKENDS),
                         [](const testing::TestParamInfo<Backend>& i) { return backend_name(i.param); });

// Level 1 always writes to MongoDB, to standard output, and registers no events; level 2 takes the
// kind, registers events and warns differently. At level 50 with the status flag, levels 2 and 3
// still write the closing summary and the line after it, and nothing else.
TEST(BatchLevels, TargetsAndLines) {
  for (Backend backend : {Backend::mongo, Backend::sqlite}) {
    DbPlace place(backend, "lib");
    if (!place.skip().empty()) continue;
    place.provision("bookkeeping", "lib");
    std::string in = make_input("levels", {{"a.pdf", good_pdf("alpha")}, {"b.pdf", kNoCatalog}}), work = in + "../";
    GLOBAL_LOGGER_LEVEL = 20;
    testing::internal::CaptureStdout();
    if (backend == Backend::mongo) {
      add_pdf_main_dorvane(place.account.c_str(), "lib", in.c_str(), place.uri.c_str(), work.c_str(), 0, -1, 1, "b.txt",
                           400, 5, "", "");
    } else {
      add_pdf_main_dorvane_config(place.account.c_str(), "lib", in.c_str(), "sqlite", place.uri.c_str(), "db", "", "",
                                  work.c_str(), 0, -1, 1, "b.txt", 400, 5, 0, 10, "j2");
    }
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(count_of(out, backend == Backend::mongo ? "INFO:  pdf_parser - processing file - "
                                                      : "INFO: pdf_parser - processing file - "), 2);
    EXPECT_EQ(count_of(out, "WARNING: pdf_parser - no text found in parsing. \n"), backend == Backend::mongo);
    EXPECT_EQ(count_of(out, "WARNING: pdf_parser - no content captured - blocks_created = -1 \n"), 1);
    EXPECT_EQ(field(place.rows("library").at(0), "documents").number, 1);
    EXPECT_EQ(field(place.rows("lib").at(0), "doc_ID").number, 5);
    EXPECT_EQ(fields(place.rows("status").at(0), {"key"}), backend == Backend::mongo ? "lib_pdf_parser_0" : "lib_pdf_parser_j2");
    EXPECT_EQ(place.rows("parser_events").size(), backend == Backend::mongo ? 0u : 1u);
  }
  std::string in = make_input("levels", {{"nocat.pdf", kNoCatalog}}), log;
  BatchRun r;
  r.level = 50;
  r.status_flag = 1;
  run3(in, r, &log);
  EXPECT_EQ(log.rfind("INFO: pdf_parser - total pdf files processed - 1 \n", 0), 0u);
  EXPECT_EQ(count_of(log, "\n"), 8);
  EXPECT_NE(log.find("INFO: pdf_parser - Completed Parsing - processing time - "), std::string::npos);
  GLOBAL_LOGGER_LEVEL = 20;
}
