#pragma once

#include <array>
#include <string>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

/// Container/ is this project's own protocol for systems without group containers, notifications
/// between processes and a list of running applications: files, locks and sockets in a directory of
/// the user. docs/linux-contract.md describes it for other programs.
///
/// This is the registry of running applications, the directory `Applications` of a group container.
/// It holds a directory for each application, named by its bundle identifier, and in that a file
/// for each instance, named by ProcessFileName. The instance holds an exclusive lock on its file as
/// long as it runs. It creates the file under a name that begins with "." and renames it once it is
/// locked; a released lock is never retaken. Stateless; thread-safe.
namespace corvane::Platform::ApplicationRegistry {

/// Returns true if `bundleIdentifier` can be the name of a directory and its `launchedName` the
/// name of a notification.
bool isIdentifier(const std::string& bundleIdentifier);

/// The name of the notification that an instance posts once it is registered.
std::string launchedName(const std::string& bundleIdentifier);

/// Opens the registry, or the directory of one application in it. Fails with `notFound` if it does
/// not exist or `bundleIdentifier` is not valid.
Result<OwnedDescriptor> open(const std::string& containerDirectory);
Result<OwnedDescriptor> open(const std::string& containerDirectory,
                             const std::string& bundleIdentifier);

/// The names of the directories on the way from the container to the one of the application,
/// outermost first. None of them need exist.
std::array<std::string, 2> pathOf(const std::string& bundleIdentifier);

/// As `open`, but creates missing directories, mode 0700. Never creates the container.
Result<OwnedDescriptor> make(const std::string& containerDirectory,
                             const std::string& bundleIdentifier);

/// The state of the lock of an instance.
enum class Lock {
  held,
  free,            ///< also when the file has been removed
  notRegularFile,  ///< not a regular file, so not a registration
};

/// Opens the file `name` in `directory` to inspect its lock. Fails with `notFound` if there is no
/// regular file of that name. Never blocks.
Result<OwnedDescriptor> openFile(const OwnedDescriptor& directory, const std::string& name);

/// Returns the state of the exclusive lock of `file` without taking it. Fails if the system can't
/// tell.
Result<Lock> lockOf(const OwnedDescriptor& file);

/// Takes and releases the exclusive lock of `file`; `lock` never waits and fails if another process
/// has it. The lock belongs to the opening of the file (F_OFD_SETLK, fcntl(2)), so child processes
/// that inherit the descriptor hold it too.
Result<Done> lock(const OwnedDescriptor& file);
void unlock(const OwnedDescriptor& file);

}  // namespace corvane::Platform::ApplicationRegistry
