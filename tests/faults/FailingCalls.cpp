#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

// Linked into the host, this makes one of its system calls fail. Which one and how is in the file
// that the environment variable CORVANE_FAILING names: a `Control`, which fail_calls.py has, too.

namespace corvane::Platform {
namespace {

/// In place of an errno: the call transfers three bytes at most.
constexpr int shortTransfer = -1;

struct Entry {
  std::array<char, 16> call;
  std::array<char, 104> where;
  int flags;
  mode_t mode;  // of the descriptor
};

struct Control {
  std::atomic<unsigned> isArmed;
  int failure;
  unsigned ordinal;  // which call of this name fails, counted from 1 since it was armed
  std::array<char, 16> call;

  std::atomic<unsigned> matched;
  std::atomic<unsigned> fired;   // the entry that failed, from 1
  std::atomic<unsigned> traced;  // entries; more than there is room for are only counted
  std::array<Entry, 4096> trace;
};

Control* control = nullptr;

/// Notes a call; returns how it is to fail, or 0.
int failureOf(const char* call, int descriptor, const char* path, int flags) {
  const unsigned at = control->traced++;
  if (at >= control->trace.size()) return 0;
  struct stat status = {};
  Entry& entry = control->trace[at];
  entry = {};
  ::strncpy(entry.call.data(), call, entry.call.size() - 1);
  ::strncpy(entry.where.data(), path, entry.where.size() - 1);
  entry.flags = flags;
  if (::fstat(descriptor, &status) == 0) entry.mode = status.st_mode;
  if (std::strcmp(call, control->call.data()) != 0 || ++control->matched != control->ordinal)
    return 0;
  control->fired = at + 1;
  return control->failure;
}

/// `real`, which is told whether its transfer is to be short, unless the call is to fail. A close
/// that fails has closed all the same.
template <class Call>
auto tried(const char* name, int descriptor, const char* path, int flags, Call real) {
  const int before = errno;
  const bool counts = control != nullptr && control->isArmed != 0;
  const int failure = counts ? failureOf(name, descriptor, path, flags) : 0;
  errno = before;
  if (failure == 0 || failure == shortTransfer) return real(failure != 0);
  if (std::string_view(name) == "close") static_cast<void>(real(false));
  errno = failure;
  return static_cast<decltype(real(false))>(-1);
}

std::size_t upTo(bool isShort, std::size_t count) {
  return isShort ? std::min<std::size_t>(count, 3) : count;
}

int statusFlags(int descriptor) {
  return ::fcntl(descriptor, F_GETFL);
}

using Path = const char*;
using Address = const struct sockaddr*;
using Status = struct stat*;

/// Overrides a call: its result, name and parameters; what it is about, its flags; the arguments
/// of the call itself.
#define ON(result, name, parameters, descriptor, path, flags, arguments)                   \
  result name parameters override {                                                        \
    const auto call = [&]([[maybe_unused]] bool isShort) { return Real::name arguments; }; \
    return tried(#name, descriptor, path, flags, call);                                    \
  }
#define ON_FILE(result, name, parameters, flags, arguments) \
  ON(result, name, parameters, file, "", flags, arguments)
#define ON_PATH(result, name, parameters, flags, arguments) \
  ON(result, name, parameters, -1, path, flags, arguments)
#define ON_NEITHER(result, name, parameters, arguments) \
  ON(result, name, parameters, -1, "", 0, arguments)

struct FailingCalls final : SystemCalls {
  using Real = SystemCalls;

  ON_PATH(int, open, (Path path, int flags, mode_t mode), flags, (path, flags, mode));
  ON_PATH(int, openat, (int in, Path path, int flags, mode_t mode), flags, (in, path, flags, mode));
  ON_FILE(int, close, (int file), 0, (file));
  ON_FILE(ssize_t, read, (int file, void* to, size_t count), statusFlags(file),
          (file, to, upTo(isShort, count)));
  ON_FILE(ssize_t, write, (int file, const void* bytes, size_t count), statusFlags(file),
          (file, bytes, upTo(isShort, count)));
  ON_FILE(ssize_t, pread, (int file, void* to, size_t count, off_t at), 0,
          (file, to, upTo(isShort, count), at));
  ON_FILE(ssize_t, pwritev, (int file, const iovec* from, int count, off_t at), 0,
          (file, from, isShort ? 1 : count, at));
  ON_FILE(int, ftruncate, (int file, off_t size), 0, (file, size));
  ON_FILE(int, fstat, (int file, Status status), 0, (file, status));
  ON_PATH(int, stat, (Path path, Status status), 0, (path, status));
  ON_PATH(int, lstat, (Path path, Status status), 0, (path, status));
  ON_PATH(int, fstatat, (int in, Path path, Status status, int flags), 0,
          (in, path, status, flags));
  ON_FILE(int, flock, (int file, int operation), operation, (file, operation));
  ON_FILE(int, fchmod, (int file, mode_t mode), 0, (file, mode));
  ON_PATH(int, mkdir, (Path path, mode_t mode), 0, (path, mode));
  ON_PATH(int, mkdirat, (int in, Path path, mode_t mode), 0, (in, path, mode));
  ON_PATH(int, rmdir, (Path path), 0, (path));
  ON_PATH(int, unlink, (Path path), 0, (path));
  ON_PATH(int, unlinkat, (int in, Path path, int flags), 0, (in, path, flags));
  ON_PATH(int, linkat, (int in, Path old, int to, Path path, int flags), 0,
          (in, old, to, path, flags));
  ON_PATH(ssize_t, readlink, (Path path, char* to, size_t count), 0, (path, to, count));
  ON_PATH(int, access, (Path path, int mode), 0, (path, mode));
  ON_FILE(int, dup2, (int file, int number), 0, (file, number));
  ON_FILE(int, fcntl, (int file, int command, int argument), command, (file, command, argument));
  ON_FILE(int, lockRecord, (int file, int command, struct flock* lock), 0, (file, command, lock));
  ON(int, poll, (pollfd * files, nfds_t count, int wait), (count == 0 ? -1 : files->fd), "", 0,
     (files, count, wait));
  ON_NEITHER(int, socket, (int domain, int type, int protocol), (domain, type, protocol));
  ON_FILE(int, bind, (int file, Address address, socklen_t size), 0, (file, address, size));
  ON_FILE(int, connect, (int file, Address address, socklen_t size), 0, (file, address, size));
  ON_FILE(ssize_t, send, (int file, const void* from, size_t count, int flags), flags,
          (file, from, count, flags));
  ON_FILE(ssize_t, recv, (int file, void* to, size_t count, int flags), flags,
          (file, to, count, flags));
  ON_NEITHER(int, kill, (pid_t process, int signal), (process, signal));
  ON_NEITHER(pid_t, fork, (), ());
  ON_NEITHER(pid_t, waitpid, (pid_t process, int* status, int options), (process, status, options));
  ON_NEITHER(int, startThread, (void* (*body)(void*), void* argument), (body, argument));
};

struct FailingLinuxCalls final : LinuxCalls {
  using Real = LinuxCalls;

  ON_NEITHER(int, epollCreate, (int flags), (flags));
  ON(int, epollControl, (int epoll, int operation, int file, epoll_event* event), file, "",
     operation, (epoll, operation, file, event));
  ON_NEITHER(int, epollWait, (int epoll, epoll_event* events, int count, int wait),
             (epoll, events, count, wait));
  ON_NEITHER(int, eventfd, (unsigned initial, int flags), (initial, flags));
  ON_FILE(ssize_t, getdents, (int file, void* to, size_t count), 0, (file, to, count));
  ON_NEITHER(int, pidfdOpen, (pid_t process), (process));
  ON_NEITHER(int, pipe2, (int* ends, int flags), (ends, flags));
  ON_PATH(int, setAttribute, (Path path, Path name), 0, (path, name));
  ON_PATH(ssize_t, getAttribute, (Path path, Path name), 0, (path, name));
};

struct Replaced {
  FailingCalls calls;
  FailingLinuxCalls linuxOnly;
  SystemCalls::Replacement inPlaceOfCalls{calls};
  LinuxCalls::Replacement inPlaceOfLinuxOnly{linuxOnly};
};

/// Before main. Never destroyed, as the process makes calls to its end.
Replaced* replace() {
  const char* const path = std::getenv("CORVANE_FAILING");  // NOLINT(concurrency-mt-unsafe)
  if (path == nullptr) return nullptr;
  const int file = ::open(path, O_RDWR | O_CLOEXEC);
  void* const memory =
      ::mmap(nullptr, sizeof(Control), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ::close(file);
  if (memory == MAP_FAILED) std::abort();
  control = static_cast<Control*>(memory);
  return new Replaced;
}

[[maybe_unused]] const Replaced* const replaced = replace();

}  // namespace
}  // namespace corvane::Platform
