#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Value.h"

namespace corvane {

class TruncatedText;

/// An error as the main application's platform describes one (NSError,
/// https://developer.apple.com/documentation/foundation/nserror). It comes from the main
/// application's archives and is passed on to the browser as its description. A value; copies share
/// nothing that changes.
struct ErrorObject {
  std::string domain;                  ///< which set of codes `code` belongs to
  std::int64_t code = 0;               ///< its meaning depends on `domain`
  std::optional<Dictionary> userInfo;  ///< details by name; nothing and empty compare unequal

  /// The text that the platform prints for it:
  ///   Error Domain=D Code=17 "No window" UserInfo={NSLocalizedDescription=No window}
  /// with (null) in the quotes if the user info has no string "NSLocalizedDescription", and without
  /// the last part if there is no user info or an empty one. Objects inside are written without
  /// their addresses. Truncated to 64 KiB (TruncatedText).
  [[nodiscard]] std::string description() const;

  /// Appends the description to `text`, whose limit applies instead of the 64 KiB.
  void appendDescription(TruncatedText& text) const;

  bool operator==(const ErrorObject&) const = default;
};

}  // namespace corvane
