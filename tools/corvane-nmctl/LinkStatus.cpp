#include "tools/corvane-nmctl/LinkStatus.h"

#include <map>
#include <utility>

#include "Platform/Container/ProcessTable.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Registry.h"
#include "tools/corvane-nmctl/Ways.h"

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 200ms;

std::optional<std::chrono::seconds> ageOf(pid_t process) {
  const auto age = Platform::ProcessTable::ageOf(process);
  return age ? std::optional(age.value()) : std::nullopt;
}

void lookAtApplication(const std::string& container, LinkStatus& status) {
  const auto instances = runningInstances(container);
  if (!instances || faultOf(Way::applications, container)) return;
  status.isApplicationRunning = *instances > 0;
  for (const auto& instance : registryIn(container).running)
    status.applications.push_back({instance.process, ageOf(instance.process)});
}

/// Whether only hosts observe the notification `name`.
bool isOfHost(const std::string& name) {
  const std::string prefix =
      std::string(Configuration::MainAppBundleIdentifier) + ".DARWIN_NOTIFICATION.";
  return name == prefix + "appState" || name == prefix + "appReconfig" ||
         name.starts_with(prefix + "exchange.");
}

void lookAtObservers(const std::string& container, LinkStatus& status) {
  const auto listed = Platform::notificationObservers(container);
  if (!listed && !faultOf(Way::notifications, container))  // of which was told already
    status.problems.push_back({Code("observers-unreadable"), listed.failure().text, ""});
  if (!listed) return;
  status.observers = listed.value();
  std::map<pid_t, LinkProcess> hosts;
  for (const auto& [name, process, isGone] : listed.value())
    if (isOfHost(name))
      hosts[process] = {process, isGone ? std::nullopt : ageOf(process), "", isGone};
  for (const auto& [replyFile, host] : linkEndsAmong(listed.value()).hosts)
    hosts[host.process].replyFile = replyFile;
  for (auto& [process, host] : hosts) status.hosts.push_back(std::move(host));
}

}  // namespace

std::optional<bool> LinkStatus::isLeft(const ExchangeFileFacts& file) const {
  if (!observers) return std::nullopt;
  return isLeftReply(file.name, linkEndsAmong(*observers));
}

LinkStatus linkStatusOf(const std::string& container) {
  LinkStatus status;
  for (const Way way : {Way::applications, Way::notifications, Way::data})
    if (const auto fault = faultOf(way, container)) status.problems.push_back(*fault);
  lookAtApplication(container, status);
  status.files = exchangeFilesIn(container, patience);
  lookAtObservers(container, status);
  return status;
}

std::string shownAge(std::chrono::seconds age) {
  const auto two = [](auto count, auto divisor, const char* first, const char* second) {
    return std::to_string(count / divisor) + first + std::to_string(count % divisor) + second;
  };
  if (age < 1min) return std::to_string(age.count()) + " s";
  const auto minutes = age / 1min;
  if (age < 1h) return std::to_string(minutes) + " min";
  if (age < 24h) return two(minutes, 60, " h ", " min");
  return two(age / 1h, 24, " d ", " h");
}

}  // namespace corvane::Nmctl
