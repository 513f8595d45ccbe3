// Adds to Linux's header what pthread_setname_np(3) of Darwin takes: the calling thread's name.
#pragma once
#pragma GCC system_header
#include_next <pthread.h>

#ifdef __cplusplus
extern "C++" inline int pthread_setname_np(const char* name) {
  return pthread_setname_np(pthread_self(), name);
}
#endif
