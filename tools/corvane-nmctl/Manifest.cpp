#include "tools/corvane-nmctl/Manifest.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Base/Json.h"
#include "Platform/File.h"
#include "tools/corvane-nmctl/ManifestCheck.h"
#include "tools/corvane-nmctl/Product.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

using State = FoundManifest::State;

constexpr std::string_view hostFileName = "corvane-nm";

/// `text` as it stands between the quotes of a JSON text.
std::string escaped(std::string_view text) {
  constexpr std::string_view before = R"({"":")";
  constexpr std::string_view behind = R"("})";
  const auto object = serializeJson({{"", JsonValue(text)}});
  if (!object) return std::string(text);  // no UTF-8: browsers will refuse it
  std::string_view inner = *object;
  inner.remove_prefix(before.size());
  inner.remove_suffix(behind.size());
  return std::string(inner);
}

FoundManifest fromFailure(const Failure& failure) {
  if (failure.cause == FailureCause::notFound) return {};
  if (failure.cause == FailureCause::notPermitted) return {State::notPermitted, failure.text, {}};
  return {State::foreign, failure.text, {}};
}

/// Why a browser can't start the host by our manifest `text`.
std::optional<std::string> brokenness(ManifestFormat format, std::string_view text,
                                      const std::string& host) {
  const CheckedManifest checked = checkManifest(format, text);
  if (checked.fault) return checked.fault;
  if (checked.refusal) return checked.refusal;
  if (::access(host.c_str(), F_OK) != 0) return "the host that it names is missing";
  return std::nullopt;
}

FoundManifest classified(std::string_view text, ManifestFormat format, std::string_view hostPath) {
  const auto value = readManifest(format, text);
  if (!value) return {State::damaged, "it is not JSON: " + value.failure().text, {}};
  const JsonObject* object = value.value().if_object();
  const auto* name = object == nullptr ? nullptr : findString(*object, "name");
  if (name == nullptr || *name != Product::hostName)
    return {State::foreign, "it is no manifest of this host", {}};
  const auto* path = findString(*object, "path");
  const std::string host = path == nullptr ? "" : std::string(*path);
  if (!isHostFile(host)) return {State::foreign, "it names another program", host};
  const auto others = otherAllowances(format, text);
  const bool isAsWritten = text == manifestText(format, hostPath, others);
  if (const auto broken = brokenness(format, text, host))
    return {State::outdated, *broken, host, others, isAsWritten};
  if (isAsWritten) return {State::current, {}, host, others, true};
  return {State::usable, "it is not what this version writes", host, others};
}

}  // namespace

std::string manifestText(ManifestFormat format, std::string_view hostPath,
                         const std::vector<std::string>& others) {
  constexpr std::string_view place = "@CORVANE_MANIFEST_PATH@";
  std::string text =
      format == ManifestFormat::chromium ? Product::chromiumManifest : Product::firefoxManifest;
  text.replace(text.find(place), place.size(), escaped(hostPath));
  for (const std::string& other : others)  // the list is the last that has a bracket
    text.insert(text.rfind(']'), ", \"" + escaped(other) + "\"");
  return text;
}

bool isHostFile(std::string_view path) {
  return path.substr(path.rfind('/') + 1) == hostFileName;
}

std::string manifestFileName() {
  return Product::manifestFile;
}

FoundManifest findManifest(const std::string& path, ManifestFormat format,
                           std::string_view hostPath) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return fromFailure(Platform::failureFromErrno("stat"));
  if (S_ISLNK(status.st_mode)) return {State::foreign, "it is a symbolic link", {}};
  if (!S_ISREG(status.st_mode)) return {State::foreign, "it is not a regular file", {}};
  const auto text = readWhole(path);
  return text ? classified(text.value(), format, hostPath) : fromFailure(text.failure());
}

std::string_view nameOf(State state) {
  switch (state) {
    case State::absent:
      return "absent";
    case State::current:
      return "current";
    case State::usable:
      return "usable";
    case State::outdated:
      return "outdated";
    case State::damaged:
      return "damaged";
    case State::foreign:
      return "foreign";
    case State::notPermitted:
      return "not permitted";
  }
  return "";
}

}  // namespace corvane::Nmctl
