#include "simulation/System/Calls.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;
using NodeKind = Inode::Kind;

/// A failure that is no errno value: only some bytes are transferred.
constexpr int shortTransfer = -1;

std::string joined(const struct iovec* pieces, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i)
    bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
  return bytes;
}

bool isFile(const std::shared_ptr<OpenFile>& file) {
  return file && file->kind == Kind::node && file->node->kind == NodeKind::file;
}

}  // namespace

int Calls::close(int descriptor) {
  (void)kernel_.enter("close");
  if (!fileOf(descriptor)) return failed(EBADF);
  kernel_.closeDescriptor(descriptor);
  return 0;
}

ssize_t Calls::read(int descriptor, void* bytes, std::size_t count) {
  const File known = fileOf(descriptor);
  const bool isPipe = known && known->kind == Kind::reader;
  const int error = isPipe ? kernel_.enter("read", "pipe", {EINTR, EAGAIN, shortTransfer})
                           : kernel_.enter("read", "", {EINTR, EIO, shortTransfer});
  if (error > 0) return failed(error);
  if (error == shortTransfer) count = std::min<std::size_t>(count, 3);
  OpenFile* const file = fileOf(descriptor).get();
  if (file == nullptr) return failed(EBADF);
  std::string* source = nullptr;
  std::size_t offset = 0;
  if (file->kind == Kind::event) {
    std::memcpy(bytes, &file->eventCount, sizeof file->eventCount);
    file->eventCount = 0;
    return sizeof file->eventCount;
  }
  if (file->kind == Kind::null) return 0;
  if (file->kind == Kind::reader) {
    const auto isReady = [file] { return !file->pipe->bytes.empty() || file->pipe->writers == 0; };
    if ((file->flags & O_NONBLOCK) != 0 && !isReady()) return failed(EAGAIN);
    kernel_.block("read", isReady, Time::max());
    source = &file->pipe->bytes;
  } else {
    source = &file->node->bytes;
    offset = static_cast<std::size_t>(file->offset);
  }
  const std::size_t available = source->size() - std::min(offset, source->size());
  count = std::min(count, available);
  source->copy(static_cast<char*>(bytes), count, std::min(offset, source->size()));
  if (file->kind == Kind::reader) source->erase(0, count);
  file->offset += static_cast<off_t>(count);
  return static_cast<ssize_t>(count);
}

ssize_t Calls::pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  const int error = kernel_.enter("pread", "", {EINTR, EIO, shortTransfer});
  if (error > 0) return failed(error);
  if (error == shortTransfer) count = std::min<std::size_t>(count, 3);
  const File file = fileOf(descriptor);
  if (!isFile(file)) return failed(EBADF);
  kernel_.watcher().reads(kernel_.current(), *file->node);
  const std::string& source = file->node->bytes;
  const std::size_t start = std::min(static_cast<std::size_t>(offset), source.size());
  return static_cast<ssize_t>(source.copy(static_cast<char*>(bytes), count, start));
}

ssize_t Calls::writeToPipe(OpenFile& file, std::string_view bytes) {
  Pipe& pipe = *file.pipe;
  const auto room = [&pipe] { return pipe.capacity - std::min(pipe.capacity, pipe.bytes.size()); };
  const std::size_t needed = bytes.size() <= PIPE_BUF ? bytes.size() : 1;
  const auto isReady = [&] { return room() >= needed || pipe.readers == 0; };
  if ((file.flags & O_NONBLOCK) == 0) kernel_.block("write", isReady, Time::max());
  if (pipe.readers == 0) return failed(EPIPE);
  if (room() < needed) return failed(EAGAIN);
  bytes = bytes.substr(0, room());
  pipe.bytes += bytes;
  if (pipe.written) pipe.written(bytes);
  return static_cast<ssize_t>(bytes.size());
}

/// Writes into a file at `offset`.
ssize_t Calls::put(OpenFile& file, std::string_view bytes, std::size_t offset) {
  std::string& content = file.node->bytes;
  if (content.size() < offset) content.resize(offset);
  content.replace(offset, bytes.size(), bytes);
  kernel_.files().modify(*file.node);
  return static_cast<ssize_t>(bytes.size());
}

ssize_t Calls::write(int descriptor, const void* bytes, std::size_t count) {
  const File known = fileOf(descriptor);
  const bool isFolderFile = isFile(known);
  const int error = isFolderFile ? kernel_.enter("write", "", {EINTR, ENOSPC, shortTransfer})
                    : known && known->kind == Kind::writer
                        ? kernel_.enter("write", "pipe", {EINTR, EAGAIN, ENOMEM, shortTransfer})
                        : kernel_.enter("write", "", {EINTR});
  if (error > 0) return failed(error);
  if (error == shortTransfer) count = std::min<std::size_t>(count, 3);
  OpenFile* const file = fileOf(descriptor).get();
  if (file == nullptr) return failed(EBADF);
  const std::string_view text(static_cast<const char*>(bytes), count);
  switch (file->kind) {
    case Kind::writer:
      return writeToPipe(*file, text);
    case Kind::event:
      ++file->eventCount;
      return static_cast<ssize_t>(count);
    case Kind::node:
      return put(*file, text, file->node->bytes.size());  // all callers append
    case Kind::null:
      return static_cast<ssize_t>(count);
    default:
      return failed(EBADF);
  }
}

ssize_t Calls::writev(int descriptor, const struct iovec* pieces, int count) {
  const std::string bytes = joined(pieces, count);
  return write(descriptor, bytes.data(), bytes.size());
}

ssize_t Calls::pwritev(int descriptor, const struct iovec* pieces, int count, off_t offset) {
  const int error = kernel_.enter("pwritev", "", {EINTR, ENOSPC, EIO, shortTransfer});
  if (error > 0) return failed(error);
  File file = fileOf(descriptor);
  if (!isFile(file)) return failed(EBADF);
  std::string bytes = joined(pieces, count);
  const bool isCut = kernel_.diesHere();
  if (isCut) bytes.resize(kernel_.random().below(bytes.size() + 1));
  if (error == shortTransfer) bytes.resize(kernel_.random().below(bytes.size()));
  kernel_.watcher().writes(kernel_.current(), *file->node, bytes, isCut);
  const ssize_t written = put(*file, bytes, static_cast<std::size_t>(offset));
  if (isCut) {
    file.reset();
    kernel_.die("");
  }
  return written;
}

off_t Calls::lseek(int descriptor, off_t offset, int /*whence*/) {
  if (const int error = kernel_.enter("lseek", "", {EIO})) return failed(error);
  const File file = fileOf(descriptor);
  if (!file) return failed(EBADF);
  file->listing.clear();
  return file->offset = offset;
}

int Calls::ftruncate(int descriptor, off_t size) {
  if (const int error = kernel_.enter("ftruncate", "", {EINTR, EIO})) return failed(error);
  const File file = fileOf(descriptor);
  if (!isFile(file)) return failed(EBADF);
  kernel_.watcher().cuts(kernel_.current(), *file->node, static_cast<std::size_t>(size));
  file->node->bytes.resize(static_cast<std::size_t>(size));
  kernel_.files().modify(*file->node);
  return 0;
}

int Calls::fstat(int descriptor, struct stat* status) {
  if (const int error = kernel_.enter("fstat", "", {EIO})) return failed(error);
  const File file = fileOf(descriptor);
  if (!file) return failed(EBADF);
  if (file->node) {
    *status = kernel_.files().status(*file->node);
  } else {
    *status = {};
    const bool isPipe = file->kind == Kind::reader || file->kind == Kind::writer;
    status->st_mode = isPipe ? S_IFIFO : file->kind == Kind::socket ? S_IFSOCK : S_IFCHR;
  }
  return 0;
}

int Calls::flock(int descriptor, int operation) {
  const int error = kernel_.enter("flock", "", {EINTR, ENOLCK});
  if (error != 0 && (operation & LOCK_UN) == 0) return failed(error);
  OpenFile* const file = fileOf(descriptor).get();
  if (file == nullptr || !file->node) return failed(EBADF);
  Inode* const node = file->node.get();
  if ((operation & LOCK_UN) != 0) {
    if (node->lock == file) {
      node->lock = nullptr;
      kernel_.watcher().unlocks(kernel_.current(), *node);
    }
    return 0;
  }
  const auto isFree = [node, file] { return node->lock == nullptr || node->lock == file; };
  if ((operation & LOCK_NB) != 0 && !isFree()) return failed(EWOULDBLOCK);
  while (!isFree()) kernel_.block("flock", isFree, Time::max());
  node->lock = file;
  return 0;
}

int Calls::fchmod(int descriptor, mode_t /*mode*/) {
  if (const int error = kernel_.enter("fchmod", "", {EIO})) return failed(error);
  return fileOf(descriptor) ? 0 : failed(EBADF);
}

int Calls::dup2(int descriptor, int number) {
  if (const int error = kernel_.enter("dup2", "", {EINTR})) return failed(error);
  File file = fileOf(descriptor);
  if (!file) return failed(EBADF);
  kernel_.current().descriptors[number] = std::move(file);
  return number;
}

int Calls::fcntl(int descriptor, int command, int argument) {
  if (const int error = kernel_.enter("fcntl")) return failed(error);
  File file = fileOf(descriptor);
  if (!file) return failed(EBADF);
  if (command == F_DUPFD_CLOEXEC || command == F_DUPFD)
    return kernel_.addDescriptor(std::move(file), argument);
  if (command == F_SETFL) file->flags = argument;
  return command == F_GETFL ? file->flags : 0;
}

int Calls::lockRecord(int descriptor, int command, struct flock* lock) {
  if (const int error = kernel_.enter("fcntl", "lock", {EINTR, ENOLCK})) return failed(error);
  const File file = fileOf(descriptor);
  if (!file || !file->node) return failed(EBADF);
  const OpenFile*& holder = file->node->recordLock;
  const bool isHeldByAnother = holder != nullptr && holder != file.get();
  if (command == F_OFD_GETLK) {
    lock->l_type = isHeldByAnother ? F_WRLCK : F_UNLCK;
    return 0;
  }
  if (lock->l_type == F_UNLCK) {
    if (!isHeldByAnother) holder = nullptr;
    return 0;
  }
  if (isHeldByAnother) return failed(EAGAIN);
  holder = file.get();
  return 0;
}

}  // namespace corvane::Simulation
