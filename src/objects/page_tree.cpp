// objects/page_tree.cpp -- (placeholder until the object layer lands)
#include "objects/objects.h"
extern "C" {
int catalog_to_page_handler(int, int) { return 0; }
}
