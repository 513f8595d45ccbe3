#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Result.h"
#include "Base/Value.h"

namespace corvane {

/// One request or reply: what a record in an exchange file holds.
struct ExchangeRecord {
  std::string id;    ///< says which reply belongs to which request
  std::string name;  ///< the word of the command
  std::optional<Dictionary> body;

  /// The keyed archive of `record`: a dictionary of "id", "name" and "body", where the null object
  /// stands for no body. Fails as `KeyedArchiver::archive` does; `limit` is that of the archive, in
  /// bytes.
  static Result<std::string> archive(ExchangeRecord record, std::size_t limit = SIZE_MAX);

  /// The record that a decoded archive holds. Nothing when `root` is no dictionary or its "id" or
  /// "name" no text. What is no dictionary under "body" is no body; other keys are ignored.
  static std::optional<ExchangeRecord> fromValue(Value root);

  bool operator==(const ExchangeRecord&) const = default;
};

}  // namespace corvane
