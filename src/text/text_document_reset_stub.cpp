// text/text_document_reset_stub.cpp -- stand-in for the text folder's document reset, so the
// set-up links while that function is written in the folder itself. Weak and empty: the real
// definition replaces it at link time. Delete this file once the real one is in.
#include "text/text.h"

extern "C" __attribute__((weak)) void text_document_reset(void) {}
