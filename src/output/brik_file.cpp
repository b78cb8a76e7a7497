// output/brik_file.cpp -- (placeholder until the brik file sink lands)
#include "output/output.h"
extern "C" {
int write_to_file(int start, int stop, char*, char*, int, int brik_id, char*, char*) { return brik_id + (stop - start); }
}
