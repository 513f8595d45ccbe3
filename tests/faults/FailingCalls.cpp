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
#include <string>
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

std::string_view targetOf(int descriptor, std::array<char, 512>& buffer) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = ::readlink(link.c_str(), buffer.data(), buffer.size());
  return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(0, length))};
}

/// Notes a call; returns how it is to fail, or 0.
int failureOf(const char* call, int descriptor, const char* path, int flags) {
  const unsigned at = control->traced++;
  if (at >= control->trace.size()) return 0;
  struct stat status = {};
  std::array<char, 512> buffer = {};
  Entry& entry = control->trace[at];
  entry = {};
  ::strncpy(entry.call.data(), call, entry.call.size() - 1);
  const auto target = path == nullptr ? targetOf(descriptor, buffer) : std::string_view(path);
  target.copy(entry.where.data(), entry.where.size() - 1,
              target.size() - std::min(target.size(), entry.where.size() - 1));
  entry.flags = flags;
  if (path == nullptr && ::fstat(descriptor, &status) == 0) entry.mode = status.st_mode;
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

/// Overrides a call: its result, name and parameters; what it is about, its flags; the call itself.
#define ON(result, name, parameters, descriptor, path, flags, real)        \
  result name parameters override {                                        \
    const auto call = [&]([[maybe_unused]] bool isShort) { return real; }; \
    return tried(#name, descriptor, path, flags, call);                    \
  }
#define ABOUT_FILE(result, name, parameters, flags, real) \
  ON(result, name, parameters, file, nullptr, flags, Real::real)
#define ABOUT_PATH(result, name, parameters, flags, real) \
  ON(result, name, parameters, -1, path, flags, Real::real)

struct FailingCalls final : SystemCalls {
  using Real = SystemCalls;

  ABOUT_PATH(int, open, (Path path, int flags, mode_t mode), flags, open(path, flags, mode));
  ABOUT_PATH(int, openat, (int in, Path path, int flags, mode_t mode), flags,
             openat(in, path, flags, mode));
  ABOUT_FILE(int, close, (int file), 0, close(file));
  ABOUT_FILE(ssize_t, read, (int file, void* to, size_t count), statusFlags(file),
             read(file, to, upTo(isShort, count)));
  ABOUT_FILE(ssize_t, write, (int file, const void* bytes, size_t count), statusFlags(file),
             write(file, bytes, upTo(isShort, count)));
  ABOUT_FILE(ssize_t, pread, (int file, void* to, size_t count, off_t at), 0,
             pread(file, to, upTo(isShort, count), at));
  ABOUT_FILE(ssize_t, pwritev, (int file, const iovec* from, int count, off_t at), 0,
             pwritev(file, from, isShort ? 1 : count, at));
  ABOUT_FILE(int, ftruncate, (int file, off_t size), 0, ftruncate(file, size));
  ABOUT_FILE(int, fstat, (int file, Status status), 0, fstat(file, status));
  ABOUT_PATH(int, stat, (Path path, Status status), 0, stat(path, status));
  ABOUT_PATH(int, lstat, (Path path, Status status), 0, lstat(path, status));
  ABOUT_PATH(int, fstatat, (int in, Path path, Status status, int flags), 0,
             fstatat(in, path, status, flags));
  ABOUT_FILE(int, flock, (int file, int operation), operation, flock(file, operation));
  ABOUT_FILE(int, fchmod, (int file, mode_t mode), 0, fchmod(file, mode));
  ABOUT_PATH(int, mkdir, (Path path, mode_t mode), 0, mkdir(path, mode));
  ABOUT_PATH(int, mkdirat, (int in, Path path, mode_t mode), 0, mkdirat(in, path, mode));
  ABOUT_PATH(int, rmdir, (Path path), 0, rmdir(path));
  ABOUT_PATH(int, unlink, (Path path), 0, unlink(path));
  ABOUT_PATH(int, unlinkat, (int in, Path path, int flags), 0, unlinkat(in, path, flags));
  ABOUT_PATH(int, linkat, (int in, Path old, int to, Path path, int flags), 0,
             linkat(in, old, to, path, flags));
  ABOUT_PATH(int, renameat, (int in, Path old, int to, Path path), 0, renameat(in, old, to, path));
  ABOUT_PATH(ssize_t, readlink, (Path path, char* to, size_t count), 0, readlink(path, to, count));
  ABOUT_PATH(int, access, (Path path, int mode), 0, access(path, mode));
  ABOUT_FILE(int, dup2, (int file, int number), 0, dup2(file, number));
  ABOUT_FILE(int, fcntl, (int file, int command, int argument), command,
             fcntl(file, command, argument));
  ABOUT_FILE(int, lockRecord, (int file, int command, struct flock* lock), 0,
             lockRecord(file, command, lock));
  ON(int, poll, (pollfd * files, nfds_t count, int wait), (count == 0 ? -1 : files->fd), nullptr, 0,
     Real::poll(files, count, wait));
  ON(int, socket, (int domain, int type, int protocol), -1, "", 0,
     Real::socket(domain, type, protocol));
  ABOUT_FILE(int, bind, (int file, Address address, socklen_t size), 0, bind(file, address, size));
  ABOUT_FILE(int, connect, (int file, Address address, socklen_t size), 0,
             connect(file, address, size));
  ABOUT_FILE(ssize_t, send, (int file, const void* from, size_t count, int flags), flags,
             send(file, from, count, flags));
  ABOUT_FILE(ssize_t, recv, (int file, void* to, size_t count, int flags), flags,
             recv(file, to, count, flags));
  ON(int, kill, (pid_t process, int signal), -1, "", 0, Real::kill(process, signal));
  ON(pid_t, fork, (), -1, "", 0, Real::fork());
  ON(pid_t, waitpid, (pid_t process, int* status, int options), -1, "", 0,
     Real::waitpid(process, status, options));
  ON(int, startThread, (void* (*body)(void*), void* argument), -1, "", 0,
     Real::startThread(body, argument));
};

struct FailingLinuxCalls final : LinuxCalls {
  using Real = LinuxCalls;

  ON(int, epollCreate, (int flags), -1, "", 0, Real::epollCreate(flags));
  ON(int, epollControl, (int epoll, int operation, int file, epoll_event* event), file, nullptr,
     operation, Real::epollControl(epoll, operation, file, event));
  ON(int, epollWait, (int epoll, epoll_event* events, int count, int wait), -1, "", 0,
     Real::epollWait(epoll, events, count, wait));
  ON(int, eventfd, (unsigned initial, int flags), -1, "", 0, Real::eventfd(initial, flags));
  ABOUT_FILE(ssize_t, getdents, (int file, void* to, size_t count), 0, getdents(file, to, count));
  ON(int, pidfdOpen, (pid_t process), -1, "", 0, Real::pidfdOpen(process));
  ON(int, pipe2, (int* ends, int flags), -1, "", 0, Real::pipe2(ends, flags));
  ON(int, inotifyInit, (int flags), -1, "", 0, Real::inotifyInit(flags));
  ABOUT_PATH(int, inotifyAddWatch, (int inotify, Path path, std::uint32_t events), 0,
             inotifyAddWatch(inotify, path, events));
  ABOUT_PATH(int, setAttribute, (Path path, Path name), 0, setAttribute(path, name));
  ABOUT_PATH(ssize_t, getAttribute, (Path path, Path name), 0, getAttribute(path, name));
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
