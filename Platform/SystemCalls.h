#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <chrono>
#include <cstddef>
#include <thread>

struct flock;

namespace corvane::Platform {

/// The seam between the host and the operating system: every system call as a virtual function, and
/// also the clocks and the identity of process and thread. The sources of the platform layer call
/// the object in use (`systemCalls()`), so that tests can make any call fail and set the clocks,
/// and the simulation can replace the whole system. LinuxCalls has the calls that only Linux has.
///
/// Each function has the arguments, the result and the errors of the manual page of the same name,
/// failures in errno included; none repeats a call that a signal interrupted. Not called through
/// this object: geteuid, code between fork and exec or in a signal handler, time and process
/// identifier of records in the system log, and the clocks and threads of the log and of file
/// monitoring.
///
/// There is one object in use per process. Thread-safe, except that no other thread may make calls
/// while the object is being replaced.
class SystemCalls {
 public:
  SystemCalls() = default;
  virtual ~SystemCalls() = default;
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

  // Files: open(2), read(2) and their relatives.
  virtual int open(const char* path, int flags, mode_t mode = 0);
  virtual int openat(int directory, const char* path, int flags, mode_t mode = 0);
  virtual int close(int descriptor);
  virtual ssize_t read(int descriptor, void* bytes, std::size_t count);
  virtual ssize_t write(int descriptor, const void* bytes, std::size_t count);
  virtual ssize_t writev(int descriptor, const struct iovec* pieces, int count);
  virtual ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset);
  virtual ssize_t pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset);
  virtual off_t lseek(int descriptor, off_t offset, int whence);
  virtual int ftruncate(int descriptor, off_t size);
  virtual int fstat(int descriptor, struct stat* status);
  virtual int stat(const char* path, struct stat* status);
  virtual int lstat(const char* path, struct stat* status);
  virtual int fstatat(int directory, const char* path, struct stat* status, int flags);
  virtual int flock(int descriptor, int operation);
  // Names and directories: mkdir(2), unlink(2), rename(2) and the like.
  virtual int fchmod(int descriptor, mode_t mode);
  virtual int mkdir(const char* path, mode_t mode);
  virtual int mkdirat(int directory, const char* path, mode_t mode);
  virtual int rmdir(const char* path);
  virtual int unlink(const char* path);
  virtual int unlinkat(int directory, const char* path, int flags);
  virtual int linkat(int directory, const char* path, int newDirectory, const char* newPath,
                     int flags);
  virtual int renameat(int directory, const char* path, int newDirectory, const char* newPath);
  virtual ssize_t readlink(const char* path, char* target, std::size_t count);
  virtual int access(const char* path, int mode);
  // Descriptors and sockets: dup(2), fcntl(2), poll(2), socket(2).
  virtual int dup2(int descriptor, int number);
  virtual int fcntl(int descriptor, int command, int argument);
  /// fcntl(2) with one of the commands for record locks.
  virtual int lockRecord(int descriptor, int command, struct flock* lock);
  virtual int poll(struct pollfd* descriptors, nfds_t count, int milliseconds);
  virtual int socket(int domain, int type, int protocol);
  virtual int bind(int socket, const struct sockaddr* address, socklen_t length);
  virtual int connect(int socket, const struct sockaddr* address, socklen_t length);
  virtual ssize_t send(int socket, const void* bytes, std::size_t count, int flags);
  virtual ssize_t recv(int socket, void* bytes, std::size_t count, int flags);
  // Processes and threads.
  virtual int kill(pid_t process, int signal);
  virtual pid_t fork();
  virtual pid_t waitpid(pid_t process, int* status, int options);
  /// Starts a detached thread that calls `body(argument)`. Returns 0, or -1 with errno set if the
  /// system starts no more threads.
  virtual int startThread(void* (*body)(void*), void* argument);
  // Random bytes: getentropy(3), at most 256 a call.
  virtual int getentropy(void* bytes, std::size_t count);
  // Identities and clocks.
  virtual pid_t getpid();
  virtual pid_t getppid();
  /// The identity of the calling thread; the simulation has threads of its own.
  virtual std::thread::id thisThread();
  virtual std::chrono::steady_clock::time_point steadyNow();
  virtual std::chrono::system_clock::time_point wallNow();

  /// The object in use: one that calls the system, unless a `Replacement` exists.
  static SystemCalls& inUse();

  /// Replaces the object in use for as long as it exists; for tests. Replacements nest: they must
  /// be destroyed in the reverse order of their construction. `calls` must outlive it.
  class Replacement {
   public:
    explicit Replacement(SystemCalls& calls);
    ~Replacement();
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

   private:
    SystemCalls* const replaced_;
  };
};

/// The object in use, for the sources of the platform layer.
inline SystemCalls& systemCalls() {
  return SystemCalls::inUse();
}

}  // namespace corvane::Platform
