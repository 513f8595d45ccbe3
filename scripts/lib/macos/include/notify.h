// Stand-in for <notify.h>, declared from notify(3): only what Platform/macOS uses.
#pragma once
#include <stdint.h>
#include <sys/cdefs.h>

#define NOTIFY_STATUS_OK 0
#define NOTIFY_REUSE 0x00000001

__BEGIN_DECLS
uint32_t notify_post(const char *name);
uint32_t notify_register_file_descriptor(const char *name, int *notify_fd, int flags,
                                         int *out_token);
uint32_t notify_cancel(int token);
__END_DECLS
