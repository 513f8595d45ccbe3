#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Value.h"

namespace corvane {

class CutText;

/// An error as the main application's platform describes one (NSError).
struct ErrorObject {
  std::string domain;
  std::int64_t code = 0;
  std::optional<Dictionary> userInfo;

  /// What the platform says of it:
  ///   Error Domain=D Code=17 "No window" UserInfo={NSLocalizedDescription=No window}
  /// with "(null)" where the user info has no text "NSLocalizedDescription", and without the last
  /// part where there is no user info or an empty one. Objects inside are written without their
  /// addresses. Of a longer one the first 64 KiB, and how many bytes are missing.
  [[nodiscard]] std::string description() const;

  /// The same, as far as `text` takes it.
  void appendDescription(CutText& text) const;

  bool operator==(const ErrorObject&) const = default;
};

}  // namespace corvane
