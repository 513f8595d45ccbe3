#pragma once

#include <sys/epoll.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace corvane::Platform {

/// The system calls that only Linux has, under the same rules as SystemCalls: arguments, results
/// and errno of the manual page, nothing repeated, one object in use per process, replaceable in
/// tests. Linux/ holds what the platform layer builds on them: events of descriptors and files,
/// detached processes, the system log. What the host needs beyond the kernel, such as group
/// containers and notifications, is in Container/.
class LinuxCalls {
 public:
  LinuxCalls() = default;
  virtual ~LinuxCalls() = default;
  LinuxCalls(const LinuxCalls&) = delete;
  LinuxCalls& operator=(const LinuxCalls&) = delete;

  // epoll(7) and eventfd(2), for the event loop.
  virtual int epollCreate(int flags);
  virtual int epollControl(int epoll, int operation, int descriptor, struct epoll_event* event);
  virtual int epollWait(int epoll, struct epoll_event* events, int count, int milliseconds);
  virtual int eventfd(unsigned initial, int flags);
  // getdents64(2), without the buffering of readdir(3).
  virtual ssize_t getdents(int directory, void* entries, std::size_t count);
  /// pidfd_open(2) without flags, which older C libraries lack. The descriptor is close-on-exec.
  virtual int pidfdOpen(pid_t process);
  virtual int pipe2(int* ends, int flags);
  // inotify(7), for FileWatch.
  virtual int inotifyInit(int flags);
  virtual int inotifyAddWatch(int inotify, const char* path, std::uint32_t events);
  virtual int inotifyRemoveWatch(int inotify, int watch);
  /// lsetxattr(2) with an empty value, and lgetxattr(2) for the length of the value. Symbolic links
  /// are not followed.
  virtual int setAttribute(const char* path, const char* name);
  virtual ssize_t getAttribute(const char* path, const char* name);
  virtual int clockGettime(clockid_t clock, struct timespec* time);

  /// The object in use: one that calls the system, unless a `Replacement` exists.
  static LinuxCalls& inUse();

  /// Replaces the object in use for as long as it exists; for tests. `calls` must outlive it.
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

/// The object in use, for the sources of the platform layer.
inline LinuxCalls& linuxCalls() {
  return LinuxCalls::inUse();
}

}  // namespace corvane::Platform
