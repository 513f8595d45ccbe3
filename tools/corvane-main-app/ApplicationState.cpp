#include "tools/corvane-main-app/ApplicationState.h"

#include <algorithm>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-main-app/Addresses.h"

namespace corvane::MainApp {
namespace {

using ExtensionBrowserApiConstants::CertStatus;
using ExtensionBrowserApiConstants::rawValue;

constexpr std::int64_t blockedPerLook = 3;

}  // namespace

EBACurrentFilteringStateResponse ApplicationState::pageState(const std::string& url,
                                                             std::int64_t port) {
  const std::string host = Addresses::hostOf(url);
  const bool isHttps = Addresses::isHttps(url, port);
  Site& site = sites_[host];
  site.hasCertificate = site.hasCertificate || isHttps;

  EBACurrentFilteringStateResponse state;
  state.isFilteringEnabled = isProtectionEnabled_ && site.isHttpFiltered;
  state.isHttpsFilteringEnabled = isProtectionEnabled_ && site.isHttpsFiltered;
  state.isPageFilteredByUserFilter =
      std::any_of(rules_.begin(), rules_.end(),
                  [&](const std::string& rule) { return Addresses::concerns(rule, host); });
  if (isHttps ? state.isHttpsFilteringEnabled : state.isFilteringEnabled) {
    site.blockedCount += blockedPerLook;
    totalBlockedCount_ += blockedPerLook;
  }
  state.blockedAdsCount = site.blockedCount;
  state.totalBlockedCount = totalBlockedCount_;

  CertStatus status = CertStatus::notfound;
  if (isHttps) {
    // Names under "invalid" belong to nobody, so nobody can have vouched for them.
    const bool isTrusted = !host.ends_with(".invalid");
    state.originalCertIssuer = isTrusted ? "Example Authority" : host;
    status = !site.isHttpsFiltered ? CertStatus::bypassed
             : isTrusted           ? CertStatus::valid
                                   : CertStatus::invalid;
  }
  state.originalCertStatus = rawValue(status);
  return state;
}

void ApplicationState::setHttpFiltering(const std::string& url, bool isEnabled) {
  sites_[Addresses::hostOf(url)].isHttpFiltered = isEnabled;
}

void ApplicationState::setHttpsFiltering(const std::string& url, bool isEnabled) {
  sites_[Addresses::hostOf(url)].isHttpsFiltered = isEnabled;
}

void ApplicationState::addRule(const std::string& rule) {
  if (std::find(rules_.begin(), rules_.end(), rule) == rules_.end()) rules_.push_back(rule);
}

bool ApplicationState::removeRule(const std::string& rule) {
  return std::erase(rules_, rule) > 0;
}

void ApplicationState::removeCustomRules(const std::string& url) {
  const std::string host = Addresses::hostOf(url);
  std::erase_if(rules_, [&](const std::string& rule) { return Addresses::concerns(rule, host); });
}

bool ApplicationState::knowsCertificate(const std::string& domain) const {
  const auto found = sites_.find(Addresses::hostOf(domain));
  return found != sites_.end() && found->second.hasCertificate;
}

JsonObject ApplicationState::description() const {
  JsonObject sites;
  for (const auto& [host, site] : sites_) {
    sites[host] = {{"http", site.isHttpFiltered},
                   {"https", site.isHttpsFiltered},
                   {"certificate", site.hasCertificate},
                   {"blocked", site.blockedCount}};
  }
  return {{"protection", isProtectionEnabled_},
          {"locale", locale_},
          {"rules", boost::json::array(rules_.begin(), rules_.end())},
          {"sites", sites},
          {"totalBlocked", totalBlockedCount_},
          {"opened",
           {{"originalCert", uses_.originalCert},
            {"reportSite", uses_.reports},
            {"filteringLog", uses_.filteringLog},
            {"settings", uses_.settings},
            {"update", uses_.updates}}}};
}

}  // namespace corvane::MainApp
