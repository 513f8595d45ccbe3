#pragma once

#include <optional>
#include <string>

#include "Base/Record.h"

namespace corvane {

/// The state of the main application, as it reports it.
struct EBAAppStateResponse {
  bool isProtectionEnabled = false;
  std::string locale = "en";

  /// What archives call it: a boolean and a text under the names of the fields.
  static const RecordClass recordClass;

  /// This record as a value that can be archived.
  [[nodiscard]] Record record() const;

  /// The state in `record`, or nothing when it is of another class. What is missing or of another
  /// kind is false or the empty text; "en" is for records made here, and an empty locale says that
  /// the main application sent none.
  static std::optional<EBAAppStateResponse> fromRecord(const Record& record);

  /// "<EBAAppStateResponse: 0x7f..> isProtectionEnabled: true, locale: de", with the address of
  /// this object.
  [[nodiscard]] std::string description() const;
};

}  // namespace corvane
