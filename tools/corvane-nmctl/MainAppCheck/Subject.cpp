#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

#include "Base/Uuid.h"
#include "Platform/Random.h"

namespace corvane::Nmctl::MainAppCheck::Subject {

const std::string& domain() {
  static const auto& domain = *new std::string(
      "corvane-" + uuidFrom(Platform::randomBytes<16>()).substr(0, 8) + ".invalid");
  return domain;
}

const std::string& page() {
  static const auto& page = *new std::string("https://" + domain() + "/");
  return page;
}

const std::string& rule() {
  static const auto& rule = *new std::string("||" + domain() + "^");
  return rule;
}

Dictionary look() {
  return {{"url", page()}, {"port", port}, {"app", app}};
}

}  // namespace corvane::Nmctl::MainAppCheck::Subject
