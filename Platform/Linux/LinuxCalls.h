#pragma once

#include <sys/epoll.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace corvane::Platform {

/// The system calls that only Linux has, under the same rules as SystemCalls.
class LinuxCalls {
 public:
  LinuxCalls() = default;
  virtual ~LinuxCalls() = default;
  LinuxCalls(const LinuxCalls&) = delete;
  LinuxCalls& operator=(const LinuxCalls&) = delete;

  virtual int epollCreate(int flags);
  virtual int epollControl(int epoll, int operation, int descriptor, struct epoll_event* event);
  virtual int epollWait(int epoll, struct epoll_event* events, int count, int milliseconds);
  virtual int eventfd(unsigned initial, int flags);
  virtual ssize_t getdents(int directory, void* entries, std::size_t count);
  virtual int pidfdOpen(pid_t process);
  virtual int pipe2(int* ends, int flags);
  virtual int inotifyInit(int flags);
  virtual int inotifyAddWatch(int inotify, const char* path, std::uint32_t events);
  virtual int inotifyRemoveWatch(int inotify, int watch);
  /// Sets, without a value, or looks for an extended attribute; follows no symbolic link.
  virtual int setAttribute(const char* path, const char* name);
  virtual ssize_t getAttribute(const char* path, const char* name);
  virtual int clockGettime(clockid_t clock, struct timespec* time);

  static LinuxCalls& inUse();

  /// Replaces the calls in use for as long as it exists; for tests.
  class Replacement {
   public:
    explicit Replacement(LinuxCalls& calls);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

   private:
    LinuxCalls* const replaced_;
  };
};

inline LinuxCalls& linuxCalls() {
  return LinuxCalls::inUse();
}

}  // namespace corvane::Platform
