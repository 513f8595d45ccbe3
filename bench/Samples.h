#pragma once

#include <optional>
#include <string>

#include "Base/ErrorObject.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"

/// What host and main application say to each other on an ordinary day.
namespace corvane::bench {

inline const std::string sampleIdentifier = "7D3E6B0A-54C1-4F0E-9B7C-2A8D1F6E3C95";

/// The address of a page, as long as they are.
inline const std::string sampleUrl =
    "https://www.example.com/articles/2024/03/why-the-sea-is-blue/index.html"
    "?utm_source=newsletter&utm_medium=email&session=5f2b8c1d9e7a4f36&page=2#comments-section";

inline constexpr std::int64_t samplePort = 443;
inline const std::string sampleBrowser = "com.example.browser";

/// About 600 bytes as an archive.
inline ExchangeRecord sampleRequest() {
  return {sampleIdentifier, "getCurrentFilteringState",
          Dictionary{{"url", sampleUrl}, {"port", samplePort}, {"app", sampleBrowser}}};
}

inline ExchangeRecord sampleAppState() {
  return {sampleIdentifier, "appState",
          Dictionary{{"result", EBAAppStateResponse{true, "de"}.record()}}};
}

inline ExchangeRecord sampleFilteringState() {
  const EBACurrentFilteringStateResponse state{
      true, true, false, 12, 3456, "Example Trust Services CA", "valid"};
  return {sampleIdentifier, "getCurrentFilteringState", Dictionary{{"result", state.record()}}};
}

inline ExchangeRecord sampleError() {
  const Dictionary userInfo{{"NSLocalizedDescription", "The settings window can't be opened"}};
  return {sampleIdentifier, "openSettings",
          Dictionary{{"error", ErrorObject{"com.example.application.errors", 17, userInfo}}}};
}

}  // namespace corvane::bench
