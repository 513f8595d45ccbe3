#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Record.h"

namespace corvane {

/// The filtering state of one page, as the main application reports it: the result of
/// `getCurrentFilteringState`. A plain value.
struct EBACurrentFilteringStateResponse {
  bool isFilteringEnabled = false;
  bool isHttpsFilteringEnabled = false;
  bool isPageFilteredByUserFilter = false;
  std::int64_t blockedAdsCount = 0;  ///< counts as the main application sent them, unchecked
  std::int64_t totalBlockedCount = 0;
  std::string originalCertIssuer;
  /// A word of `ExtensionBrowserApiConstants::CertStatus`, or empty.
  std::string originalCertStatus;

  /// Its class in archives: the fields under their names, in this order.
  static const RecordClass recordClass;

  /// Returns the state as a value that can be archived.
  [[nodiscard]] Record record() const;

  /// Returns the state in `record`, or nothing if the record is of another class. A field that is
  /// missing or of another kind is false, 0 or empty.
  static std::optional<EBACurrentFilteringStateResponse> fromRecord(const Record& record);
};

}  // namespace corvane
