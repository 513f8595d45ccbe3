// Adds to Linux's header what fcntl(2) and open(2) of Darwin have besides.
#pragma once
#pragma GCC system_header
#include_next <fcntl.h>

// Opens a file for events only, as Darwin's flag does: neither for reading nor for writing.
#define O_EVTONLY O_PATH
