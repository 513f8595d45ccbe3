// Stand-in for <malloc/malloc.h>: only what Platform/macOS uses.
#pragma once
#include <stddef.h>
#include <sys/cdefs.h>

__BEGIN_DECLS
typedef struct _malloc_zone_t malloc_zone_t;
size_t malloc_zone_pressure_relief(malloc_zone_t* zone, size_t goal);
__END_DECLS
