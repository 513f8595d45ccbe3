#pragma once

#include <string>

#include "Base/Result.h"
#include "Platform/Linux/OwnedDescriptor.h"

/// The folder `Applications` of a group container. In it lies, for each application, a folder named
/// by its bundle identifier, and there for each instance a file named by ProcessFileName, which the
/// instance holds locked as long as it runs. It gets that name when it is locked; before, its name
/// begins with ".". Nobody locks a file again whose lock was given back. Stateless; safe from any
/// thread.
namespace corvane::Platform::ApplicationRegistry {

/// Whether `bundleIdentifier` can name a folder and `launchedName` a notification.
bool isIdentifier(const std::string& bundleIdentifier);

/// The notification by which an instance tells that it runs now.
std::string launchedName(const std::string& bundleIdentifier);

/// The whole registry, and the folder of one application in it; none when it isn't there.
OwnedDescriptor open(const std::string& containerFolder);
OwnedDescriptor open(const std::string& containerFolder, const std::string& bundleIdentifier);

/// Like `open`, but makes what is missing; never the container.
Result<OwnedDescriptor> make(const std::string& containerFolder,
                             const std::string& bundleIdentifier);

enum class Lock {
  held,
  free,     ///< also when there is no such file
  unknown,  ///< it is no regular file, or the system can't say
};

/// Looks at the exclusive lock of the file `name` in `folder`; takes none.
Lock lockOf(const OwnedDescriptor& folder, const std::string& name);

/// Takes, or gives back, the exclusive lock of the open `file`. Children that inherit the
/// descriptor share it.
[[nodiscard]] bool lock(const OwnedDescriptor& file);
void unlock(const OwnedDescriptor& file);

}  // namespace corvane::Platform::ApplicationRegistry
