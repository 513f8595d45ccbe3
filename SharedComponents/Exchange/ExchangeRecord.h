#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Result.h"
#include "Base/Value.h"

namespace corvane {

/// The content of one record in an exchange file: a request or a reply. A plain value.
struct ExchangeRecord {
  std::string id;    ///< of the client: a reply has the id of the request that it answers
  std::string name;  ///< the command, a word of ExtensionBrowserApiConstants
  std::optional<Dictionary> body;  ///< parameters or results, by ApiCommandParam

  /// Returns the keyed archive of `record`: a dictionary of "id", "name" and "body", with the null
  /// object for an absent body. Fails as `KeyedArchiver::archive` does, with `noSpace` if the
  /// archive is longer than `limit` bytes.
  static Result<std::string> archive(ExchangeRecord record, std::size_t limit = SIZE_MAX);

  /// Returns the record in a decoded archive. Nothing if `root` is not a dictionary, or its "id" or
  /// "name" is missing or not a string. A "body" that is not a dictionary counts as absent; other
  /// keys are ignored.
  static std::optional<ExchangeRecord> fromValue(Value root);

  bool operator==(const ExchangeRecord&) const = default;
};

}  // namespace corvane
