#include <algorithm>
#include <array>
#include <string_view>

#include "SharedComponents/Configuration.h"
#include "simulation/Container.h"
#include "simulation/World.h"

// The actions of a run: events that do not come from the simulated processes.

namespace corvane::Simulation {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// How many system calls ahead a fault is planned at most.
constexpr std::uint64_t maximumCallsAhead = 300;

constexpr std::array<std::string_view, 14> rareCalls = {
    "bind", "connect", "epoll_ctl", "fork", "ftruncate",  "link",        "mkdir",
    "pipe", "pwritev", "recv",      "send", "pidfd_open", "startThread", "socket"};

/// The content of a request file that takes no more requests.
std::string fullFile() {
  std::string record = "bplist00" + std::string(1'000'000 - 8, '\0');
  for (std::size_t i = 0; i < 4; ++i) record += static_cast<char>(1'000'000U >> (8 * i) & 0xFFU);
  std::string bytes;
  while (bytes.size() <= Container::fullFile) bytes += record;
  return bytes;
}

}  // namespace

const std::vector<World::Action> World::actions = {
    {"start a host", &World::startHost, 20},
    {"send a request", &World::ask, 100},
    {"send requests from all browsers", &World::askAll, 20},
    {"write part of the input", &World::writePart, 20},
    {"close the input of a host", &World::closeInput, 4},
    {"quit a browser", &World::closeBrowser, 4},
    {"kill a host", &World::killHost, 10},
    {"kill a host at a call", &World::killHostLater, 10},
    {"fail a call of a host", &World::failHost, 10},
    {"start a host and fail a call of it", &World::startHostThatFails, 4},
    {"stop a host for a while", &World::stopHost, 4},
    {"toggle slow reading", &World::slowDown, 4},
    {"start the application", &World::startApplication, 20},
    {"quit the application", &World::quitApplication, 4},
    {"kill the application", &World::killApplication, 4},
    {"kill the application at a call", &World::killApplicationLater, 4},
    {"fail a call of the application", &World::failApplication, 4},
    {"start the application and fail a call of it", &World::startApplicationThatFails, 4},
    {"stop the application for a while", &World::stopApplication, 4},
    {"change the state", &World::changeState, 20},
    {"announce the state", &World::announceAgain, 10},
    {"announce the state many times", &World::announceOften, 4},
    {"change the log level", &World::changeLogLevel, 4},
    {"fill the request file", &World::fillRequests, 1},
    {"repeat a reply", &World::repeatReply, 4},
    {"repeat a notification", &World::repeatNotification, 10},
    {"truncate an exchange file", &World::cutFile, 2},
    {"set the wall clock", &World::moveWallClock, 4},
    {"suspend the machine", &World::leap, 4},
    {"let time pass", &World::letTimePass, 60},
};

std::vector<std::string> World::actionNames() {
  std::vector<std::string> names;
  names.reserve(actions.size());
  for (const Action& action : actions) names.emplace_back(action.name);
  return names;
}

Browser* World::browserWithHost() {
  Browser& browser = *random_.of(browsers_);
  return browser.hasHost() && browser.isOpen() ? &browser : nullptr;
}

void World::startHost() {
  Browser& browser = *random_.of(browsers_);
  if (!browser.hasHost()) browser.start();
}

void World::ask() {
  if (Browser* const browser = browserWithHost()) return browser->ask();
  startHost();
}

void World::askAll() {
  for (const auto& browser : browsers_) {
    if (!browser->hasHost() || !browser->isOpen()) continue;
    for (auto left = random_.between(1, 4); left > 0; --left) browser->ask();
  }
}

void World::writePart() {
  if (Browser* const browser = browserWithHost()) browser->write(false);
}

void World::closeInput() {
  if (Browser* const browser = browserWithHost()) browser->close(false);
}

void World::closeBrowser() {
  if (Browser* const browser = browserWithHost()) browser->close(true);
}

void World::killHost() {
  if (Browser* const browser = browserWithHost()) kernel_.kill(*browser->monitor()->process);
}

void World::killHostLater() {
  Browser* const browser = browserWithHost();
  if (browser == nullptr) return;
  Process& process = *browser->monitor()->process;
  process.diesAt = process.calls + 1 + random_.below(maximumCallsAhead);
}

void World::failHost() {
  if (Browser* const browser = browserWithHost()) failLater(*browser->monitor()->process);
}

void World::startHostThatFails() {
  Browser& browser = *random_.of(browsers_);
  if (browser.hasHost()) return;
  browser.start();
  failLater(*browser.monitor()->process);
}

void World::failLater(Process& process) {
  process.failsFrom = process.calls + 1 + random_.below(maximumCallsAhead);
  // Rare calls would hardly ever be chosen otherwise.
  process.failsOnly = random_.oneIn(2) ? random_.of(rareCalls) : "";
}

void World::stopHost() {
  if (Browser* const browser = browserWithHost()) stop(*browser->monitor()->process);
}

/// Sends SIGSTOP, and SIGCONT after up to 8 s.
void World::stop(Process& process) {
  if (process.isStopped) return;
  context_.disturb("stops");
  process.isStopped = true;
  HostMonitor* const monitor = monitorOf(process);
  if (monitor != nullptr) monitor->hasStopped();
  const auto found = kernel_.find(process.id);
  const auto pause = milliseconds(random_.between(1, 1 + random_.between(0, 8000)));
  scheduled_.emplace(kernel_.now() + pause, [this, found] {
    found->isStopped = false;
    if (HostMonitor* const stopped = monitorOf(*found)) stopped->continues();
    context_.disturb("continues");
  });
}

void World::slowDown() {
  Browser& browser = *random_.of(browsers_);
  browser.setSlow(!browser.isSlow());
}

void World::startApplication() {
  if (application_.processes().size() < 3) application_.start();
}

void World::quitApplication() {
  application_.quit();
}

void World::killApplication() {
  if (const auto process = application_.process()) kernel_.kill(*process);
}

void World::killApplicationLater() {
  if (const auto process = application_.process())
    process->diesAt = process->calls + 1 + random_.below(maximumCallsAhead);
}

void World::failApplication() {
  if (const auto process = application_.process()) failLater(*process);
}

void World::startApplicationThatFails() {
  if (application_.processes().size() >= 3) return;
  application_.start();
  failLater(*application_.process());
}

void World::stopApplication() {
  if (const auto process = application_.process()) stop(*process);
}

void World::changeState() {
  application_.command(random_.oneIn(2) ? "protection on" : "protection off");
}

void World::announceAgain() {
  application_.command("announce");
}

/// Makes more announcements than a queue holds. A host that runs must not miss one.
void World::announceOften() {
  if (!context_.isCalm() || isAnythingDue()) return;
  for (std::size_t i = 0; i < Socket::maximumUnread + 3; ++i) application_.command("announce");
  runFor(milliseconds(500));
}

/// Whether a fault is planned.
bool World::isAnythingDue() const {
  const auto isDoomed = [](const auto& process) {
    return process->diesAt != 0 || process->failsFrom != 0;
  };
  return !scheduled_.empty() ||
         std::any_of(application_.processes().begin(), application_.processes().end(), isDoomed) ||
         std::any_of(browsers_.begin(), browsers_.end(), [&](const auto& browser) {
           return browser->hasHost() && isDoomed(browser->monitor()->process);
         });
}

void World::changeLogLevel() {
  application_.command("level " + std::to_string(1 + random_.below(15)));
}

void World::fillRequests() {
  const Node file = kernel_.files().at(Container::requests());
  if (!file || file->lock != nullptr || application_.process()) return;
  context_.disturb("full files");
  file->bytes = fullFile();
  context_.lastFull = kernel_.now();
}

void World::repeatReply() {
  const Node file = kernel_.files().at(Container::path() + "/Data/" + lastReplyFile_);
  if (!file || file->lock != nullptr || lastReply_.empty()) return;
  for (const auto& browser : browsers_) {
    if (!browser->hasHost() || browser->monitor()->responses() != lastReplyFile_) continue;
    context_.disturb("replies repeated");
    browser->monitor()->isStrict = false;
    file->bytes += random_.oneIn(2) ? lastReply_ : otherReply_;
    if (random_.oneIn(2)) notifyOfReply(*browser->monitor());
  }
}

void World::repeatNotification() {
  Browser* const browser = browserWithHost();
  if (browser == nullptr) return;
  HostMonitor& monitor = *browser->monitor();
  if (random_.oneIn(2) || monitor.responses().empty()) return notify(monitor, "appState");
  notifyOfReply(monitor);
}

void World::notifyOfReply(HostMonitor& monitor) {
  context_.disturb("notifications of no reply");
  monitor.isStrict = false;
  notify(monitor, "exchange." + monitor.identifier());
}

/// Sends `name` to a host as the application would, unless its queue is full.
void World::notify(const HostMonitor& monitor, const std::string& name) {
  Socket* const socket = kernel_.socketOf(monitor.process->id);
  if (socket == nullptr || socket->unread.size() >= Socket::maximumUnread) return;
  context_.report.count("notifications repeated");
  socket->unread.push_back(std::string(Configuration::MainAppBundleIdentifier) +
                           ".DARWIN_NOTIFICATION." + name);
}

/// Truncates a file as if a process had died while writing.
void World::cutFile() {
  const bool isRequest = lastReplyFile_.empty() || random_.oneIn(2);
  const Node file = kernel_.files().at(isRequest ? Container::requests()
                                                 : Container::path() + "/Data/" + lastReplyFile_);
  if (!file || file->lock != nullptr || file->bytes.empty()) return;
  context_.disturb("files cut");
  malformed_.insert(file->number);
  file->bytes.resize(random_.below(file->bytes.size()));
  for (const auto& browser : browsers_)
    if (browser->hasHost()) browser->monitor()->isStrict = false;
}

void World::moveWallClock() {
  const auto by = seconds(random_.between(-100'000, 100'000));
  hasClockGoneBack_ = hasClockGoneBack_ || by.count() < 0;
  context_.report.count("clock settings");
  kernel_.moveWallClock(by);
}

void World::leap() {
  const auto by = milliseconds(random_.between(1, 10'000));
  context_.disturb("sleeps of the machine");
  for (const auto& browser : browsers_)
    if (browser->hasHost()) browser->monitor()->leapt(by);
  kernel_.advanceTo(kernel_.now() + by);
}

void World::letTimePass() {
  const auto pause = milliseconds(random_.between(1, 1 + random_.between(0, 20'000)));
  runFor(pause);
}

}  // namespace corvane::Simulation
