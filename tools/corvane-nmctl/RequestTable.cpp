#include "tools/corvane-nmctl/RequestTable.h"

namespace corvane::Nmctl {
namespace {

using Kind = RequestParameter::Kind;

constexpr RequestParameter version[] = {{"apiVersion", Kind::text}};
constexpr RequestParameter page[] = {
    {"url", Kind::text}, {"port", Kind::whole}, {"forceStartApp", Kind::flag}};
constexpr RequestParameter protection[] = {{"isEnabled", Kind::flag}};
constexpr RequestParameter filtering[] = {
    {"url", Kind::text}, {"isEnabled", Kind::flag}, {"isHttpsEnabled", Kind::flag}};
constexpr RequestParameter rule[] = {{"ruleText", Kind::text}};
constexpr RequestParameter url[] = {{"url", Kind::text}};
constexpr RequestParameter server[] = {{"domain", Kind::text}, {"port", Kind::whole}};
constexpr RequestParameter site[] = {
    {"url", Kind::text}, {"referrer", Kind::text}, {"userAgent", Kind::text}};

constexpr RequestKind kinds[] = {
    {"init", version, "greet the host; it speaks version 1"},
    {"getCurrentAppState", {}, "ask for the state of the application"},
    {"getCurrentFilteringState", page, "ask how a page is filtered"},
    {"setProtectionStatus", protection, "switch protection"},
    {"setFilteringStatus", filtering, "switch the filtering of a page"},
    {"addRule", rule, "add a rule of the user's"},
    {"removeRule", rule, "remove a rule of the user's"},
    {"removeCustomRules", url, "remove the user's rules for a page"},
    {"openOriginalCert", server, "show the certificate that a server gave"},
    {"reportSite", site, "ask where to report a page"},
    {"openFilteringLog", {}, "show the application's log of what it filtered"},
    {"openSettings", {}, "show the application's settings"},
    {"updateApp", {}, "update the application"},
};

}  // namespace

std::span<const RequestKind> requestKinds() {
  return kinds;
}

const RequestKind* findRequestKind(std::string_view type) {
  for (const RequestKind& kind : kinds)
    if (kind.type == type) return &kind;
  return nullptr;
}

std::string usageOf(const RequestKind& kind) {
  constexpr std::string_view values[] = {"=TEXT", "=NUMBER", "=true|false"};
  std::string text;
  for (const RequestParameter& parameter : kind.parameters) {
    text += text.empty() ? "" : " ";
    text += parameter.name;
    text += values[static_cast<int>(parameter.kind)];
  }
  return text;
}

}  // namespace corvane::Nmctl
