// objects/metadata.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
extern "C" {
int metadata_handler(int, int) { return 0; }
}
