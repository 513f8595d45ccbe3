// Every stand-in header at once, for check_declarations.py.
#import <AppKit/AppKit.h>
#include <notify.h>
#include <os/log.h>
#include <sys/xattr.h>
