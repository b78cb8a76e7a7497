// tests/test_batch.cpp -- the three folder entry points in file mode and into SQLite: the name
// test, document numbers with and without a failed file, status updates at 20 and 21 files,
// failure events, library totals, an empty folder, a folder that does not open, the lines that
// differ by level, and refused statements (quotes, an unusual library name).
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "doc_fixture.h"
#include "pdf_writer.h"
#include "pdfbriks.h"
#include "run/run_state.h"

using namespace pdftest;

namespace {

std::string good_pdf(const std::string& text) {
  return simple_text_pdf({text_lines_content({text})}).build();
}
const std::string kNoCatalog = "%PDF-1.7\n1 0 obj\n<< /Type /Page >>\nendobj\n";
std::string encrypted_pdf() {
  PdfWriter w = simple_text_pdf({text_lines_content({"secret"})});
  w.trailer_extra = "/Encrypt 9 0 R";
  return w.build();
}
std::string empty_pdf() { return simple_text_pdf({""}).build(); }

// A SQLite file with the bookkeeping tables and the row of `library`.
std::string make_sqlite_db(const std::string& folder, const std::string& library) {
  std::string path = folder + "run.db";
  std::string sql = read_file(std::string(PDFBRIKS_TEST_DATA) + "/../../sql/bookkeeping_sqlite.sql");
  for (size_t at; (at = sql.find("{library}")) != std::string::npos;) sql.replace(at, 9, library);
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(db);
  return path;
}

// Rows of a query as "a|b|c" texts.
std::vector<std::string> rows(const std::string& db_path, const std::string& query) {
  sqlite3* db = nullptr;
  sqlite3_open(db_path.c_str(), &db);
  sqlite3_stmt* stmt = nullptr;
  std::vector<std::string> out;
  EXPECT_EQ(sqlite3_prepare_v2(db, query.c_str(), -1, &stmt, nullptr), SQLITE_OK) << query;
  while (stmt != nullptr && sqlite3_step(stmt) == SQLITE_ROW) {
    std::string row;
    for (int c = 0; c < sqlite3_column_count(stmt); c++) {
      const unsigned char* v = sqlite3_column_text(stmt, c);
      row += (c ? "|" : "") + std::string(v ? reinterpret_cast<const char*>(v) : "NULL");
    }
    out.push_back(row);
  }
  sqlite3_finalize(stmt);
  sqlite3_close(db);
  return out;
}

struct BatchRun {
  std::string db_kind = "none";
  std::string db_uri;
  std::string library = "lib";
  std::string job_id = "job7";
  int write_to_db = 0;
  int unique_doc_num = 100;
  int status_flag = 0;
  int interval = 10;
  int level = 20;
};

// Settings of a run into a fresh SQLite file beside the "in/" folder `in`.
BatchRun into_sqlite(const std::string& in) {
  BatchRun r;
  r.db_kind = "sqlite";
  r.db_uri = make_sqlite_db(in + "../", "lib");
  r.write_to_db = 1;
  return r;
}

// Level 3 over `folder`, the log in a file; returns the result, the log in `log`.
int run3(const std::string& folder, const BatchRun& r, std::string* log,
         const std::string& work_in = "") {
  std::string work = work_in.empty() ? folder + "../" : work_in;
  std::string log_path = work + "run.log";
  int pages = add_pdf_main_dorvane_config_new(
      "acct", r.library.c_str(), folder.c_str(), r.db_kind.c_str(), r.db_uri.c_str(), "acct", "",
      "", work.c_str(), 60, -1, r.write_to_db, "briks.txt", 400, r.unique_doc_num,
      r.status_flag, r.interval, r.job_id.c_str(), 0, 1, 1, 600, 2, 1, 1, r.level,
      log_path.c_str());
  *log = read_file(log_path);
  return pages;
}

// A fresh "in/" folder under a temp folder, holding `docs` (name and bytes).
std::string make_input(const std::string& tag,
                       const std::vector<std::pair<std::string, std::string>>& docs) {
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

// doc_ID of each file_source in the brik file.
std::map<std::string, int> doc_ids(const std::string& brik_file) {
  std::map<std::string, int> ids;
  std::string text = read_file(brik_file);
  for (size_t at = text.find("<doc_ID>: "); at != std::string::npos; at = text.find("<doc_ID>: ", at + 1)) {
    size_t src = text.find("<file_source>: ", at) + 15;
    ids[text.substr(src, text.find(",\n", src) - src)] = atoi(text.c_str() + at + 10);
  }
  return ids;
}


}  // namespace

// Only names after "." and ".." in byte order, not .DS_Store, of type "pdf" or "PDF", are taken;
// a name made of points only has no type and is passed over without harm.
TEST(BatchScan, NameTest) {
  std::string doc = good_pdf("hello");
  std::string in = make_input("scan", {{"a.pdf", doc}, {"Report.PDF", doc}, {"Report.Pdf", doc},
                                       {"-draft.pdf", doc}, {".hidden.pdf", doc}, {"notes.txt", doc},
                                       {"...", doc}, {"+x.pdf", doc}, {".DS_Store", doc}});
  std::string log;
  EXPECT_EQ(run3(in, BatchRun(), &log), 3);
  std::vector<std::string> names = processed(log);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".hidden.pdf", "Report.PDF", "a.pdf"}));
  EXPECT_NE(log.find("INFO: pdf_parser - total pdf files processed - 3 \n"
                     "INFO: pdf_parser - total input files received - 3 \n"), std::string::npos);
}

// Past the capacity of files, or past the length of one entry, a file is left out and named.
TEST(BatchScan, CapacityAndLongPaths) {
  std::string doc = good_pdf("hello");
  std::string in = make_input("cap", {{"a.pdf", doc}, {"b.pdf", doc}, {"c.pdf", doc}});
  int saved = GLOBAL_MAX_INPUT_FILES;
  GLOBAL_MAX_INPUT_FILES = 2;
  std::string log;
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
// the failed one's number; 0 gives 1000000 first, then 1.
TEST(BatchNumbers, FromUniqueDocNum) {
  struct Row {
    int unique_doc_num;
    bool with_failure;
    std::vector<int> expected;  // numbers of the good files in processing order
  } table[] = {{100, false, {100, 101, 102}}, {100, true, {100, 101, 102}}, {0, false, {1000000, 1, 2}}};
  for (const Row& row : table) {
    std::vector<std::pair<std::string, std::string>> docs = {
        {"a.pdf", good_pdf("alpha")}, {"b.pdf", good_pdf("beta")}, {"c.pdf", good_pdf("gamma")}};
    if (row.with_failure) docs.push_back({"bad.pdf", kNoCatalog});
    std::string in = make_input("numbers", docs);
    BatchRun r;
    r.unique_doc_num = row.unique_doc_num;
    std::string log;
    run3(in, r, &log);
    std::map<std::string, int> ids = doc_ids(in + "../briks.txt");
    std::vector<int> got;
    for (const std::string& name : processed(log)) {
      if (name != "bad.pdf") got.push_back(ids.at(name));
    }
    EXPECT_EQ(got, row.expected) << row.unique_doc_num << " failure " << row.with_failure;
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
    std::string in = make_input("status", docs);
    BatchRun r = into_sqlite(in);
    r.status_flag = row.files > 0;
    r.interval = row.interval;
    std::string log;
    EXPECT_EQ(run3(in + "../" + row.sub, r, &log, in + "../"), 0);
    EXPECT_EQ(count_of(log, "INFO: pdf_parser - registered status to database - lib_pdf_parser_job7 - In Progress - "),
              row.updates);
    EXPECT_EQ(count_of(log, "WARNING: pdf_parser - status interval not above 0"), row.interval <= 0 ? 1 : 0);
    EXPECT_EQ(count_of(log, "WARNING: pdf_parser - input folder can not be opened"), row.sub[0] == 'm');
    std::string n = std::to_string(row.files);
    EXPECT_EQ(rows(r.db_uri, "SELECT summary, total, current FROM status"), std::vector<std::string>{"Completed|" + n + "|" + n});
    std::vector<std::string> want = {row.files ? "lib_pdf_parser_job7|Completed|||" + n + "|" + n + "|files" : "0|0|0"};
    EXPECT_EQ(rows(r.db_uri, row.files ? "SELECT * FROM status" : "SELECT documents, blocks, pages FROM library"), want);
  }
}

// Each failed document leaves one event with its reason; totals count the good ones, tables and
// pages each in their own field; level 1 and 2 warn where level 3 writes debug lines.
TEST(BatchEvents, EventsAndTotals) {
  std::string table_pdf = read_file(std::string(PDFBRIKS_TEST_DATA) + "/table_office.pdf");
  std::string in = make_input("events", {{"nocat.pdf", kNoCatalog}, {"enc.pdf", encrypted_pdf()},
                                         {"empty.pdf", empty_pdf()}, {"good.pdf", good_pdf("one")},
                                         {"table.pdf", table_pdf}});
  BatchRun r = into_sqlite(in);
  std::string log;
  int pages = run3(in, r, &log);
  EXPECT_EQ(rows(r.db_uri, "SELECT job_id, parser_type, library_name, account_name, file_name, message, "
                           "ocr_flag, fail_flag FROM parser_events ORDER BY message"),
            (std::vector<std::string>{"job7|pdf|lib|acct|" + in + "enc.pdf|ENCRYPTED|yes|fail",
                                      "job7|pdf|lib|acct|" + in + "nocat.pdf|NO_CATALOG|yes|fail",
                                      "job7|pdf|lib|acct|" + in + "empty.pdf|NO_CONTENT_FOUND|yes|fail"}));
  std::vector<std::string> totals = rows(r.db_uri, "SELECT documents, tables > 0, pages FROM library");
  EXPECT_EQ(totals, std::vector<std::string>{"2|1|" + std::to_string(pages)});
  std::string tables_line = "INFO: pdf_parser - total tables created - " +
                            rows(r.db_uri, "SELECT tables FROM library")[0] + " \n";
  EXPECT_NE(log.find(tables_line), std::string::npos);
  EXPECT_EQ(count_of(log, "WARNING: pdf_parser - no content captured"), 0);  // level 3: debug lines
}

// Quotes in values written unescaped, and a library name that is not a plain identifier,
// refuse the statement with a reason; no SQL of theirs runs and the tables stay whole.
TEST(BatchGuard, RefusedStatements) {
  std::string in = make_input("guard", {{"it's.pdf", kNoCatalog}, {"good.pdf", good_pdf("one")}});
  BatchRun r = into_sqlite(in);
  r.job_id = "x'); DROP TABLE status; --";
  r.unique_doc_num = -1;
  r.level = 10;
  std::string log;
  run3(in, r, &log);
  EXPECT_NE(log.find("register_parser_event_sqlite - exec error: statement refused before sending - a single quote in job_id"),
            std::string::npos);
  EXPECT_NE(log.find("register_status_update_sqlite - exec error: statement refused before sending - a single quote in key"),
            std::string::npos);
  EXPECT_TRUE(rows(r.db_uri, "SELECT * FROM parser_events").empty());
  EXPECT_TRUE(rows(r.db_uri, "SELECT * FROM status").empty());

  r.library = "lib' OR 1=1 --";
  r.job_id = "job7";
  r.write_to_db = 0;  // briks to the file, where the fallback number shows
  run3(in, r, &log);
  EXPECT_NE(log.find("pull_new_doc_id - sqlite - query error: statement refused before sending - the library name is not a plain identifier"),
            std::string::npos);
  EXPECT_EQ(doc_ids(in + "../briks.txt").at("good.pdf"), 1000000);
  r.write_to_db = 1;
  run3(in, r, &log);
  EXPECT_NE(log.find("update_library_inc_totals_sqlite - exec error: statement refused"), std::string::npos);
  EXPECT_EQ(rows(r.db_uri, "SELECT unique_doc_id, documents FROM library"), std::vector<std::string>{"2|1"});
}

// Level 1 and 2 write to standard output; at level 50 with the status flag, levels 2 and 3 still
// write the closing summary and the line after it, and nothing else.
TEST(BatchLevels, LinesThatDiffer) {
  std::string in = make_input("levels", {{"nocat.pdf", kNoCatalog}});
  std::string work = in + "../";
  GLOBAL_LOGGER_LEVEL = 20;
  testing::internal::CaptureStdout();
  add_pdf_main_dorvane("acct", "lib", in.c_str(), "", work.c_str(), 0, -1, 0, "b.txt", 400, 1, "", "");
  std::string one = testing::internal::GetCapturedStdout();
  EXPECT_NE(one.find("INFO:  pdf_parser - processing file - 0 - nocat.pdf \n"), std::string::npos);
  EXPECT_NE(one.find("WARNING: pdf_parser - no text found in parsing. \n"), std::string::npos);
  testing::internal::CaptureStdout();
  add_pdf_main_dorvane_config("acct", "lib", in.c_str(), "none", "", "acct", "", "", work.c_str(),
                              0, -1, 0, "b.txt", 400, 1, 0, 10, "j");
  std::string two = testing::internal::GetCapturedStdout();
  EXPECT_NE(two.find("INFO: pdf_parser - processing file - 0 - nocat.pdf \n"), std::string::npos);
  EXPECT_NE(two.find("WARNING: pdf_parser - no content captured - blocks_created = -1 \n"), std::string::npos);
  EXPECT_EQ(two.find("no text found in parsing"), std::string::npos);

  BatchRun r;
  r.level = 50;
  r.status_flag = 1;
  std::string log;
  run3(in, r, &log);
  EXPECT_EQ(log.rfind("INFO: pdf_parser - total pdf files processed - 1 \n", 0), 0u);
  EXPECT_EQ(count_of(log, "\n"), 8);
  EXPECT_NE(log.find("INFO: pdf_parser - Completed Parsing - processing time - "), std::string::npos);
  GLOBAL_LOGGER_LEVEL = 20;
}
