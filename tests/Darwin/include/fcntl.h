// Adds to Linux's header what fcntl(2) and open(2) of Darwin have besides.
#pragma once
#pragma GCC system_header
#include_next <fcntl.h>

// Names a file without opening it for reading, as the flag of Darwin does: it keeps nobody waiting.
#define O_EVTONLY O_PATH
