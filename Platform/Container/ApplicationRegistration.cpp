#include "Platform/Container/ApplicationRegistration.h"

#include <fcntl.h>

#include <cstdio>
#include <string_view>
#include <utility>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

constexpr mode_t fileMode = 0600;

/// Removes the files of instances that are not running any more. A hidden file may belong to a
/// process that is just about to lock it, so it is kept while that process exists.
void removeLeftovers(const OwnedDescriptor& directory) {
  const auto entries = Directories::entries(directory);
  if (!entries) return;  // left to the next instance
  for (const std::string& entry : entries.value()) {
    const bool isHidden = entry.front() == '.';
    const auto process = ProcessFileName::processOf(std::string_view(entry).substr(isHidden));
    if (!process || (isHidden && !ProcessFileName::isGone(*process))) continue;
    const auto file = ApplicationRegistry::openFile(directory, entry);
    if (!file) continue;
    const auto lock = ApplicationRegistry::lockOf(file.value());
    if (lock && lock.value() == ApplicationRegistry::Lock::free)
      systemCalls().unlinkat(directory.number(), entry.c_str(), 0);
  }
}

/// Creates the file `name` in `directory` and locks it. It gets that name only once it is locked,
/// so no process ever finds it unlocked.
Result<OwnedDescriptor> makeLockedFile(const OwnedDescriptor& directory, const std::string& name) {
  const std::string hidden = "." + name;
  auto file = openAt(directory.number(), hidden, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, fileMode);
  if (!file) return file;
  auto locked = ApplicationRegistry::lock(file.value());
  if (locked && systemCalls().renameat(directory.number(), hidden.c_str(), directory.number(),
                                       name.c_str()) != 0)
    locked = failureFromErrno("rename", hidden);
  if (locked) return file;
  systemCalls().unlinkat(directory.number(), hidden.c_str(), 0);
  return locked.failure();
}

}  // namespace

/// The file of this process, while its lock is held.
class ApplicationRegistration::Implementation {
 public:
  Implementation(OwnedDescriptor directory, OwnedDescriptor file, std::string name)
      : directory_(std::move(directory)), file_(std::move(file)), name_(std::move(name)) {}
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;
  ~Implementation() {
    if (systemCalls().getpid() != process_) return;  // a forked copy
    systemCalls().unlinkat(directory_.number(), name_.c_str(), 0);
    ApplicationRegistry::unlock(file_);  // forked children would keep the lock otherwise
  }

 private:
  const pid_t process_ = systemCalls().getpid();
  const OwnedDescriptor directory_;
  const OwnedDescriptor file_;
  const std::string name_;
};

Result<ApplicationRegistration> ApplicationRegistration::make(const std::string& containerDirectory,
                                                              const std::string& bundleIdentifier,
                                                              NotificationCenter& center) {
  if (!ApplicationRegistry::isIdentifier(bundleIdentifier))
    return Failure{FailureCause::other, "no bundle identifier: " + bundleIdentifier};
  auto directory = ApplicationRegistry::make(containerDirectory, bundleIdentifier);
  if (!directory) return directory.failure();
  removeLeftovers(directory.value());
  std::string name = ProcessFileName::make();
  auto file = makeLockedFile(directory.value(), name);
  if (!file) return file.failure();
  auto implementation = std::make_unique<Implementation>(std::move(directory).value(),
                                                         std::move(file).value(), std::move(name));
  center.post(ApplicationRegistry::launchedName(bundleIdentifier));
  return ApplicationRegistration(std::move(implementation));
}

ApplicationRegistration::ApplicationRegistration(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}
ApplicationRegistration::ApplicationRegistration(ApplicationRegistration&& other) noexcept =
    default;
ApplicationRegistration& ApplicationRegistration::operator=(
    ApplicationRegistration&& other) noexcept = default;
ApplicationRegistration::~ApplicationRegistration() = default;

}  // namespace corvane::Platform
