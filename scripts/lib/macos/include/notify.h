// Stand-in for <notify.h>, declared from notify(3): only what Platform/macOS uses.
#pragma once
#include <dispatch/dispatch.h>
#include <stdint.h>

#define NOTIFY_STATUS_OK 0
#define NOTIFY_STATUS_INVALID_NAME 1
#define NOTIFY_REUSE 0x00000001

__BEGIN_DECLS
typedef void (^notify_handler_t)(int token);
uint32_t notify_post(const char *name);
uint32_t notify_register_dispatch(const char *name, int *out_token,
                                  dispatch_queue_t queue, notify_handler_t handler);
uint32_t notify_register_file_descriptor(const char *name, int *notify_fd, int flags,
                                         int *out_token);
uint32_t notify_cancel(int token);
__END_DECLS
