#include "tools/corvane-nmctl/Registry.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Container/RunningInstance.h"
#include "Platform/Directories.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl {
namespace {

namespace Files = Platform::ApplicationRegistry;
using Platform::OwnedDescriptor;

/// Why the file `name`, which has a good name, does not stand for a running instance.
std::string whyNone(const OwnedDescriptor& folder, const std::string& name, pid_t process) {
  const auto file = Files::openFile(folder, name);
  const auto lock = file ? Files::lockOf(file.value()) : file.failure();
  if (!lock) return name + " can't be looked at: " + lock.failure().text;
  if (lock.value() != Files::Lock::held)
    return "nobody holds the lock (F_OFD_SETLK, F_WRLCK) of " + name +
           (Platform::ProcessFileName::isGone(process) ? ", whose process is gone" : "");
  return name + " is locked, but process " + std::to_string(process) + " has ended";
}

void look(const OwnedDescriptor& folder, const std::string& name, Registry& found) {
  const auto process = Platform::ProcessFileName::processOf(name);
  if (!process) {
    if (name.front() != '.')
      found.faults.push_back(name + " is no process identifier, \".\" and 16 hexadecimal digits");
    return;
  }
  const auto instance = Platform::RunningInstance::find(folder, name);
  if (!instance || !instance.value()) {
    found.faults.push_back(whyNone(folder, name, *process));
    return;
  }
  found.running.push_back({name, *process});
  struct stat status = {};
  if (::fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if ((status.st_mode & permissions) != 0600)
    found.faults.push_back(name + " has mode " + octal(status.st_mode & permissions));
}

}  // namespace

Registry registryIn(const std::string& container) {
  Registry found;
  const std::string application = Configuration::MainAppBundleIdentifier;
  const auto folder = Files::open(container, application);
  if (!folder) {
    found.faults.push_back("there is no folder Applications/" + application);
    return found;
  }
  const auto names = Platform::Directories::entries(folder.value());
  if (!names) {
    found.faults.push_back(names.failure().text);
    return found;
  }
  for (const std::string& name : names.value()) look(folder.value(), name, found);
  if (found.running.size() > 1) found.faults.emplace_back("more than one instance is registered");
  if (found.running.empty() && found.faults.empty())
    found.faults.push_back("no file lies in Applications/" + application);
  return found;
}

}  // namespace corvane::Nmctl
