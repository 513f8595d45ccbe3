#pragma once

#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// The directory `Notifications` of a group container. It holds a directory for each name that is
/// observed, and in that a link to the socket of each process that observes the name. A process has
/// one socket for all names, bound in `Notifications` itself under a hidden name, so that no link
/// exists before its socket can be connected to.
///
/// All processes of the user change these directories at the same time, and each may die at any
/// instruction; so every operation allows for entries that appear or vanish meanwhile. Stateless
/// except for the open descriptor. Movable. Thread-safe.
class NotificationDirectory {
 public:
  /// Opens the directory; creates it, mode 0700, if it is missing. Never creates the container.
  /// Fails if that is missing or can't be written.
  static Result<NotificationDirectory> open(const std::string& containerDirectory);

  /// The open directory; valid as long as this object.
  [[nodiscard]] const OwnedDescriptor& descriptor() const { return directory_; }

  /// The hidden name under which the socket `socketName` is bound. `socketName` comes from
  /// ProcessFileName::make.
  static std::string hidden(const std::string& socketName) { return '.' + socketName; }

  /// Links the bound socket `socketName` into the directory of `name`, which is created as often as
  /// other processes remove it because it is empty. Linking twice is fine. Fails with `notFound` if
  /// the socket's hidden name has been removed, and if something other than a directory, for
  /// example a symbolic link, has the name.
  [[nodiscard]] Result<Done> link(const std::string& socketName, const std::string& name) const;

  /// Removes that link. This and the two below ignore failures; what is left is removed by a later
  /// process.
  void unlink(const std::string& socketName, const std::string& name) const;

  /// Removes the directory of `name` if it is empty.
  void removeName(const std::string& name) const;

  /// Removes the hidden name of the socket; links to it remain.
  void removeSocket(const std::string& socketName) const;

 private:
  explicit NotificationDirectory(OwnedDescriptor directory) : directory_(std::move(directory)) {}

  OwnedDescriptor directory_;
};

}  // namespace corvane::Platform
