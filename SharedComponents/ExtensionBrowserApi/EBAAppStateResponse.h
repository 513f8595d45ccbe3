#pragma once

#include <optional>
#include <string>

#include "Base/Record.h"

namespace corvane {

/// The state of the main application, as it reports it: the result of `appState`. A plain value.
struct EBAAppStateResponse {
  bool isProtectionEnabled = false;
  std::string locale = "en";  ///< passed to the browser as it is

  /// Its class in archives: a boolean and a string under the names of the fields.
  static const RecordClass recordClass;

  /// Returns the state as a value that can be archived.
  [[nodiscard]] Record record() const;

  /// Returns the state in `record`, or nothing if the record is of another class. A field that is
  /// missing or of another kind is false or empty. So an empty locale means that the main
  /// application sent none; "en" is the default of states made here only.
  static std::optional<EBAAppStateResponse> fromRecord(const Record& record);

  /// "<EBAAppStateResponse: 0x7f..> isProtectionEnabled: true, locale: de", with the address of
  /// this object.
  [[nodiscard]] std::string description() const;
};

}  // namespace corvane
