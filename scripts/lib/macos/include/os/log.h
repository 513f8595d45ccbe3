// Stand-in for <os/log.h>. The format check is the one that clang has for os_log; the functions are
// those that libSystem exports.
#pragma once
#include <os/object.h>
#include <stdbool.h>
#include <stdint.h>

#if OS_OBJECT_USE_OBJC
OS_OBJECT_DECL(os_log);
#else
typedef struct os_log_s *os_log_t;
#endif

typedef uint8_t os_log_type_t;
enum : os_log_type_t {
    OS_LOG_TYPE_DEFAULT = 0x00,
    OS_LOG_TYPE_INFO = 0x01,
    OS_LOG_TYPE_DEBUG = 0x02,
    OS_LOG_TYPE_ERROR = 0x10,
    OS_LOG_TYPE_FAULT = 0x11,
};

__BEGIN_DECLS
extern void *__dso_handle;
OS_EXPORT struct os_log_s _os_log_default;
OS_EXPORT OS_WARN_RESULT
bool os_log_type_enabled(os_log_t log, os_log_type_t type);
OS_EXPORT
void _os_log_impl(void *dso, os_log_t log, os_log_type_t type, const char *format,
                  uint8_t *buffer, uint32_t size);
__END_DECLS

#define OS_LOG_DEFAULT OS_OBJECT_GLOBAL_OBJECT(os_log_t, _os_log_default)

#define os_log_with_type(log, type, format, ...)                                           \
    do {                                                                                   \
        if (os_log_type_enabled((log), (type))) {                                          \
            uint8_t os_log_buffer_[__builtin_os_log_format_buffer_size(                    \
                format __VA_OPT__(, ) __VA_ARGS__)];                                       \
            _os_log_impl(&__dso_handle, (log), (type), format,                             \
                         static_cast<uint8_t *>(__builtin_os_log_format(                   \
                             os_log_buffer_, format __VA_OPT__(, ) __VA_ARGS__)),          \
                         sizeof os_log_buffer_);                                           \
        }                                                                                  \
    } while (false)
