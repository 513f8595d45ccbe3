#include "tools/corvane-nmctl/RequestHelp.h"

namespace corvane::Nmctl {

using RequestProcessing::BrowserCommand;
using RequestProcessing::CommandId;
using RequestProcessing::RequiredParameter;

namespace {

std::string_view valueOf(RequiredParameter::Kind kind) {
  switch (kind) {
    case RequiredParameter::Kind::text:
      return "TEXT";
    case RequiredParameter::Kind::integer:
      return "NUMBER";
    case RequiredParameter::Kind::flag:
      return "true|false";
  }
  return "";
}

}  // namespace

std::string_view purposeOf(CommandId command) {
  switch (command) {
    case CommandId::getCurrentAppState:
      return "ask for the state of the application";
    case CommandId::init:
      return "greet the host; it speaks version 1";
    case CommandId::getCurrentFilteringState:
      return "ask how a page is filtered";
    case CommandId::setProtectionStatus:
      return "switch protection";
    case CommandId::setFilteringStatus:
      return "switch the filtering of a page";
    case CommandId::addRule:
      return "add a rule of the user's";
    case CommandId::removeRule:
      return "remove a rule of the user's";
    case CommandId::removeCustomRules:
      return "remove the user's rules for a page";
    case CommandId::openOriginalCert:
      return "show the certificate that a server gave";
    case CommandId::reportSite:
      return "ask where to report a page";
    case CommandId::openFilteringLog:
      return "show the application's log of what it filtered";
    case CommandId::openSettings:
      return "show the application's settings";
    case CommandId::updateApp:
      return "update the application";
  }
  return "";
}

std::string usageOf(const BrowserCommand& command) {
  std::string text;
  for (const RequiredParameter& parameter : command.parameters) {
    text += text.empty() ? "" : " ";
    text += parameter.name();
    text += "=";
    text += valueOf(parameter.kind);
  }
  return text;
}

}  // namespace corvane::Nmctl
