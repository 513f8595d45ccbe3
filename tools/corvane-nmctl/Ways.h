#pragma once

#include <optional>
#include <string>

#include "tools/corvane-nmctl/Finding.h"

/// What in the shared folder refuses itself to this user, told apart: not permitted, of the wrong
/// kind, a link that is not followed. What is missing refuses nothing: it is made when needed.
namespace corvane::Nmctl {

enum class Way {
  data,           ///< to the exchange files
  applications,   ///< to the registry of what runs
  notifications,  ///< to those who observe
  settings,       ///< to the settings, to read them
  logs,           ///< to the logs, to write them
  logFolders,     ///< likewise, but only that folders are there
};

/// The highest folder of `way` that refuses, which hides those below it.
std::optional<Fault> faultOf(Way way, const std::string& container);

/// Why the file `path` refuses `rights` (as for access(2)).
std::optional<Fault> fileFault(const std::string& path, int rights);

}  // namespace corvane::Nmctl
