#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace corvane::bench {

/// The floor of an exchange file: the system calls that appending and taking a record make, and
/// nothing else. A record is bytes and their length.
class FloorFile {
 public:
  /// The file must exist.
  explicit FloorFile(std::string path) : path_(std::move(path)) {}

  void append(std::string& record) const {
    const Opened file(path_);
    auto length = static_cast<std::uint32_t>(record.size());
    const iovec pieces[] = {{record.data(), record.size()}, {&length, sizeof length}};
    check(::pwritev(file.data, pieces, 2, file.size) ==
          static_cast<ssize_t>(record.size() + sizeof length));
  }

  /// Puts the newest record, of which there must be one, into `record`, which must be large enough.
  void take(std::string& record) const {
    const Opened file(path_);
    std::uint32_t length = 0;
    check(::pread(file.data, &length, sizeof length, file.size - off_t{sizeof length}) ==
          sizeof length);
    const off_t start = file.size - static_cast<off_t>(sizeof length + length);
    check(length <= record.size() && ::pread(file.data, record.data(), length, start) == length);
    check(::ftruncate(file.data, start) == 0);
  }

 private:
  static void check(bool isFine) {
    if (isFine) return;
    std::perror("floor");
    std::abort();
  }

  /// Opened twice, as data and as a lock that makes the file when it is missing.
  struct Opened {
    explicit Opened(const std::string& path)
        : data(::open(path.c_str(), flags)), lock(::open(path.c_str(), flags | O_CREAT, 0600)) {
      struct stat status = {};
      check(data >= 0 && lock >= 0 && ::flock(lock, LOCK_EX) == 0 && ::fstat(data, &status) == 0);
      size = status.st_size;
    }
    ~Opened() {
      ::flock(lock, LOCK_UN);
      ::close(data);
      ::close(lock);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    static constexpr int flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const int data;
    const int lock;
    off_t size = 0;
  };

  const std::string path_;
};

}  // namespace corvane::bench
