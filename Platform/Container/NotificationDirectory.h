#pragma once

#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// The directory `Notifications` of a group container. In it lies, for each name that somebody
/// observes, a directory of that name, and there a link to the socket of each process that does.
/// The sockets themselves are bound under a hidden name beside these directories, so that a link
/// never shows before it can be reached.
///
/// Every process of the user works here at the same time and may die at any instruction. Stateless
/// but for the open directory; safe from any thread.
class NotificationDirectory {
 public:
  /// Opens the directory, after making it when it is missing; never makes the container.
  static Result<NotificationDirectory> open(const std::string& containerDirectory);

  [[nodiscard]] const OwnedDescriptor& descriptor() const { return directory_; }

  /// The hidden name under which the socket `socketName` is bound.
  static std::string hidden(const std::string& socketName) { return '.' + socketName; }

  /// Links the socket `socketName`, which is bound, into the directory of `name`, which is made as
  /// often as others remove it empty. Linking twice is fine; a symbolic link in place of the
  /// directory is refused.
  [[nodiscard]] Result<Done> link(const std::string& socketName, const std::string& name) const;

  /// Removes the link.
  void unlink(const std::string& socketName, const std::string& name) const;

  /// Removes the directory of `name` if it is empty.
  void removeName(const std::string& name) const;

  /// Takes the hidden name of the socket away.
  void removeSocket(const std::string& socketName) const;

 private:
  explicit NotificationDirectory(OwnedDescriptor directory) : directory_(std::move(directory)) {}

  OwnedDescriptor directory_;
};

}  // namespace corvane::Platform
