#pragma once

#include <array>
#include <string>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

/// The directory `Applications` of a group container. In it lies, for each application, a directory
/// named by its bundle identifier, and there for each instance a file named by ProcessFileName,
/// which the instance holds locked as long as it runs. It gets that name when it is locked; before,
/// its name begins with ".". Nobody locks a file again whose lock was given back. Stateless; safe
/// from any thread.
namespace corvane::Platform::ApplicationRegistry {

/// Whether `bundleIdentifier` can name a directory and `launchedName` a notification.
bool isIdentifier(const std::string& bundleIdentifier);

/// The notification by which an instance tells that it runs now.
std::string launchedName(const std::string& bundleIdentifier);

/// Opens the whole registry, or the directory of one application in it. Fails with `notFound` when
/// it does not exist.
Result<OwnedDescriptor> open(const std::string& containerDirectory);
Result<OwnedDescriptor> open(const std::string& containerDirectory,
                             const std::string& bundleIdentifier);

/// The names that lead from the container to the directory of one application, which need not be
/// there.
std::array<std::string, 2> pathOf(const std::string& bundleIdentifier);

/// Like `open`, but makes what is missing; never the container.
Result<OwnedDescriptor> make(const std::string& containerDirectory,
                             const std::string& bundleIdentifier);

enum class Lock {
  held,
  free,    ///< also when the file has been removed
  noFile,  ///< not a regular file, so not a registration
};

/// Opens the file `name` in `directory` for looking at its lock. Fails with `notFound` when there
/// is no regular file of that name.
Result<OwnedDescriptor> openFile(const OwnedDescriptor& directory, const std::string& name);

/// Looks at the exclusive lock of the open `file`; takes none. Fails when the system can't say.
Result<Lock> lockOf(const OwnedDescriptor& file);

/// Takes, or gives back, the exclusive lock of the open `file`. Children that inherit the
/// descriptor share it.
Result<Done> lock(const OwnedDescriptor& file);
void unlock(const OwnedDescriptor& file);

}  // namespace corvane::Platform::ApplicationRegistry
