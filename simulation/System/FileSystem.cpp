#include "simulation/System/FileSystem.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace corvane::Simulation {

FileSystem::FileSystem(std::function<std::timespec()> now) : now_(std::move(now)) {
  root_ = std::make_shared<Inode>();
  root_->kind = Inode::Kind::folder;
  root_->number = lastNumber_;
  root_->mode = S_IFDIR | 0755;
  root_->links = 1;
}

FileSystem::Place FileSystem::find(const Node& start, std::string_view path) const {
  Place place;
  Node here = path.starts_with('/') ? root_ : start;
  place.node = here;
  while (!path.empty()) {
    const std::size_t end = path.find('/');
    const std::string_view name = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (name.empty() || name == ".") continue;
    if (!here) return {nullptr, "", nullptr, ENOENT};
    if (here->kind != Inode::Kind::folder) return {nullptr, "", nullptr, ENOTDIR};
    const auto found = here->entries.find(std::string(name));
    place = {here, std::string(name), found == here->entries.end() ? nullptr : found->second};
    here = place.node;
  }
  return place;
}

Node FileSystem::make(const Place& place, Inode::Kind kind, mode_t mode) {
  auto node = std::make_shared<Inode>();
  node->kind = kind;
  node->number = ++lastNumber_;
  node->mode = mode;
  node->links = 1;
  node->name = place.name;
  modify(*node);
  place.folder->entries[place.name] = node;
  stampFolder(place);
  return node;
}

int FileSystem::link(const Node& node, const Place& place) {
  if (place.error != 0) return place.error;
  if (place.node) return EEXIST;
  if (place.folder->links == 0 || node->links == 0) return ENOENT;
  place.folder->entries[place.name] = node;
  ++node->links;
  node->changed = now_();
  stampFolder(place);
  return 0;
}

int FileSystem::remove(const Place& place, bool isFolder) {
  if (place.error != 0) return place.error;
  if (!place.node || !place.folder) return ENOENT;
  Inode& node = *place.node;
  if (isFolder != (node.kind == Inode::Kind::folder)) return isFolder ? ENOTDIR : EISDIR;
  if (!node.entries.empty()) return ENOTEMPTY;
  --node.links;
  node.changed = now_();
  place.folder->entries.erase(place.name);
  stampFolder(place);
  return 0;
}

int FileSystem::rename(const Place& from, const Place& to) {
  if (from.error != 0 || to.error != 0) return from.error != 0 ? from.error : to.error;
  if (!from.node || to.folder->links == 0) return ENOENT;
  if (to.node == from.node) return 0;
  if (to.node) --to.node->links;
  to.folder->entries[to.name] = from.node;
  from.folder->entries.erase(from.name);
  from.node->changed = now_();
  from.node->name = to.name;
  stampFolder(from);
  stampFolder(to);
  return 0;
}

void FileSystem::modify(Inode& node) const {
  node.modified = node.changed = now_();
}

void FileSystem::stampFolder(const Place& place) const {
  modify(*place.folder);
}

Node FileSystem::write(const std::string& path, std::string content) {
  makeFolders(path.substr(0, path.rfind('/')));
  Node node = make(find(root_, path), Inode::Kind::file, S_IFREG | 0600);
  node->bytes = std::move(content);
  return node;
}

Node FileSystem::makeFolders(const std::string& path) {
  Node node = root_;
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const Place place = find(root_, path.substr(0, end));
    node = place.node ? place.node : make(place, Inode::Kind::folder, S_IFDIR | 0700);
  }
  return node;
}

struct stat FileSystem::status(const Inode& node) const {
  struct stat status = {};
  status.st_dev = 1;
  status.st_ino = node.number;
  status.st_mode = node.mode;
  status.st_nlink = node.links;
  status.st_uid = ::geteuid();
  status.st_size = static_cast<off_t>(node.bytes.size());
  status.st_mtim = node.modified;
  status.st_ctim = node.changed;
  return status;
}

}  // namespace corvane::Simulation
