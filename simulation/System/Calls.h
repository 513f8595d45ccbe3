#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// What both classes of calls share: descriptors and paths of the running process.
class CallsBase {
 protected:
  using File = std::shared_ptr<OpenFile>;

  explicit CallsBase(Kernel& kernel) : kernel_(kernel) {}

  /// Returns nullptr if the descriptor is not open.
  [[nodiscard]] File fileOf(int descriptor) const;
  /// Resolves `path` as openat(2) does, including paths below /proc/self/fd.
  [[nodiscard]] FileSystem::Place find(int folder, const char* path) const;
  /// Returns the poll(2) events that are ready.
  [[nodiscard]] unsigned readiness(const OpenFile& file) const;
  /// Removes "/proc/self/fd/N" from the front of `path` and returns N.
  static std::optional<int> takeDescriptor(std::string_view& path);
  static int failed(int error);
  static int done(int error) { return error == 0 ? 0 : failed(error); }

  Kernel& kernel_;
};

/// The system calls of simulated processes. Must be called on their fibers only.
class Calls final : public Platform::SystemCalls, CallsBase {
 public:
  explicit Calls(Kernel& kernel) : CallsBase(kernel) {}

  int open(const char* path, int flags, mode_t mode) override;
  int openat(int folder, const char* path, int flags, mode_t mode) override;
  int close(int descriptor) override;
  ssize_t read(int descriptor, void* bytes, std::size_t count) override;
  ssize_t write(int descriptor, const void* bytes, std::size_t count) override;
  ssize_t writev(int descriptor, const struct iovec* pieces, int count) override;
  ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) override;
  ssize_t pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset) override;
  off_t lseek(int descriptor, off_t offset, int whence) override;
  int ftruncate(int descriptor, off_t size) override;
  int fstat(int descriptor, struct stat* status) override;
  int stat(const char* path, struct stat* status) override;
  int lstat(const char* path, struct stat* status) override;
  int fstatat(int folder, const char* path, struct stat* status, int flags) override;
  int flock(int descriptor, int operation) override;
  int fchmod(int descriptor, mode_t mode) override;
  int mkdir(const char* path, mode_t mode) override;
  int mkdirat(int folder, const char* path, mode_t mode) override;
  int rmdir(const char* path) override;
  int unlink(const char* path) override;
  int unlinkat(int folder, const char* path, int flags) override;
  int linkat(int folder, const char* path, int newFolder, const char* newPath, int flags) override;
  int renameat(int folder, const char* path, int newFolder, const char* newPath) override;
  ssize_t readlink(const char* path, char* target, std::size_t count) override;
  int access(const char* path, int mode) override;
  int dup2(int descriptor, int number) override;
  int fcntl(int descriptor, int command, int argument) override;
  int lockRecord(int descriptor, int command, struct flock* lock) override;
  int poll(struct pollfd* descriptors, nfds_t count, int milliseconds) override;
  int socket(int domain, int type, int protocol) override;
  int bind(int socket, const struct sockaddr* address, socklen_t length) override;
  int connect(int socket, const struct sockaddr* address, socklen_t length) override;
  ssize_t send(int socket, const void* bytes, std::size_t count, int flags) override;
  ssize_t recv(int socket, void* bytes, std::size_t count, int flags) override;
  int kill(pid_t process, int signal) override;
  pid_t fork() override;
  pid_t waitpid(pid_t process, int* status, int options) override;
  int startThread(void* (*body)(void*), void* argument) override;
  std::thread::id thisThread() override;
  std::chrono::steady_clock::time_point steadyNow() override { return kernel_.now(); }
  std::chrono::system_clock::time_point wallNow() override { return kernel_.wallNow(); }
  int getentropy(void* bytes, std::size_t count) override;
  pid_t getpid() override { return kernel_.current().id; }
  pid_t getppid() override { return kernel_.current().parent; }

 private:
  int openNode(const FileSystem::Place& place, int flags, mode_t mode);
  int reopen(const File& file, int flags);
  ssize_t writeToPipe(OpenFile& file, std::string_view bytes);
  ssize_t put(OpenFile& file, std::string_view bytes, std::size_t offset);
};

/// The system calls of simulated processes that only Linux has.
class LinuxOnlyCalls final : public Platform::LinuxCalls, CallsBase {
 public:
  explicit LinuxOnlyCalls(Kernel& kernel) : CallsBase(kernel) {}

  int epollCreate(int flags) override;
  int epollControl(int epoll, int operation, int descriptor, struct epoll_event* event) override;
  int epollWait(int epoll, struct epoll_event* events, int count, int milliseconds) override;
  int eventfd(unsigned initial, int flags) override;
  ssize_t getdents(int folder, void* entries, std::size_t count) override;
  int pidfdOpen(pid_t process) override;
  int pipe2(int* ends, int flags) override;
  int clockGettime(clockid_t clock, struct timespec* time) override;
  int setAttribute(const char* path, const char* name) override;
  ssize_t getAttribute(const char* path, const char* name) override;
};

}  // namespace corvane::Simulation
