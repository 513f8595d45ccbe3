// Adds to Linux's header what intro(2) of Darwin has besides.
#pragma once
#pragma GCC system_header
#include_next <errno.h>

#define ENOATTR ENODATA
