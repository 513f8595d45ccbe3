#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/Record.h"

namespace corvane {

/// The filtering state of one page, as the main application reports it.
struct EBACurrentFilteringStateResponse {
  bool isFilteringEnabled = false;
  bool isHttpsFilteringEnabled = false;
  bool isPageFilteredByUserFilter = false;
  std::int64_t blockedAdsCount = 0;
  std::int64_t totalBlockedCount = 0;
  std::string originalCertIssuer;
  std::string
      originalCertStatus;  ///< a word of `ExtensionBrowserApiConstants::CertStatus`, or empty

  /// What archives call it: the fields under their names, in this order.
  static const RecordClass recordClass;

  /// This record as a value that can be archived.
  [[nodiscard]] Record record() const;

  /// The state in `record`, or nothing when it is of another class. What is missing or of another
  /// kind is false, 0 or the empty text.
  static std::optional<EBACurrentFilteringStateResponse> fromRecord(const Record& record);
};

}  // namespace corvane
