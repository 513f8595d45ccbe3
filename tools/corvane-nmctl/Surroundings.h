#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/corvane-nmctl/Browsers.h"

namespace corvane::Nmctl {

/// Where the program runs: what it would otherwise ask the environment and the system for, so that
/// a test can have surroundings of its own.
struct Surroundings {
  uid_t user = 0;            ///< the effective user
  std::string home;          ///< the home folder as browsers have it: $HOME
  std::string configFolder;  ///< what "$CONFIG" in the table stands for
  std::vector<std::string> searchPath;
  std::string systemRoot;  ///< goes before the system's folders; "" but in tests
  std::string hostPath;    ///< the host that belongs to this program

  /// Those of this process. The host is the one beside this program as built, the one where an
  /// installation has it as seen from this program, or the one where the build was to install it.
  static Surroundings ofThisProcess();

  /// A folder of the table as a full path.
  [[nodiscard]] std::string expanded(std::string_view folder) const;
};

/// How a browser is installed here; several at once are possible.
struct Installation {
  bool isNative = false;  ///< a program that can start other programs
  std::optional<std::string> flatpak;
  std::optional<std::string> snap;
  bool usesPortal = false;  ///< the sandboxed one starts hosts through the desktop's portal

  /// Whether one of them can start the host.
  [[nodiscard]] bool startsHosts() const { return isNative || usesPortal; }
  [[nodiscard]] bool isSandboxed() const { return flatpak || snap; }
  [[nodiscard]] bool isAny() const { return isNative || isSandboxed(); }
};

/// Looks for the programs of `browser`, no further: what the user has of it is not looked at.
Installation installationOf(const Browser& browser, const Surroundings& surroundings);

}  // namespace corvane::Nmctl
