#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Base/Result.h"

namespace corvane::MainApp {

/// What the command line asks for.
struct Options {
  std::optional<std::string> container;  ///< the group container; nothing: that of the user
  std::string locale = "en";
  bool prints = false;
  bool isDaemon = false;
  bool asksForHelp = false;
  bool heedsSignals = true;  ///< whether SIGTERM and SIGINT end it; not asked for by an argument
  std::vector<std::string> faults;
};

/// Reads the arguments, without the program's name. Fails with the reason.
Result<Options> readOptions(const std::vector<std::string>& arguments);

/// How the program is used.
extern const char* const usage;

}  // namespace corvane::MainApp
