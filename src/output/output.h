// output/output.h -- the sinks that take briks away: the brik text file, the database
// dispatcher and its three back ends. All take the same first seven arguments; every caller
// ignores the result. None keeps state between calls; each database call opens and closes its
// own connection.
#pragma once

extern "C" {

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

}  // extern "C"
