// run/brik_flush.cpp -- hands the gathered briks to the sink and restarts Briks at entry 0.
// Reads: GLOBAL_WRITE_TO_DB, global_brik_counter and the run's texts. Writes: master_brik_tracker,
// global_brik_counter, global_brik_high_water, master_page_brik_start, master_page_brik_stop.
#include "output/output.h"
#include "run/run_state.h"

extern "C" {

void flush_brik_batch(void) {
  if (GLOBAL_WRITE_TO_DB == 1) {
    write_to_db(0, global_brik_counter, global_account_name, global_library_name,
                master_doc_tracker, master_brik_tracker, global_time_stamp);
  } else {
    write_to_file(0, global_brik_counter, global_account_name, global_library_name,
                  master_doc_tracker, master_brik_tracker, global_time_stamp,
                  global_write_to_filename);
  }
  if (global_brik_counter > global_brik_high_water) global_brik_high_water = global_brik_counter;
  master_brik_tracker += global_brik_counter;
  global_brik_counter = 0;
  master_page_brik_start = 0;
  master_page_brik_stop = 0;
}

}  // extern "C"
