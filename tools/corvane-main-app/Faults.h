#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Result.h"

namespace corvane::MainApp {

/// One thing that the application is to do wrong.
struct Fault {
  enum class Kind {
    silent,       ///< take the request and do nothing
    late,         ///< answer after `number` milliseconds
    name,         ///< answer under the name `text`
    id,           ///< answer under the identifier `text`
    file,         ///< put the answer into the file of the identifier `text`
    error,        ///< refuse with an error object that says `text`
    stringError,  ///< refuse with a text in place of an error object
    wrongType,    ///< give a result that is an integer
    noResult,     ///< give no result
  };

  Kind kind = Kind::silent;
  std::string text;
  std::int64_t number = 0;
  std::string command;               ///< only for this one; "" for all
  std::optional<std::int64_t> left;  ///< for how many requests yet; nothing for all
};

/// The faults that were asked for. Main thread only.
class Faults {
 public:
  /// Adds the fault that `text` asks for: "KIND [command=NAME] [times=N] [ARGUMENT]", or takes all
  /// away again: "none". Fails with the reason.
  Result<Done> add(std::string_view text);

  /// The faults for the next request of `command`, each counted as used once.
  std::vector<Fault> takeFor(const std::string& command);

 private:
  std::vector<Fault> faults_;
};

}  // namespace corvane::MainApp
