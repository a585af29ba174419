// The caller in C, compiled as C++, under another name.
#define tell tell_in_cpp
#include "tests/api/caller.c"
