#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Value.h"

namespace corvane {

class TruncatedText;

/// An error as the main application's platform describes one (NSError).
struct ErrorObject {
  std::string domain;
  std::int64_t code = 0;
  std::optional<Dictionary> userInfo;

  /// What the platform says of it:
  ///   Error Domain=D Code=17 "No window" UserInfo={NSLocalizedDescription=No window}
  /// with "(null)" where the user info has no text "NSLocalizedDescription", and without the last
  /// part where there is no user info or an empty one. Objects inside are written without their
  /// addresses. Truncated to 64 KiB (TruncatedText).
  [[nodiscard]] std::string description() const;

  /// Appends the description to `text`.
  void appendDescription(TruncatedText& text) const;

  bool operator==(const ErrorObject&) const = default;
};

}  // namespace corvane
