// objects/object_list.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
extern "C" {
ObjectRecord global_tmp_obj;
ObjectRecord catalog;
int build_obj_master_list(int) { return 0; }
int get_obj(int) { global_tmp_obj = ObjectRecord{-1, 0, -1, -1, -1, -1, -1, 0}; return -1; }
}
