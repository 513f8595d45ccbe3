#include "tools/corvane-nmctl/ManifestCheck.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

#include "Base/Json.h"
#include "tools/corvane-nmctl/LenientJson.h"
#include "tools/corvane-nmctl/Product.h"

namespace corvane::Nmctl {
namespace {

constexpr std::string_view scheme = "chrome-extension://";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::vector<std::string> allowedFor(ManifestFormat format) {
  const bool isChromium = format == ManifestFormat::chromium;
  const std::string_view list =
      isChromium ? Product::chromiumExtensions : Product::firefoxExtensions;
  std::vector<std::string> result;
  for (std::size_t at = 0; at < list.size();) {
    const std::size_t end = list.find(',', at);
    const std::string identifier(list.substr(at, end - at));
    result.push_back(isChromium ? std::string(scheme) + identifier + "/" : identifier);
    at = end + 1;
  }
  return result;
}

/// A member that must be a text; notes what is wrong with it in `fault`.
std::string textOf(const JsonObject& object, const char* key, std::optional<std::string>& fault) {
  const auto* found = findString(object, key);
  if (found != nullptr) return std::string(*found);
  if (!fault)
    fault = object.contains(key) ? "\"" + std::string(key) + "\" is not a string"
                                 : "\"" + std::string(key) + "\" is missing";
  return {};
}

/// What Chromium requires of an element of "allowed_origins". One that is wrong costs the whole
/// manifest.
std::optional<std::string> originFault(std::string_view origin) {
  const auto quoted = [&](const char* what) {
    return "the allowed origin \"" + std::string(origin) + "\" " + what;
  };
  if (!origin.starts_with(scheme)) return quoted("does not begin with chrome-extension://");
  const std::string_view rest = origin.substr(scheme.size());
  const std::size_t slash = rest.find('/');
  if (slash == std::string_view::npos) return quoted("lacks the final slash");
  if (slash == 0) return quoted("names no extension");
  if (rest.substr(0, slash).find('*') != std::string_view::npos) return quoted("has a wildcard");
  return std::nullopt;
}

/// An element of "allowed_origins" as browsers compare it: capital letters of the identifier are
/// small ones, and what is behind the slash does not count.
std::string normalOrigin(std::string_view origin) {
  std::string result(origin.substr(0, origin.find('/', scheme.size()) + 1));
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

/// "{8-4-4-4-12 hexadecimal digits}".
bool isBracedUuid(std::string_view text) {
  constexpr std::string_view pattern = "{00000000-0000-0000-0000-000000000000}";
  const auto fits = [](char expected, char c) {
    return expected == '0' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : expected == c;
  };
  return text.size() == pattern.size() &&
         std::equal(pattern.begin(), pattern.end(), text.begin(), fits);
}

/// Likewise for Firefox and "allowed_extensions": a UUID in braces, or something like an address.
std::optional<std::string> extensionFault(std::string_view extension) {
  const auto isPart = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.' || c == '_';
  };
  const std::size_t at = extension.find('@');
  const std::string_view before = extension.substr(0, at);
  const std::string_view behind =
      at == std::string_view::npos ? std::string_view() : extension.substr(at + 1);
  const bool isAddress = !behind.empty() && std::all_of(before.begin(), before.end(), isPart) &&
                         std::all_of(behind.begin(), behind.end(), isPart);
  if (isAddress || isBracedUuid(extension)) return std::nullopt;
  return "the allowed extension \"" + std::string(extension) + "\" is not the identifier of one";
}

const char* listKey(ManifestFormat format) {
  return format == ManifestFormat::chromium ? "allowed_origins" : "allowed_extensions";
}

/// Checks the list of extensions, and whether `extension` is in it, or one of ours when it is "".
void checkAllowed(ManifestFormat format, const JsonObject& object, const std::string& extension,
                  CheckedManifest& result) {
  const bool isChromium = format == ManifestFormat::chromium;
  const char* key = listKey(format);
  const JsonValue* list = object.if_contains(key);
  if (list == nullptr || !list->is_array() || (!isChromium && list->as_array().empty())) {
    result.fault = "\"" + std::string(key) + "\" is missing, empty or not a list";
    return;
  }
  const auto wanted = extension.empty() ? allowedFor(format) : std::vector{extension};
  bool isListed = false;
  for (const JsonValue& item : list->as_array()) {
    const auto* allowed = item.if_string();
    if (allowed == nullptr) {
      result.fault = "\"" + std::string(key) + "\" holds something other than strings";
      return;
    }
    result.fault = isChromium ? originFault(*allowed) : extensionFault(*allowed);
    if (result.fault) return;
    const std::string one = isChromium ? normalOrigin(*allowed) : std::string(*allowed);
    isListed = isListed || std::find(wanted.begin(), wanted.end(), one) != wanted.end();
  }
  const std::string which = extension.empty() ? "our extension, " : "the extension ";
  if (!isListed) result.refusal = "it does not allow " + which + wanted.front();
}

std::optional<std::string> unknownKey(const JsonObject& object) {
  constexpr std::string_view known[] = {"name", "description", "path", "type",
                                        "allowed_extensions"};
  for (const auto& entry : object) {
    const std::string_view key = entry.key();
    if (std::find(std::begin(known), std::end(known), key) == std::end(known))
      return "Firefox does not know the key \"" + std::string(key) + "\" and rejects it";
  }
  return std::nullopt;
}

}  // namespace

Result<JsonValue> readManifest(ManifestFormat format, std::string_view text) {
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  if (format == ManifestFormat::chromium) return parseLeniently(text, FinalCommas::refused);
  return parseJson(text);
}

std::string extensionFor(ManifestFormat format) {
  return allowedFor(format).front();
}

std::optional<std::string> allowanceOf(ManifestFormat format, const std::string& identifier) {
  if (format == ManifestFormat::firefox)
    return extensionFault(identifier) ? std::nullopt : std::optional(identifier);
  constexpr std::size_t length = 32;
  const bool isIdentifier = identifier.size() == length &&
                            identifier.find_first_not_of("abcdefghijklmnop") == std::string::npos;
  if (!isIdentifier) return std::nullopt;
  return std::string(scheme) + identifier + "/";
}

std::vector<std::string> otherAllowances(ManifestFormat format, std::string_view text) {
  std::vector<std::string> result;
  const auto value = readManifest(format, text);
  const JsonObject* object = value ? value.value().if_object() : nullptr;
  const JsonValue* list = object == nullptr ? nullptr : object->if_contains(listKey(format));
  if (list == nullptr || !list->is_array()) return result;
  const std::vector<std::string> own = allowedFor(format);
  for (const JsonValue& item : list->as_array()) {
    if (!item.is_string()) continue;
    const std::string_view text = item.as_string();
    const bool isChromium = format == ManifestFormat::chromium;
    if (isChromium ? originFault(text) : extensionFault(text)) continue;
    std::string one = isChromium ? normalOrigin(text) : std::string(text);
    if (std::find(own.begin(), own.end(), one) == own.end()) result.push_back(std::move(one));
  }
  return result;
}

CheckedManifest checkManifest(ManifestFormat format, std::string_view text,
                              const std::string& extension) {
  CheckedManifest result;
  const bool isChromium = format == ManifestFormat::chromium;
  const auto value = readManifest(format, text);
  if (!value || !value.value().is_object()) {
    result.fault = "it is not JSON: " + (value ? "no object" : value.failure().text);
    return result;
  }
  const JsonObject& object = value.value().as_object();
  std::optional<std::string>& fault = result.fault;
  const std::string name = textOf(object, "name", fault);
  const std::string description = textOf(object, "description", fault);
  const std::string type = textOf(object, "type", fault);
  result.hostPath = textOf(object, "path", fault);
  if (fault) return result;
  if (name != Product::hostName) {
    fault = "its name is \"" + name + "\" instead of " + Product::hostName;
  } else if (isChromium && description.empty()) {
    fault = "its description is empty";
  } else if (type != "stdio") {
    fault = "its type is \"" + type + "\" instead of stdio";
  } else if (!result.hostPath.starts_with('/')) {
    fault = "its path is not a full one: \"" + result.hostPath + "\"";
  } else if (!isChromium) {
    fault = unknownKey(object);
  }
  if (!fault) checkAllowed(format, object, extension, result);
  return result;
}

}  // namespace corvane::Nmctl
