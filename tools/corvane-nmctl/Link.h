#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/Container/NotificationObservers.h"
#include "tools/corvane-nmctl/Finding.h"

namespace corvane::Nmctl {

/// The folder that host and main application share, as it is looked at from outside.
struct Container {
  std::string path;            ///< where it is or would be
  std::optional<Fault> fault;  ///< why the host does not take it
};

/// Looks at the container of this user, by the rules of the host, but says what is wrong with it.
Container findContainer();

/// One exchange file.
struct ExchangeFileFacts {
  std::string name;
  std::uint64_t size = 0;              ///< in bytes
  std::optional<std::size_t> records;  ///< that wait in it; nothing when that can't be said
  bool isLocked = false;               ///< somebody held its lock for as long as was waited for
  std::vector<pid_t> lockHolders;      ///< who held it then; empty if that is unknown
  bool isDamaged = false;              ///< its end is no whole record
  std::string problem;                 ///< why it can't be looked at
};

/// The exchange files of `container`: that of requests first, if there is one. Waits for the lock
/// of each for `patience`, and holds it while it counts.
std::vector<ExchangeFileFacts> exchangeFilesIn(const std::string& container,
                                               std::chrono::milliseconds patience);

/// The processes at both ends of the link, going by the notifications that they observe.
struct LinkEnds {
  std::map<std::string, Platform::NotificationObserver> hosts;  ///< by the name of their reply file
  pid_t application = 0;                                        ///< 0: none observes requests
};

/// Returns the processes at both ends. A host that was killed may be among them; it is marked as
/// gone.
LinkEnds linkEndsAmong(const std::vector<Platform::NotificationObserver>& observers);

/// Likewise, of `container`; empty if that can't be read.
LinkEnds linkEndsIn(const std::string& container);

/// Whether the exchange file `name` holds replies to a host that is not there any more.
bool isLeftReply(const std::string& name, const LinkEnds& ends);

/// The name of the file of requests.
extern const char* const requestFileName;

/// How many instances of the main application run.
Result<int> runningInstances(const std::string& container);

/// Returns `process` with the name of its program, for people: "process 4711 (corvane-nm)".
std::string describedProcess(pid_t process);

/// The folder of the hosts' logs.
std::string logFolderIn(const std::string& container);

}  // namespace corvane::Nmctl
