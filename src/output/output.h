// output/output.h -- the sinks that take briks away: the brik text file and the database
// dispatcher. Both take the same first seven arguments and return brik_id plus the records
// written; every caller ignores the result.
#pragma once

extern "C" {

int write_to_file(int start, int stop, char* account_name, char* library_name, int doc_id,
                  int brik_id, char* time_stamp, char* file_name);
int write_to_db(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp);

}  // extern "C"
