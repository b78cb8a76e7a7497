// output/db_dispatch.cpp -- write_to_db: hands a batch of briks to the back end global_db names.
// Reads: global_db. Writes: nothing itself. The three names are tested one after the other, each
// on its own; a name that matches none writes nothing.
#include <cstring>

#include "output/output.h"
#include "run/run_state.h"

extern "C" {

// Result: the back end's result, or 0 when global_db names none. No caller uses it.
int write_to_db(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp) {
  int result = 0;
  const char* db = global_db != nullptr ? global_db : "";
  if (strcmp(db, "mongo") == 0) {
    result = write_to_mongo(start, stop, account_name, library_name, doc_id, brik_id, time_stamp);
  }
  if (strcmp(db, "postgres") == 0) {
    result = write_to_pg(start, stop, account_name, library_name, doc_id, brik_id, time_stamp);
  }
  if (strcmp(db, "sqlite") == 0) {
    result = write_to_sqlite(start, stop, account_name, library_name, doc_id, brik_id, time_stamp);
  }
  return result;
}

}  // extern "C"
