#pragma once

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>

namespace corvane::Platform {

/// The system calls on files that may fail, as the system has them: same arguments, same results,
/// errno set. Everything that touches files above this seam takes a `SystemCalls`, so that a test
/// can make the Nth call fail. The shipped host uses `system()` only. Safe from any thread.
class SystemCalls {
 public:
  SystemCalls() = default;
  virtual ~SystemCalls() = default;
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

  virtual int open(const char* path, int flags, mode_t mode);
  virtual ssize_t read(int descriptor, void* bytes, std::size_t count);
  virtual ssize_t write(int descriptor, const void* bytes, std::size_t count);
  virtual ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset);
  virtual ssize_t pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset);
  virtual int ftruncate(int descriptor, off_t size);
  virtual int fstat(int descriptor, struct stat* status);
  virtual int stat(const char* path, struct stat* status);
  virtual int flock(int descriptor, int operation);
  virtual int unlink(const char* path);
  virtual int close(int descriptor);

  /// The real ones.
  static SystemCalls& system();
};

}  // namespace corvane::Platform
