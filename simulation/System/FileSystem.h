#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "simulation/System/Objects.h"

namespace corvane::Simulation {

/// The tree of directories and files, without symbolic links. What fails says so as errno does, by
/// a number above 0.
class FileSystem {
 public:
  /// `now` is what files are stamped with.
  explicit FileSystem(std::function<std::timespec()> now);

  /// Where a path leads: the directory that holds or would hold the name, and what has it now.
  struct Place {
    Node folder;
    std::string name;
    Node node;  // nothing if there is none
    int error = 0;
  };
  /// Looks `path` up, from `start` unless it is a full path.
  [[nodiscard]] Place find(const Node& start, std::string_view path) const;
  [[nodiscard]] Node at(std::string_view path) const { return find(root_, path).node; }

  Node make(const Place& place, Inode::Kind kind, mode_t mode);
  int link(const Node& node, const Place& place);
  int remove(const Place& place, bool isFolder);
  int rename(const Place& from, const Place& to);

  void modify(Inode& node) const;

  /// Makes a file and all directories above it.
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
