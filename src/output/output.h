// output/output.h -- the sinks that take briks away: the brik text file, the database
// dispatcher and its three back ends. All take the same first seven arguments; every caller
// ignores the result. None keeps state between calls, except that a batch run keeps one
// PostgreSQL connection open from its first database call to its end (db_pg_session.cpp); outside
// a run each database call opens and closes its own connection. The folder carries nothing from
// one document to the next, so it has no document reset.
#pragma once

extern "C" {

// ---- the folder's own state ----
constexpr int DB_REFUSAL_TEXT_SIZE = 300;  // a fixed sentence plus one field name; longer names are cut
extern char db_refusal_text[DB_REFUSAL_TEXT_SIZE];  // db_guard.cpp, db_refusal_reason's result; rewritten at each refusal
extern int pg_session_open;                 // db_pg_session.cpp: 1 between db_pg_session_begin and _end (the batch run)
extern struct pg_conn* pg_session_conn;     // db_pg_session.cpp: the run's kept PostgreSQL connection, or null; closed at the run's end

// The PostgreSQL connection of every PostgreSQL call: a fresh one, or inside a batch run the
// run's kept one when it is still good. db_pg_release finishes a fresh one and keeps a good kept
// one. The batch entries open the session after setting global_db_uri_string and close it before
// they return.
void db_pg_session_begin();
void db_pg_session_end();
struct pg_conn* db_pg_connect(const char* conninfo);
void db_pg_release(struct pg_conn* conn);

int write_to_file(int start, int stop, char* account_name, char* library_name, int doc_id,
                  int brik_id, char* time_stamp, char* file_name);
int write_to_db(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp);
// The back ends of write_to_db, for global_db "postgres", "sqlite" and "mongo". The SQL ones
// return 0; write_to_mongo returns brik_id plus the briks attempted, or 1 for a bad URI.
int write_to_pg(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp);
int write_to_sqlite(int start, int stop, char* account_name, char* library_name, int doc_id,
                    int brik_id, char* time_stamp);
int write_to_mongo(int start, int stop, char* account_name, char* library_name, int doc_id,
                   int brik_id, char* time_stamp);

// Run bookkeeping (db_status.cpp): the job's status row and the failure events. Result 0.
int register_status_update(char* key, char* summary, char* start_time, char* end_time, int total,
                           int current);
int register_parser_event(char* job_id, char* library_name, char* account_name, char* file_name,
                          char* message, char* ocr_flag, char* fail_flag, char* time_stamp);
// Document identifiers and library totals (db_doc_ids.cpp). pull_new_doc_id: the new number, or
// below 1 when there is none. Pages come before tables here.
int pull_new_doc_id(char* account_name, char* library_name);
int update_library_inc_totals(char* account_name, char* library_name, int documents, int blocks,
                              int images, int pages, int tables);
// The back ends of the four calls above, one per database kind (pg, sqlite, mongo), each with its
// own connection; the calls above dispatch on global_db.
int register_status_update_pg(char* key, char* summary, char* start_time, char* end_time, int total, int current);
int register_status_update_sqlite(char* key, char* summary, char* start_time, char* end_time, int total, int current);
int register_status_update_mongo(char* key, char* summary, char* start_time, char* end_time, int total, int current);
int register_parser_event_pg(char* job_id, char* library_name, char* account_name, char* file_name,
    char* message, char* ocr_flag, char* fail_flag, char* time_stamp);
int register_parser_event_sqlite(char* job_id, char* library_name, char* account_name, char* file_name,
    char* message, char* ocr_flag, char* fail_flag, char* time_stamp);
int register_parser_event_mongo(char* job_id, char* library_name, char* account_name, char* file_name,
    char* message, char* ocr_flag, char* fail_flag, char* time_stamp);
int pull_new_doc_id_pg(char* account_name, char* library_name);
int pull_new_doc_id_sqlite(char* account_name, char* library_name);
int pull_new_doc_id_mongo(char* account_name, char* library_name);
int update_library_inc_totals_pg(char* account_name, char* library_name, int documents, int blocks,
    int images, int pages, int tables);
int update_library_inc_totals_sqlite(char* account_name, char* library_name, int documents, int blocks,
    int images, int pages, int tables);
int update_library_inc_totals_mongo(char* account_name, char* library_name, int documents, int blocks,
    int images, int pages, int tables);

}  // extern "C"
