#include "Platform/SystemCalls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace corvane::Platform {

int SystemCalls::open(const char* path, int flags, mode_t mode) {
  return ::open(path, flags, mode);
}
ssize_t SystemCalls::read(int descriptor, void* bytes, std::size_t count) {
  return ::read(descriptor, bytes, count);
}
ssize_t SystemCalls::write(int descriptor, const void* bytes, std::size_t count) {
  return ::write(descriptor, bytes, count);
}
ssize_t SystemCalls::pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  return ::pread(descriptor, bytes, count, offset);
}
ssize_t SystemCalls::pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset) {
  return ::pwritev(descriptor, pieces, count, offset);
}
int SystemCalls::ftruncate(int descriptor, off_t size) {
  return ::ftruncate(descriptor, size);
}
int SystemCalls::fstat(int descriptor, struct stat* status) {
  return ::fstat(descriptor, status);
}
int SystemCalls::stat(const char* path, struct stat* status) {
  return ::stat(path, status);
}
int SystemCalls::flock(int descriptor, int operation) {
  return ::flock(descriptor, operation);
}
int SystemCalls::unlink(const char* path) {
  return ::unlink(path);
}
int SystemCalls::close(int descriptor) {
  return ::close(descriptor);
}

SystemCalls& SystemCalls::system() {
  static auto& calls = *new SystemCalls;
  return calls;
}

}  // namespace corvane::Platform
