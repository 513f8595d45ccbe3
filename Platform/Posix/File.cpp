#include "Platform/File.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Platform/Posix/FileTimes.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

FailureCause causeOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ESRCH:
      return FailureCause::notFound;
    case EEXIST:
      return FailureCause::alreadyExists;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP:
    case ENOSYS:
    case EPROTOTYPE:
      return FailureCause::notPermitted;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return FailureCause::noSpace;
    case EWOULDBLOCK:
      return FailureCause::wouldBlock;
    case ECONNREFUSED:
    case ECONNRESET:
    case ENOTCONN:
      return FailureCause::disconnected;
    default:
      return FailureCause::other;
  }
}

/// Repeats a call that a signal interrupted.
template <class Call>
auto retrying(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

int flagsOf(File::Access access) {
  switch (access) {
    case File::Access::read:
      return O_RDONLY | O_NOFOLLOW;
    case File::Access::readThroughLinks:
      return O_RDONLY;
    case File::Access::append:
      return O_WRONLY | O_APPEND | O_NOFOLLOW;
    case File::Access::makeAppend:
      return O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW;
    case File::Access::update:
      return O_RDWR | O_NOFOLLOW;
    case File::Access::readWrite:
      return O_RDWR | O_CREAT | O_NOFOLLOW;
  }
  return O_RDONLY | O_NOFOLLOW;
}

iovec piece(ByteView bytes) {
  return {const_cast<std::byte*>(bytes.data()), bytes.size()};
}

File::Status statusFrom(const struct stat& status) {
  File::Status result;
  result.size = static_cast<std::uint64_t>(status.st_size);
  result.isLinked = status.st_nlink > 0;
  result.device = static_cast<std::uint64_t>(status.st_dev);
  result.inode = static_cast<std::uint64_t>(status.st_ino);
  result.changed = changeTime(status);
  return result;
}

bool isDirectory(const std::string& path, Links links) {
  struct stat status = {};
  const int result = links == Links::followed ? systemCalls().stat(path.c_str(), &status)
                                              : systemCalls().lstat(path.c_str(), &status);
  return result == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

Failure failureFrom(int error, std::string_view operation, std::string_view subject) {
  std::string text(operation);
  if (!subject.empty()) text.append(" ").append(subject);
  return {causeOf(error), text + ": " + std::generic_category().message(error)};
}

Failure failureFromErrno(std::string_view operation, std::string_view subject) {
  return failureFrom(errno, operation, subject);
}

Result<File> File::open(const std::string& path, Access access) {
  // O_NONBLOCK, because opening a named pipe in the place of the file would wait for a writer.
  auto descriptor = openAt(AT_FDCWD, path, flagsOf(access) | O_NONBLOCK, 0600);
  if (!descriptor) return descriptor.failure();
  return File(std::move(descriptor).value());
}

// NOLINTBEGIN(readability-make-member-function-const): they change the file, though not the object
Result<std::size_t> File::append(ByteView bytes) {
  const ssize_t written =
      retrying([&] { return systemCalls().write(descriptor(), bytes.data(), bytes.size()); });
  if (written < 0) return failureFromErrno("write");
  return static_cast<std::size_t>(written);
}

Result<std::size_t> File::read(std::span<std::byte> bytes) {
  const ssize_t count =
      retrying([&] { return systemCalls().read(descriptor(), bytes.data(), bytes.size()); });
  if (count < 0) return failureFromErrno("read");
  return static_cast<std::size_t>(count);
}

Result<std::vector<std::byte>> File::readAll(std::size_t limit) {
  std::vector<std::byte> bytes;
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size())
      bytes.resize(std::min(limit + 1, std::max<std::size_t>(4096, 2 * filled)));
    const auto count = read(std::span(bytes).subspan(filled));
    if (!count) return count.failure();
    filled += count.value();
    if (filled > limit) return Failure{FailureCause::malformed, "longer than allowed"};
    if (count.value() == 0) break;
  }
  bytes.resize(filled);
  return bytes;
}

Result<std::size_t> File::readAt(std::span<std::byte> bytes, std::uint64_t offset) const {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t count = retrying([&] {
      return systemCalls().pread(descriptor(), bytes.data() + filled, bytes.size() - filled,
                                 static_cast<off_t>(offset + filled));
    });
    if (count < 0) return failureFromErrno("read");
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

Result<std::size_t> File::writeAt(ByteView first, ByteView second, std::uint64_t offset) {
  const iovec pieces[] = {piece(first), piece(second)};
  const ssize_t written = retrying(
      [&] { return systemCalls().pwritev(descriptor(), pieces, 2, static_cast<off_t>(offset)); });
  if (written < 0) return failureFromErrno("write");
  return static_cast<std::size_t>(written);
}

Result<Done> File::truncate(std::uint64_t size) {
  if (retrying([&] { return systemCalls().ftruncate(descriptor(), static_cast<off_t>(size)); }) !=
      0) {
    return failureFromErrno("truncate");
  }
  return Done{};
}

Result<File::Status> File::status() const {
  struct stat status = {};
  if (retrying([&] { return systemCalls().fstat(descriptor(), &status); }) != 0) {
    return failureFromErrno("fstat");
  }
  return statusFrom(status);
}

Result<Done> File::tryLock() {
  return changeLock(LOCK_EX | LOCK_NB);
}

Result<Done> File::waitLock() {
  return changeLock(LOCK_EX);
}

Result<Done> File::unlock() {
  return changeLock(LOCK_UN);
}

Result<Done> File::changeLock(int operation) {
  if (retrying([&] { return systemCalls().flock(descriptor(), operation); }) != 0) {
    return failureFromErrno("flock");
  }
  return Done{};
}
// NOLINTEND(readability-make-member-function-const)

Result<File::Status> statusOf(const std::string& path) {
  struct stat status = {};
  if (retrying([&] { return systemCalls().stat(path.c_str(), &status); }) != 0)
    return failureFromErrno("stat", path);
  return statusFrom(status);
}

Result<Done> removeFile(const std::string& path) {
  if (retrying([&] { return systemCalls().unlink(path.c_str()); }) != 0)
    return failureFromErrno("unlink", path);
  return Done{};
}

Result<Done> makeDirectories(const std::string& base, const std::string& below, Links links) {
  std::size_t end = 0;
  while (end < below.size()) {
    end = std::min(below.find('/', end + 1), below.size());
    const std::string path = base + "/" + below.substr(0, end);
    if (isDirectory(path, links)) continue;
    if (retrying([&] { return systemCalls().mkdir(path.c_str(), 0700); }) == 0) continue;
    const int error = errno;
    if (error == EEXIST && isDirectory(path, links)) continue;  // another process was quicker
    return failureFrom(error == EEXIST ? ENOTDIR : error, "mkdir", path);
  }
  return Done{};
}

}  // namespace corvane::Platform
