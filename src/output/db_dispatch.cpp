// output/db_dispatch.cpp -- the database sink dispatcher. The back ends are not part of this
// build yet: a run that asks for the database (GLOBAL_WRITE_TO_DB 1) writes nothing, and only
// the batch entries can ask for it.
#include "output/output.h"

extern "C" {

int write_to_db(int start, int stop, char* account_name, char* library_name, int doc_id,
                int brik_id, char* time_stamp) {
  return brik_id + (stop > start ? stop - start : 0);
}

}  // extern "C"
