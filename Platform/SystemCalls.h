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

/// The system calls with the same arguments and results, errno set, and also the clocks and the
/// identity of process and thread. The host makes its calls through the object in use, so that a
/// test can make any call fail and set the clocks; LinuxCalls has those that only Linux has.
/// Exceptions: geteuid, code between fork and exec or in a signal handler, the system log, and the
/// clocks and threads of the log and of file monitoring.
///
/// The object in use belongs to the process, like its descriptors. Thread-safe, except that no
/// other thread may make calls while the object is replaced.
class SystemCalls {
 public:
  SystemCalls() = default;
  virtual ~SystemCalls() = default;
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

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
  virtual int kill(pid_t process, int signal);
  virtual pid_t fork();
  virtual pid_t waitpid(pid_t process, int* status, int options);
  /// Starts a detached thread; returns -1 with errno set when the system starts no more.
  virtual int startThread(void* (*body)(void*), void* argument);
  /// getentropy(3): at most 256 bytes a call.
  virtual int getentropy(void* bytes, std::size_t count);
  virtual pid_t getpid();
  virtual pid_t getppid();
  /// The calling thread.
  virtual std::thread::id thisThread();
  virtual std::chrono::steady_clock::time_point steadyNow();
  virtual std::chrono::system_clock::time_point wallNow();

  /// The calls in use: the system's, unless a `Replacement` exists.
  static SystemCalls& inUse();

  /// Replaces the calls in use for as long as it exists; for tests.
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

/// The calls in use, for the sources of the platform layer.
inline SystemCalls& systemCalls() {
  return SystemCalls::inUse();
}

}  // namespace corvane::Platform
