#include "Platform/Linux/LinuxCalls.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace corvane::Platform {
namespace {

constinit LinuxCalls theSystem;
constinit LinuxCalls* callsInUse = &theSystem;

}  // namespace

int LinuxCalls::epollCreate(int flags) {
  return ::epoll_create1(flags);
}
int LinuxCalls::epollControl(int epoll, int operation, int descriptor, struct epoll_event* event) {
  return ::epoll_ctl(epoll, operation, descriptor, event);
}
int LinuxCalls::epollWait(int epoll, struct epoll_event* events, int count, int milliseconds) {
  return ::epoll_wait(epoll, events, count, milliseconds);
}
int LinuxCalls::eventfd(unsigned initial, int flags) {
  return ::eventfd(initial, flags);
}
ssize_t LinuxCalls::getdents(int directory, void* entries, std::size_t count) {
  return ::getdents64(directory, entries, count);
}
int LinuxCalls::pidfdOpen(pid_t process) {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}
int LinuxCalls::pipe2(int* ends, int flags) {
  return ::pipe2(ends, flags);
}
int LinuxCalls::inotifyInit(int flags) {
  return ::inotify_init1(flags);
}
int LinuxCalls::inotifyAddWatch(int inotify, const char* path, std::uint32_t events) {
  return ::inotify_add_watch(inotify, path, events);
}
int LinuxCalls::inotifyRemoveWatch(int inotify, int watch) {
  return ::inotify_rm_watch(inotify, watch);
}
int LinuxCalls::setAttribute(const char* path, const char* name) {
  return ::lsetxattr(path, name, "", 0, 0);
}
ssize_t LinuxCalls::getAttribute(const char* path, const char* name) {
  return ::lgetxattr(path, name, nullptr, 0);
}
int LinuxCalls::clockGettime(clockid_t clock, struct timespec* time) {
  return ::clock_gettime(clock, time);
}

LinuxCalls& LinuxCalls::inUse() {
  return *callsInUse;
}

LinuxCalls::Replacement::Replacement(LinuxCalls& calls) : replaced_(callsInUse) {
  callsInUse = &calls;
}
LinuxCalls::Replacement::~Replacement() {
  callsInUse = replaced_;
}

}  // namespace corvane::Platform
