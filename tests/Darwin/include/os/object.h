// Stand-in for <os/object.h>: what <os/log.h> needs of it, without Objective-C.
#pragma once

#define OS_OBJECT_USE_OBJC 0
#define OS_EXPORT extern
#define OS_WARN_RESULT __attribute__((__warn_unused_result__))
#define OS_OBJECT_GLOBAL_OBJECT(type, object) (&(object))
