#include "tools/corvane-nmctl/Policies.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

#include "Base/Json.h"
#include "tools/corvane-nmctl/LenientJson.h"
#include "tools/corvane-nmctl/Product.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

namespace fs = std::filesystem;

JsonObject parsed(const std::string& text) {
  const auto value = parseLeniently(text, FinalCommas::allowed);
  return value && value.value().is_object() ? value.value().as_object() : JsonObject();
}

/// Whether the list `key` of `policies` holds `name`; nothing when there is no such list.
std::optional<bool> lists(const JsonObject& policies, const char* key, std::string_view name) {
  const JsonValue* value = policies.if_contains(key);
  if (value == nullptr || !value->is_array()) return std::nullopt;
  const auto& items = value->as_array();
  return std::any_of(items.begin(), items.end(), [&](const JsonValue& item) {
    return item.is_string() && std::string_view(item.as_string()) == name;
  });
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(folder, failed))
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

Policies policiesOf(const Browser& browser, const Surroundings& surroundings) {
  Policies result;
  bool isAllowed = false;
  for (const std::string_view folder : browser.policyFolders) {
    for (const std::string& file : filesIn(surroundings.expanded(folder))) {
      const auto text = readWhole(resolvedPath(file));
      if (!text) continue;
      const JsonObject policies = parsed(text.value());
      const auto isBlocked = lists(policies, "NativeMessagingBlocklist", Product::hostName);
      const auto areAllBlocked = lists(policies, "NativeMessagingBlocklist", "*");
      if (isBlocked) {
        result.forbidHost = *isBlocked || *areAllBlocked;
        result.hostFile = file;
      }
      isAllowed =
          lists(policies, "NativeMessagingAllowlist", Product::hostName).value_or(isAllowed);
      if (const bool* userLevel = findBool(policies, "NativeMessagingUserLevelHosts")) {
        result.forbidUserLevel = !*userLevel;
        result.userLevelFile = file;
      }
    }
  }
  result.forbidHost = result.forbidHost && !isAllowed;
  return result;
}

}  // namespace corvane::Nmctl
