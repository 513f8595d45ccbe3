#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Json.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"

namespace corvane::MainApp {

/// What the application would know if it filtered web traffic. It filters none: switches, rules and
/// counts are kept in memory, and counts grow by being asked for. Main thread only.
class ApplicationState {
 public:
  /// What commands and buttons have been used for, as often as the number says.
  struct Uses {
    std::int64_t originalCert = 0;
    std::int64_t reports = 0;
    std::int64_t filteringLog = 0;
    std::int64_t settings = 0;
    std::int64_t updates = 0;
  };

  explicit ApplicationState(std::string locale) : locale_(std::move(locale)) {}

  [[nodiscard]] EBAAppStateResponse appState() const { return {isProtectionEnabled_, locale_}; }

  /// The state of the page at `url`, of which the server's port is `port`. A page that is filtered
  /// has three more advertisements blocked each time.
  EBACurrentFilteringStateResponse pageState(const std::string& url, std::int64_t port);

  void setProtection(bool isEnabled) { isProtectionEnabled_ = isEnabled; }
  void setHttpFiltering(const std::string& url, bool isEnabled);
  void setHttpsFiltering(const std::string& url, bool isEnabled);

  /// Adds a user rule, unless it is there.
  void addRule(const std::string& rule);

  /// Removes a user rule; false when there is none such.
  bool removeRule(const std::string& rule);

  /// Removes the user rules that name the host of `url` or a domain above it.
  void removeCustomRules(const std::string& url);

  /// Whether the page of `domain` has been asked for over HTTPS, so that its certificate is known.
  [[nodiscard]] bool knowsCertificate(const std::string& domain) const;

  Uses& uses() { return uses_; }

  /// All of it.
  [[nodiscard]] JsonObject description() const;

 private:
  struct Site {
    bool isHttpFiltered = true;
    bool isHttpsFiltered = true;
    bool hasCertificate = false;
    std::int64_t blockedCount = 0;
  };

  bool isProtectionEnabled_ = true;
  const std::string locale_;
  std::map<std::string, Site, std::less<>> sites_;  // by host
  std::vector<std::string> rules_;                  // in the order in which they came
  std::int64_t totalBlockedCount_ = 0;
  Uses uses_;
};

}  // namespace corvane::MainApp
