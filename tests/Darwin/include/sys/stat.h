// Linux's header with the names that stat(2) of Darwin has.
#pragma once
#pragma GCC system_header
#include_next <sys/stat.h>

#define st_mtimespec st_mtim
