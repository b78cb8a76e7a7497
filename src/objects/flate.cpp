// objects/flate.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
#include <cstdlib>
extern "C" {
unsigned char* flate_dst_tmp_buffer = nullptr;
unsigned char* objstm_flate_buffer = nullptr;
int flate_count = 0;
int flate_handler_buffer_v2(int, int) { flate_dst_tmp_buffer = (unsigned char*)malloc(FLATE_OUTPUT_SIZE); return -1; }
int objstm_handler(int, int) { return -1; }
}
