#include "simulation/System/Calls.h"

#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;
using NodeKind = Inode::Kind;

}  // namespace

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

}  // namespace corvane::Simulation
