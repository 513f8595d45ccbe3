#include "tools/corvane-main-app/Answers.h"

#include <string>
#include <utility>

#include "SharedComponents/Configuration.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-main-app/Addresses.h"

namespace corvane::MainApp {
namespace {

namespace Api = ExtensionBrowserApiConstants;
using Param = Api::ApiCommandParam;
using Api::rawValue;

constexpr std::int64_t unknownCommandCode = 1;
constexpr std::int64_t parametersCode = 2;
constexpr std::int64_t unknownRuleCode = 3;
constexpr std::int64_t unknownCertificateCode = 4;

Answer wrongParameters() {
  return refusal(errorObject(parametersCode, "A parameter is missing or of the wrong kind."));
}

/// The answer to a command that yields nothing.
Answer done() {
  return {};
}

Answer changed() {
  return {{}, true};
}

Answer result(Value value) {
  return {{{std::string(rawValue(Param::result)), std::move(value)}}, false};
}

/// One request under way: its parameters and what they do to the state. A parameter that is not
/// there, or of another kind, is nullptr.
class Request {
 public:
  Request(const ExchangeRecord& record, ApplicationState& state)
      : body_(record.body ? *record.body : noBody()), state_(state) {}

  Answer getCurrentFilteringState() {
    const auto* port = find<std::int64_t>(Param::port);
    if (url() == nullptr || port == nullptr || find<std::string>(Param::app) == nullptr)
      return wrongParameters();
    return result(state_.pageState(*url(), *port).record());
  }

  Answer setProtectionStatus() {
    if (enabled() == nullptr) return wrongParameters();
    state_.setProtection(*enabled());
    return changed();
  }

  Answer setHttpFilteringStatus() {
    if (url() == nullptr || enabled() == nullptr) return wrongParameters();
    state_.setHttpFiltering(*url(), *enabled());
    return changed();
  }

  Answer setHttpsFilteringStatus() {
    if (url() == nullptr || enabled() == nullptr) return wrongParameters();
    state_.setHttpsFiltering(*url(), *enabled());
    Answer answer = result(true);
    answer.isChange = true;
    return answer;
  }

  Answer addRule() {
    if (rule() == nullptr) return wrongParameters();
    state_.addRule(*rule());
    return changed();
  }

  Answer removeRule() {
    if (rule() == nullptr) return wrongParameters();
    if (!state_.removeRule(*rule()))
      return refusal(errorObject(unknownRuleCode, "The rule does not exist."));
    return changed();
  }

  Answer removeCustomRules() {
    if (url() == nullptr) return wrongParameters();
    state_.removeCustomRules(*url());
    return changed();
  }

  Answer openOriginalCert() {
    const auto* domain = find<std::string>(Param::domain);
    if (domain == nullptr || find<std::int64_t>(Param::port) == nullptr ||
        find<std::string>(Param::app) == nullptr) {
      return wrongParameters();
    }
    if (!state_.knowsCertificate(*domain))
      return refusal(errorObject(unknownCertificateCode, "The certificate is not known."));
    ++state_.uses().originalCert;
    return done();
  }

  Answer reportSite() {
    if (url() == nullptr || find<std::string>(Param::referrer) == nullptr ||
        find<std::string>(Param::userAgent) == nullptr) {
      return wrongParameters();
    }
    return result("https://reports.example.org/" + std::to_string(++state_.uses().reports) +
                  "?host=" + Addresses::hostOf(*url()));
  }

  static Answer opened(std::int64_t& uses) {
    ++uses;
    return done();
  }

 private:
  static const Dictionary& noBody() {
    static const auto& none = *new Dictionary;
    return none;
  }

  template <class T>
  [[nodiscard]] const T* find(Param parameter) const {
    return body_.find<T>(rawValue(parameter));
  }
  [[nodiscard]] const std::string* url() const { return find<std::string>(Param::url); }
  [[nodiscard]] const std::string* rule() const { return find<std::string>(Param::ruleText); }
  [[nodiscard]] const bool* enabled() const { return find<bool>(Param::enabled); }

  const Dictionary& body_;
  ApplicationState& state_;
};

}  // namespace

Answer answerTo(const ExchangeRecord& record, ApplicationState& state) {
  const auto command = Api::commandFromRawValue(record.name);
  if (!command) return refusal(errorObject(unknownCommandCode, "The command is not known."));
  Request request(record, state);
  switch (*command) {
    case Api::apiCommandAppState:
      return result(state.appState().record());
    case Api::apiCommandGetCurrentFilteringState:
      return request.getCurrentFilteringState();
    case Api::apiCommandSetProtectionStatus:
      return request.setProtectionStatus();
    case Api::apiCommandSetHttpFilteringStatus:
      return request.setHttpFilteringStatus();
    case Api::apiCommandSetHttpsFilteringStatus:
      return request.setHttpsFilteringStatus();
    case Api::apiCommandAddRule:
      return request.addRule();
    case Api::apiCommandRemoveRule:
      return request.removeRule();
    case Api::apiCommandRemoveCustomRules:
      return request.removeCustomRules();
    case Api::apiCommandOpenOriginalCert:
      return request.openOriginalCert();
    case Api::apiCommandReportSite:
      return request.reportSite();
    case Api::apiCommandOpenFilteringLog:
      return Request::opened(state.uses().filteringLog);
    case Api::apiCommandOpenSettings:
      return Request::opened(state.uses().settings);
    case Api::apiCommandUpdateApp:
      return Request::opened(state.uses().updates);
  }
  return done();
}

Answer refusal(Value error) {
  return {{{std::string(rawValue(Param::error)), std::move(error)}}, false};
}

ErrorObject errorObject(std::int64_t code, const std::string& text) {
  return {std::string(Configuration::MainAppBundleIdentifier) + ".ErrorDomain", code,
          Dictionary{{"NSLocalizedDescription", text}}};
}

}  // namespace corvane::MainApp
