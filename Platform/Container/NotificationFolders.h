#pragma once

#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// The folder `Notifications` of a group container. In it lies, for each name that somebody
/// observes, a folder of that name, and there a link to the socket of each process that does. The
/// sockets themselves are bound under a hidden name beside these folders, so that a link never
/// shows before it can be reached.
///
/// Every process of the user works here at the same time and may die at any instruction. Stateless
/// but for the open folder; safe from any thread.
class NotificationFolders {
 public:
  /// Opens the folder, after making it when it is missing; never makes the container.
  static Result<NotificationFolders> open(const std::string& containerFolder);

  [[nodiscard]] const OwnedDescriptor& folder() const { return folder_; }

  /// The hidden name under which the socket `socketName` is bound.
  static std::string hidden(const std::string& socketName) { return '.' + socketName; }

  /// Links the socket `socketName`, which is bound, into the folder of `name`, which is made as
  /// often as others remove it empty. Linking twice is fine; a symbolic link in place of the folder
  /// is refused.
  [[nodiscard]] Result<Done> link(const std::string& socketName, const std::string& name) const;

  /// Removes the link.
  void unlink(const std::string& socketName, const std::string& name) const;

  /// Removes the folder of `name` if it is empty.
  void removeName(const std::string& name) const;

  /// Takes the hidden name of the socket away.
  void removeSocket(const std::string& socketName) const;

 private:
  explicit NotificationFolders(OwnedDescriptor folder) : folder_(std::move(folder)) {}

  OwnedDescriptor folder_;
};

}  // namespace corvane::Platform
