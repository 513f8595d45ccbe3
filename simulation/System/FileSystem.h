#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "simulation/System/Objects.h"

namespace corvane::Simulation {

/// The tree of directories and files, without symbolic links. Operations return 0 or an errno
/// value.
class FileSystem {
 public:
  /// `now` returns the time for time stamps.
  explicit FileSystem(std::function<std::timespec()> now);

  /// The result of a lookup: the directory, the last component, and the inode of that name.
  struct Place {
    Node folder;
    std::string name;
    Node node;  // nullptr if there is none
    int error = 0;
  };
  /// Resolves `path`, relative to `start` unless it is absolute.
  [[nodiscard]] Place find(const Node& start, std::string_view path) const;
  [[nodiscard]] Node at(std::string_view path) const { return find(root_, path).node; }

  Node make(const Place& place, Inode::Kind kind, mode_t mode);
  int link(const Node& node, const Place& place);
  int remove(const Place& place, bool isFolder);
  int rename(const Place& from, const Place& to);

  void modify(Inode& node) const;

  /// Creates a file and all its parent directories.
  Node write(const std::string& path, std::string content);
  Node makeFolders(const std::string& path);

  [[nodiscard]] struct stat status(const Inode& node) const;

 private:
  void stampFolder(const Place& place) const;

  const std::function<std::timespec()> now_;
  ino_t lastNumber_ = 1;
  Node root_;
};

}  // namespace corvane::Simulation
