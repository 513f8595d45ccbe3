#include "simulation/World.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include "Base/TimeLimits.h"
#include "simulation/Container.h"
#include "simulation/System/Substitutes.h"

namespace corvane::Simulation {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::array<std::uint64_t, 5> interruptions = {2, 4, 16, 64, 1000};

}  // namespace

World::World(const Plan& plan)
    : plan_(plan),
      random_(plan.seed),
      kernel_(random_, *this, random_.of(interruptions)),
      context_(kernel_, outcome_.report),
      application_(context_) {
  runningKernel = &kernel_;
  context_.isTroubled = [this] { return isTroubled(); };
  if (plan_.tell) kernel_.trace = [this](std::string_view line) { tell(std::string(line)); };
  kernel_.reorders = random_.oneIn(4);
  Container::install(kernel_.files());
  const auto count = 1 + random_.below(1 + random_.below(8));
  for (std::uint64_t i = 1; i <= count; ++i)
    browsers_.push_back(std::make_unique<Browser>(context_, static_cast<int>(i)));
  // Each run uses about half of the actions, each with a rate of its own.
  for (const Action& action : actions) {
    const bool isWanted = action.maximumWeight >= 20 || random_.oneIn(2);
    const auto weight = 1 + random_.below(action.maximumWeight);
    weights_.push_back(isWanted && !plan_.without.contains(action.name) ? weight : 0);
    allWeights_ += weights_.back();
  }
}

World::~World() {
  runningKernel = nullptr;
}

Outcome World::run() {
  const Time start = kernel_.now();
  const std::uint64_t wanted = random_.below(20 + random_.below(300));
  if (!random_.oneIn(4)) application_.start();
  while (outcome_.actions < std::min(wanted, plan_.maximumActions) && context_.violation.empty()) {
    if (random_.oneIn(24)) {
      act();
      ++outcome_.actions;
    }
    if (!kernel_.step()) advance(kernel_.now() + milliseconds(random_.between(1, 1500)));
    afterStep();
  }
  if (context_.violation.empty()) quiesce();
  if (context_.violation.empty()) leave();
  if (context_.violation.empty()) cleanUp();
  outcome_.violation = context_.violation;
  outcome_.digest = kernel_.digest();
  outcome_.report.runs = 1;
  outcome_.report.calls = kernel_.callCount();
  outcome_.report.simulated = kernel_.now() - start;
  return outcome_;
}

/// Performs a random action.
void World::act() {
  if (allWeights_ == 0) return;
  std::uint64_t at = random_.below(allWeights_);
  std::size_t i = 0;
  while (at >= weights_[i]) at -= weights_[i++];
  tell(actions[i].name);
  outcome_.report.count(std::string("action: ") + actions[i].name);
  (this->*actions[i].perform)();
}

/// Advances the clock to the next event, but not beyond `limit`. Called when no thread can run.
void World::advance(Time limit) {
  if (const auto next = kernel_.nextDeadline()) limit = std::min(limit, *next);
  if (!scheduled_.empty()) limit = std::min(limit, scheduled_.begin()->first);
  kernel_.advanceTo(limit);
}

/// Must be called after each step: runs due events, lets browsers read and write, and checks
/// limits.
void World::afterStep() {
  while (!scheduled_.empty() && scheduled_.begin()->first <= kernel_.now()) {
    const auto plan = scheduled_.extract(scheduled_.begin());
    plan.mapped()();
  }
  application_.look([this] {
    if (!context_.isCalm()) return;
    for (const auto& browser : browsers_)
      if (browser->hasHost() && browser->monitor()->isListening) ++browser->monitor()->expected;
  });
  const Node requests = kernel_.files().at(Container::requests());
  if (requests && requests->bytes.size() > Container::fullFile) context_.lastFull = kernel_.now();
  context_.recordTrouble();
  for (const auto& browser : browsers_) {
    browser->read();
    if (isQuiescing_ || random_.oneIn(2)) browser->write(true);
    if (browser->monitor()) browser->monitor()->check(browser->isWaiting());
  }
}

bool World::runUntil(const std::function<bool()>& isReached, nanoseconds limit) {
  const Time end = kernel_.now() + limit;
  while (context_.violation.empty() && kernel_.now() < end) {
    if (isReached()) return true;
    if (!kernel_.step()) advance(end);
    afterStep();
  }
  return false;
}

void World::runFor(nanoseconds time) {
  runUntil([] { return false; }, time);
}

/// Resumes stopped processes and cancels planned faults.
void World::stopDisturbing() {
  isQuiescing_ = true;
  for (auto plan = scheduled_.begin(); plan != scheduled_.end(); plan = scheduled_.erase(plan))
    plan->second();
  for (const auto& process : application_.processes()) process->diesAt = process->failsFrom = 0;
  for (const auto& browser : browsers_) {
    browser->setSlow(false);
    if (browser->hasHost()) browser->monitor()->process->diesAt = 0;
    if (browser->hasHost()) browser->monitor()->process->failsFrom = 0;
  }
}

/// Waits until all requests are answered and all browsers know the state, and checks both.
void World::quiesce() {
  tell("quiesce");
  stopDisturbing();
  if (!application_.isReady()) {
    // Sometimes for longer than a host waits for an announcement.
    runFor(random_.oneIn(4) ? TimeLimits::appState + seconds(10) : seconds(3));
    if (!application_.process()) application_.start();
  }
  const auto isAnswered = [this] {
    return std::none_of(browsers_.begin(), browsers_.end(), [](const auto& browser) {
      return browser->hasMore() || browser->isWaiting();
    });
  };
  runUntil(isAnswered, std::chrono::hours(24));  // each wait has a limit of its own
  runFor(seconds(15));
  const bool isOnAtLast = random_.oneIn(2);
  application_.command(isOnAtLast ? "protection off" : "protection on");
  runFor(seconds(1));
  application_.command(isOnAtLast ? "protection on" : "protection off");
  runFor(seconds(15));
  for (const auto& browser : browsers_) browser->checkQuiescent(context_.isCalm());
  checkThatNothingSpins();
}

/// Checks that a host with nothing to do makes hardly any system calls.
void World::checkThatNothingSpins() {
  constexpr std::uint64_t maximumCallsAtRest = 100;
  std::map<Browser*, std::uint64_t> before;
  for (const auto& browser : browsers_)
    if (browser->hasHost()) before[browser.get()] = browser->monitor()->process->calls;
  runFor(seconds(30));
  for (const auto& [browser, calls] : before)
    if (browser->hasHost() && browser->monitor()->process->calls > calls + maximumCallsAtRest)
      context_.violate(browser->monitor()->process->name + " spins");
}

/// Quits the application, and checks that browsers learn it although they send nothing.
void World::checkThatEndIsNoticed() {
  if (!context_.isCalm()) return;
  const auto known = context_.protection();
  const Time quit = kernel_.now();
  quitApplications();
  runFor(seconds(10));
  if (known && !application_.process())
    for (const auto& browser : browsers_) browser->checkAtEndOfApplication(quit);
}

/// Closes all browsers and quits the application.
void World::leave() {
  tell("shut down");
  if (random_.oneIn(2)) checkThatEndIsNoticed();
  for (const auto& browser : browsers_)
    if (browser->isOpen()) browser->close(random_.oneIn(2));
  runFor(seconds(10));
  quitApplications();
}

/// Repeatedly, because a second process may take over when the instance ends.
void World::quitApplications() {
  const auto haveEnded = [this] {
    if (application_.isReady()) application_.quit();
    return !application_.process();
  };
  if (!runUntil(haveEnded, seconds(60))) context_.violate("the application does not end");
}

/// Starts one more host and application, and checks that they remove what killed ones have left.
void World::cleanUp() {
  tell("clean up");
  application_.start();
  Browser& browser = *browsers_.front();
  browser.start();
  runFor(seconds(30));
  browser.close(false);
  quitApplications();
  runFor(seconds(10));
  const std::string left = Container::leftovers(kernel_.files(), 0);
  if (!left.empty() && !hasClockGoneBack_) context_.violate("left behind: " + left);
}

void World::tell(const std::string& line) const {
  if (!plan_.tell) return;
  const auto time = std::chrono::duration_cast<microseconds>(kernel_.now().time_since_epoch());
  const std::string who = kernel_.isRunning() ? kernel_.current().name : "";
  plan_.tell(std::to_string(time.count()) + " " + who + ": " + line);
}

HostMonitor* World::monitorOf(const Process& process) const {
  for (const auto& browser : browsers_)
    if (browser->monitor() && browser->monitor()->process.get() == &process)
      return browser->monitor().get();
  return nullptr;
}

bool World::isTroubled() const {
  const auto isStopped = [](const std::shared_ptr<Process>& process) { return process->isStopped; };
  return !application_.isReady() || !malformed_.empty() || context_.lastFull == kernel_.now() ||
         std::any_of(application_.processes().begin(), application_.processes().end(), isStopped) ||
         std::any_of(browsers_.begin(), browsers_.end(), [&](const auto& browser) {
           return browser->hasHost() && isStopped(browser->monitor()->process);
         });
}

void World::resumes(Process& process) {
  if (!application_.isOne(process)) return;
  for (const auto& browser : browsers_) {
    if (browser->hasHost())
      browser->monitor()->isListening =
          Container::observer(kernel_.files(), *browser->monitor()->process, "appState") != nullptr;
  }
}

void World::opens(Process& process, const std::string& name) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->opens(name);
}

void World::blocks(Process& process, std::string_view call) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->blocks(call);
}

void World::reads(Process& process, const Inode& file) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->reads(file);
}

void World::writes(Process& process, const Inode& file, std::string_view bytes, bool isCut) {
  HostMonitor* const monitor = monitorOf(process);
  if (isCut) {
    malformed_.insert(file.number);
    context_.disturb("records cut by the death of a process");
  }
  // A host only appends to the request file.
  if (monitor != nullptr && Container::isExchangeFile(file) && file.name != monitor->responses())
    monitor->appended(bytes);
}

void World::cuts(Process& process, const Inode& file, std::size_t size) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->cuts(file, size);
}

void World::unlocks(Process& process, const Inode& file) {
  if (!Container::isExchangeFile(file)) return;
  if (application_.isOne(process)) application_.noteState();
  if (Container::isWellFormed(file.bytes)) {
    malformed_.erase(file.number);
    if (application_.isOne(process) && !file.bytes.empty() &&
        file.name.starts_with("ExchangeResponse")) {
      if (file.name != lastReplyFile_) otherReply_ = std::move(lastReply_);
      lastReply_ = file.bytes;
      lastReplyFile_ = file.name;
    }
  } else if (process.wasKilled) {
    malformed_.insert(file.number);
    context_.disturb("files left malformed by the death of a process");
  } else if (!malformed_.contains(file.number)) {
    context_.violate(process.name + " leaves " + file.name + " malformed");
  }
}

void World::sends() {
  outcome_.report.count("notifications");
}

void World::refuses(Process& /*process*/) {
  outcome_.report.count("notifications refused by a full queue");
}

void World::receives(Process& process, std::string_view text) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->receives(text);
}

void World::launches(Process& process, std::shared_ptr<OpenFile> report) {
  if (HostMonitor* const monitor = monitorOf(process)) monitor->progresses();
  const Time at = kernel_.now() + milliseconds(random_.between(0, 50));
  const bool isRefused = random_.oneIn(8);
  scheduled_.emplace(at, [this, isRefused, report = std::move(report)]() mutable {
    if (isRefused) {
      const int error = ENOEXEC;
      report->pipe->bytes.append(reinterpret_cast<const char*>(&error), sizeof error);
    } else {
      application_.start();
    }
    report.reset();
  });
}

void World::fails(Process& process, std::string_view call) {
  context_.disturb("failed calls");
  tell("the call fails: " + std::string(call));
  if (HostMonitor* const monitor = monitorOf(process)) monitor->hasFailed = true;
}

void World::ends(Process& process) {
  HostMonitor* const monitor = monitorOf(process);
  if (monitor == nullptr) {
    for (const auto& browser : browsers_)
      if (browser->hasHost()) ++browser->monitor()->applicationEnds;
    return application_.ended(process);
  }
  if (process.wasKilled) outcome_.report.count("deaths of hosts");
  if (!process.stopReason.empty()) outcome_.report.count("hard stops");
  const bool isClean = process.wasKilled || !process.stopReason.empty() || monitor->hasFailed;
  const std::string left = Container::leftovers(kernel_.files(), process.id);
  if (!isClean && !left.empty()) context_.violate(process.name + " leaves behind: " + left);
  for (const auto& browser : browsers_)
    if (browser->monitor().get() == monitor) browser->hostEnded();
}

}  // namespace corvane::Simulation
