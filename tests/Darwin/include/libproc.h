// Stand-in for <libproc.h>: only what Platform/macOS uses.
#pragma once
#include <stdint.h>
#include <sys/cdefs.h>

#define PROC_PIDPATHINFO_MAXSIZE 4096

__BEGIN_DECLS
int proc_pidpath(int pid, void* buffer, uint32_t buffersize);
__END_DECLS
