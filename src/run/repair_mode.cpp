// run/repair_mode.cpp -- the repair mode switch. Off at load; only set_repair_mode turns it on,
// and no entry point touches it, so a host that never calls it gets the standard reading.
// With the mode on, the passes read the text that a document shows in the places where the
// standard reading loses it (see the repair_* files of the objects, fonts and text folders).
#include "run/run_state.h"

extern "C" {

int GLOBAL_REPAIR_MODE = 0;

void set_repair_mode(int on) {
  GLOBAL_REPAIR_MODE = on != 0 ? 1 : 0;
  log_at(LOG_DEBUG, "DEBUG: pdf_parser - repair mode - %d \n", GLOBAL_REPAIR_MODE);
}

}  // extern "C"
