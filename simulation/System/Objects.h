#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The objects of the simulated kernel.
namespace corvane::Simulation {

struct OpenFile;

/// A datagram socket that receives.
struct Socket {
  /// As with the default of net.unix.max_dgram_qlen, which is 10: one more fits (unix(7)).
  static constexpr std::size_t maximumUnread = 11;

  std::deque<std::string> unread;
  bool isClosed = false;
};

/// See pipe(7).
struct Pipe {
  std::size_t capacity = 65536;

  std::string bytes;
  int readers = 0;
  int writers = 0;
  std::function<void(std::string_view)> written;  // called with all bytes that are written, if set
};

struct Inode {
  enum class Kind { file, folder, socket };

  Kind kind = Kind::file;
  ino_t number = 0;
  mode_t mode = 0;
  nlink_t links = 0;
  std::timespec modified = {};
  std::timespec changed = {};
  std::string name;                                       // under which it was created
  std::string bytes;                                      // of a file
  std::map<std::string, std::shared_ptr<Inode>> entries;  // of a directory
  std::shared_ptr<Socket> socket;

  // The holders of its locks.
  const OpenFile* lock = nullptr;        // flock(2), exclusive
  const OpenFile* recordLock = nullptr;  // fcntl(2), F_OFD_SETLK, exclusive
};

using Node = std::shared_ptr<Inode>;

/// An open file description. Its destruction releases its locks.
struct OpenFile {
  enum class Kind { node, place, reader, writer, socket, epoll, event, process, null };

  explicit OpenFile(Kind kind, int flags = 0) : kind(kind), flags(flags) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (node && node->lock == this) node->lock = nullptr;
    if (node && node->recordLock == this) node->recordLock = nullptr;
    if (kind == Kind::reader) --pipe->readers;
    if (kind == Kind::writer) --pipe->writers;
    if (kind == Kind::socket) {
      socket->isClosed = true;
      socket->unread.clear();
    }
  }

  struct Watch {
    std::uint32_t events = 0;
    std::uint64_t data = 0;
    std::weak_ptr<OpenFile> file;
  };

  const Kind kind;
  int flags;
  Node node;                         // of a file, a directory or an O_PATH descriptor
  off_t offset = 0;                  // in a file, or in `listing`
  std::vector<std::string> listing;  // the entries when listing began
  std::shared_ptr<Pipe> pipe;
  std::shared_ptr<Socket> socket;
  std::shared_ptr<Socket> peer;  // of a socket that is connected
  std::map<int, Watch> watches;  // epoll, by descriptor
  std::uint64_t eventCount = 0;  // eventfd
  pid_t process = 0;             // pidfd
};

}  // namespace corvane::Simulation
