#include "simulation/System/Calls.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;
using NodeKind = Inode::Kind;

/// A failure that is no errno value: only some bytes are transferred.
constexpr int shortTransfer = -1;

constexpr std::string_view descriptorFolder = "/proc/self/fd/";

/// Removes "/proc/self/fd/N" from the front of `path` and returns N.
std::optional<int> takeDescriptor(std::string_view& path) {
  if (!path.starts_with(descriptorFolder)) return std::nullopt;
  path.remove_prefix(descriptorFolder.size());
  int descriptor = -1;
  const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), descriptor);
  path.remove_prefix(static_cast<std::size_t>(end - path.data()));
  if (error != std::errc()) return std::nullopt;
  return descriptor;
}

std::string joined(const struct iovec* pieces, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i)
    bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
  return bytes;
}

Time deadlineOf(const Kernel& kernel, int milliseconds) {
  return milliseconds < 0 ? Time::max() : kernel.now() + std::chrono::milliseconds(milliseconds);
}

bool isFile(const std::shared_ptr<OpenFile>& file) {
  return file && file->kind == Kind::node && file->node->kind == NodeKind::file;
}

std::string_view pathOf(const struct sockaddr* address) {
  return reinterpret_cast<const sockaddr_un*>(address)->sun_path;
}

}  // namespace

CallsBase::File CallsBase::fileOf(int descriptor) const {
  const auto& descriptors = kernel_.current().descriptors;
  const auto found = descriptors.find(descriptor);
  return found == descriptors.end() ? nullptr : found->second;
}

FileSystem::Place CallsBase::find(int folder, const char* path) const {
  std::string_view rest = path;
  if (const auto descriptor = takeDescriptor(rest)) {
    const File file = fileOf(*descriptor);
    if (!file || !file->node) return {nullptr, "", nullptr, ENOENT};
    if (rest.empty()) return {nullptr, "", file->node};
    return kernel_.files().find(file->node, rest.substr(1));
  }
  if (rest.empty()) return {nullptr, "", nullptr, ENOENT};
  if (rest.starts_with('/')) return kernel_.files().find(nullptr, rest);
  const File file = fileOf(folder);
  if (!file || !file->node) return {nullptr, "", nullptr, EBADF};
  return kernel_.files().find(file->node, rest);
}

unsigned CallsBase::readiness(const OpenFile& file) const {
  unsigned ready = 0;
  switch (file.kind) {
    case Kind::reader:
      if (!file.pipe->bytes.empty()) ready |= POLLIN;
      if (file.pipe->writers == 0) ready |= POLLHUP;
      break;
    case Kind::writer:
      if (file.pipe->bytes.size() + PIPE_BUF <= file.pipe->capacity) ready |= POLLOUT;
      if (file.pipe->readers == 0) ready |= POLLERR;
      break;
    case Kind::socket:
      if (!file.socket->unread.empty()) ready |= POLLIN;
      if (!file.peer || file.peer->isClosed || file.peer->unread.size() < Socket::maximumUnread)
        ready |= POLLOUT;
      break;
    case Kind::event:
      ready |= POLLOUT;
      if (file.eventCount > 0) ready |= POLLIN;
      break;
    case Kind::process:
      if (!kernel_.isThere(file.process)) ready |= POLLIN;
      break;
    default:
      ready |= POLLIN | POLLOUT;
  }
  return ready;
}

int CallsBase::failed(int error) {
  errno = error;
  return -1;
}

int Calls::open(const char* path, int flags, mode_t mode) {
  return openat(AT_FDCWD, path, flags, mode);
}

int Calls::openat(int folder, const char* path, int flags, mode_t mode) {
  std::string_view rest = path;
  const int error = kernel_.enter("open", path, {EMFILE, ENFILE, ENOMEM, EIO, EINTR});
  kernel_.watcher().opens(kernel_.current(), std::string(rest.substr(rest.rfind('/') + 1)));
  if (error != 0) return failed(error);
  if (rest == "/dev/null") return kernel_.addDescriptor(std::make_shared<OpenFile>(Kind::null));
  if (const auto descriptor = takeDescriptor(rest); descriptor && rest.empty()) {
    const File file = fileOf(*descriptor);
    return file ? reopen(file, flags) : failed(ENOENT);
  }
  const FileSystem::Place place = find(folder, path);
  return openNode(place, flags, mode);
}

/// Opens the writing end of a pipe by its path in /proc/self/fd.
int Calls::reopen(const File& file, int flags) {
  if (file->kind != Kind::writer) return failed(EACCES);
  auto again = std::make_shared<OpenFile>(Kind::writer, flags);
  again->pipe = file->pipe;
  ++again->pipe->writers;
  return kernel_.addDescriptor(std::move(again));
}

int Calls::openNode(const FileSystem::Place& place, int flags, mode_t mode) {
  if (place.error != 0) return failed(place.error);
  Node node = place.node;
  if (node && (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) return failed(EEXIST);
  if (!node) {
    if ((flags & O_CREAT) == 0 || place.folder->links == 0) return failed(ENOENT);
    node = kernel_.files().make(place, NodeKind::file, S_IFREG | mode);
  }
  const bool isPlace = (flags & O_PATH) != 0;
  const bool isFolder = node->kind == NodeKind::folder;
  if ((flags & O_DIRECTORY) != 0 && !isFolder) return failed(ENOTDIR);
  if (isFolder && (flags & O_ACCMODE) != O_RDONLY) return failed(EISDIR);
  if (node->kind == NodeKind::socket && !isPlace) return failed(ENXIO);
  auto file = std::make_shared<OpenFile>(isPlace ? Kind::place : Kind::node, flags);
  file->node = std::move(node);
  return kernel_.addDescriptor(std::move(file));
}

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

int Calls::stat(const char* path, struct stat* status) {
  return fstatat(AT_FDCWD, path, status, 0);
}

int Calls::lstat(const char* path, struct stat* status) {
  return fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

int Calls::fstatat(int folder, const char* path, struct stat* status, int /*flags*/) {
  if (const int error = kernel_.enter("stat", path, {EIO, ENOMEM})) return failed(error);
  const FileSystem::Place place = find(folder, path);
  if (!place.node) return failed(place.error == 0 ? ENOENT : place.error);
  *status = kernel_.files().status(*place.node);
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

int Calls::mkdir(const char* path, mode_t mode) {
  return mkdirat(AT_FDCWD, path, mode);
}

int Calls::mkdirat(int folder, const char* path, mode_t mode) {
  if (const int error = kernel_.enter("mkdir", path, {ENOSPC, EIO})) return failed(error);
  const FileSystem::Place place = find(folder, path);
  if (place.error != 0) return failed(place.error);
  if (place.node) return failed(EEXIST);
  if (place.folder->links == 0) return failed(ENOENT);
  kernel_.files().make(place, NodeKind::folder, S_IFDIR | mode);
  return 0;
}

int Calls::rmdir(const char* path) {
  return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

int Calls::unlink(const char* path) {
  return unlinkat(AT_FDCWD, path, 0);
}

int Calls::unlinkat(int folder, const char* path, int flags) {
  if (const int error = kernel_.enter("unlink", path, {EIO})) return failed(error);
  return done(kernel_.files().remove(find(folder, path), (flags & AT_REMOVEDIR) != 0));
}

int Calls::linkat(int folder, const char* path, int newFolder, const char* newPath, int /*flags*/) {
  if (const int error = kernel_.enter("link", path, {ENOSPC, EIO})) return failed(error);
  const FileSystem::Place from = find(folder, path);
  if (!from.node) return failed(ENOENT);
  return done(kernel_.files().link(from.node, find(newFolder, newPath)));
}

int Calls::renameat(int folder, const char* path, int newFolder, const char* newPath) {
  if (const int error = kernel_.enter("rename", path, {ENOSPC, EIO})) return failed(error);
  return done(kernel_.files().rename(find(folder, path), find(newFolder, newPath)));
}

/// Used for /proc/N/exe only.
ssize_t Calls::readlink(const char* path, char* target, std::size_t count) {
  if (const int error = kernel_.enter("readlink", path, {EINTR, ENOMEM})) return failed(error);
  return static_cast<ssize_t>(std::string_view("/usr/bin/browser").copy(target, count));
}

int Calls::access(const char* path, int /*mode*/) {
  if (const int error = kernel_.enter("access", path, {EIO})) return failed(error);
  return find(AT_FDCWD, path).node ? 0 : failed(ENOENT);
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

int Calls::poll(struct pollfd* descriptors, nfds_t count, int milliseconds) {
  if (const int error = kernel_.enter("poll", "", {EINTR, ENOMEM})) return failed(error);
  const auto look = [this, descriptors, count] {
    int ready = 0;
    for (nfds_t i = 0; i < count; ++i) {
      const File file = fileOf(descriptors[i].fd);
      const unsigned wanted = static_cast<unsigned short>(descriptors[i].events);
      const unsigned holds = file ? readiness(*file) & (wanted | POLLHUP | POLLERR) : POLLNVAL;
      descriptors[i].revents = static_cast<short>(holds);
      if (holds != 0) ++ready;
    }
    return ready;
  };
  if (const int ready = look(); ready > 0 || milliseconds == 0) return ready;
  std::vector<OpenFile*> files;
  for (nfds_t i = 0; i < count; ++i) files.push_back(fileOf(descriptors[i].fd).get());
  const auto isReady = [this, files, descriptors] {
    for (std::size_t i = 0; i < files.size(); ++i) {
      const unsigned wanted = static_cast<unsigned short>(descriptors[i].events);
      if ((readiness(*files[i]) & (wanted | POLLHUP | POLLERR)) != 0) return true;
    }
    return false;
  };
  kernel_.block("poll", isReady, deadlineOf(kernel_, milliseconds));
  return look();
}

int Calls::socket(int /*domain*/, int /*type*/, int /*protocol*/) {
  if (const int error = kernel_.enter("socket", "", {EMFILE, ENFILE, ENOMEM})) return failed(error);
  auto file = std::make_shared<OpenFile>(Kind::socket);
  file->socket = std::make_shared<Socket>();
  file->socket->owner = kernel_.current().id;
  return kernel_.addDescriptor(std::move(file));
}

int Calls::bind(int socket, const struct sockaddr* address, socklen_t /*length*/) {
  if (const int error = kernel_.enter("bind", pathOf(address), {ENOSPC, ENOMEM}))
    return failed(error);
  const FileSystem::Place place = find(AT_FDCWD, std::string(pathOf(address)).c_str());
  if (place.error != 0) return failed(place.error);
  if (place.node) return failed(EADDRINUSE);
  if (place.folder->links == 0) return failed(ENOENT);
  kernel_.files().make(place, NodeKind::socket, S_IFSOCK | 0600)->socket = fileOf(socket)->socket;
  return 0;
}

int Calls::connect(int socket, const struct sockaddr* address, socklen_t /*length*/) {
  if (const int error = kernel_.enter("connect", pathOf(address), {EINTR, ENOMEM}))
    return failed(error);
  const FileSystem::Place place = find(AT_FDCWD, std::string(pathOf(address)).c_str());
  if (!place.node) return failed(place.error == 0 ? ENOENT : place.error);
  const auto& peer = place.node->socket;
  if (!peer || peer->isClosed) return failed(ECONNREFUSED);
  fileOf(socket)->peer = peer;
  return 0;
}

ssize_t Calls::send(int socket, const void* bytes, std::size_t count, int flags) {
  const std::string_view text(static_cast<const char*>(bytes), count);
  if (const int error = kernel_.enter("send", text, {EINTR, ENOBUFS, ENOMEM})) return failed(error);
  const File file = fileOf(socket);
  if (!file || file->kind != Kind::socket) return failed(EBADF);
  if (!file->peer) return failed(ENOTCONN);
  if (file->peer->isClosed) {
    file->peer.reset();
    return failed(ECONNREFUSED);
  }
  if ((flags & MSG_DONTWAIT) == 0) {
    Socket* const peer = file->peer.get();
    const auto hasRoom = [peer] {
      return peer->isClosed || peer->unread.size() < Socket::maximumUnread;
    };
    kernel_.block("send", hasRoom, Time::max());
  }
  if (file->peer->unread.size() >= Socket::maximumUnread) {
    kernel_.watcher().refuses(kernel_.current());
    return failed(EAGAIN);
  }
  file->peer->unread.emplace_back(text);
  kernel_.watcher().sends(kernel_.current(), *file->peer, text);
  return static_cast<ssize_t>(count);
}

ssize_t Calls::recv(int socket, void* bytes, std::size_t count, int flags) {
  if (const int error = kernel_.enter("recv", "", {EINTR, ENOMEM})) return failed(error);
  const File file = fileOf(socket);
  if (!file || file->kind != Kind::socket) return failed(EBADF);
  auto& unread = file->socket->unread;
  if ((flags & MSG_DONTWAIT) == 0)
    kernel_.block(
        "recv", [&unread] { return !unread.empty(); }, Time::max());
  if (unread.empty()) return failed(EAGAIN);
  auto next = unread.begin();
  if (kernel_.reorders) {  // the oldest one of a random name
    const std::string& name = unread[kernel_.random().below(unread.size())];
    next = std::find(unread.begin(), unread.end(), name);
  }
  const std::string text = std::move(*next);
  unread.erase(next);
  kernel_.watcher().receives(kernel_.current(), text);
  return static_cast<ssize_t>(text.copy(static_cast<char*>(bytes), count));
}

int Calls::kill(pid_t process, int /*signal*/) {
  (void)kernel_.enter("kill");
  return kernel_.isThere(process) ? 0 : failed(ESRCH);
}

/// The watcher plays the child, which reports its outcome in the process's newest pipe.
pid_t Calls::fork() {
  if (const int error = kernel_.enter("fork", "", {EAGAIN, ENOMEM})) return failed(error);
  kernel_.watcher().launches(kernel_.current(), kernel_.current().lastPipeWriter.lock());
  return 1;
}

pid_t Calls::waitpid(pid_t process, int* /*status*/, int /*options*/) {
  if (const int error = kernel_.enter("waitpid", "", {EINTR})) return failed(error);
  return process;
}

int Calls::startThread(void* (*body)(void*), void* argument) {
  if (const int error = kernel_.enter("startThread", "", {EAGAIN})) return failed(error);
  kernel_.startThread([body, argument] { body(argument); });
  return 0;
}

std::thread::id Calls::thisThread() {
  return std::thread::id(static_cast<std::thread::native_handle_type>(kernel_.currentThread()));
}

int Calls::getentropy(void* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    static_cast<unsigned char*>(bytes)[i] =
        static_cast<unsigned char>(kernel_.random().next() >> 56U);
  return 0;
}

}  // namespace corvane::Simulation
