#pragma once

#include <cstdint>
#include <string>

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
};

}  // namespace corvane
