#include "simulation/World.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Base/TimeLimits.h"
#include "SharedComponents/Configuration.h"
#include "simulation/Container.h"
#include "simulation/System/Replaced.h"

namespace corvane::Simulation {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::array<std::uint64_t, 5> interruptions = {2, 4, 16, 64, 1000};

}  // namespace

World::World(const Plan& plan)
    : plan_(plan),
      choices_(plan.seed),
      kernel_(choices_, *this, choices_.of(interruptions)),
      situation_(kernel_, outcome_.report),
      application_(situation_) {
  runningKernel = &kernel_;
  situation_.isTroubled = [this] { return isTroubled(); };
  if (plan_.tell) kernel_.trace = [this](std::string_view line) { tell(std::string(line)); };
  kernel_.reorders = choices_.oneIn(4);
  Container::install(kernel_.files());
  const auto count = 1 + choices_.below(1 + choices_.below(8));
  for (std::uint64_t i = 1; i <= count; ++i)
    browsers_.push_back(std::make_unique<Browser>(situation_, static_cast<int>(i)));
  // Each run has a character of its own: half of what may happen does not, the rest more or less
  // often.
  for (const Action& action : actions) {
    const bool isWanted = action.mostWeight >= 20 || choices_.oneIn(2);
    const auto weight = 1 + choices_.below(action.mostWeight);
    weights_.push_back(isWanted && !plan_.without.contains(action.name) ? weight : 0);
    allWeights_ += weights_.back();
  }
}

World::~World() {
  runningKernel = nullptr;
}

Outcome World::run() {
  const Time start = kernel_.now();
  const std::uint64_t wanted = choices_.below(20 + choices_.below(300));
  if (!choices_.oneIn(4)) application_.start();
  while (outcome_.actions < std::min(wanted, plan_.mostActions) && situation_.violation.empty()) {
    if (choices_.oneIn(24)) {
      act();
      ++outcome_.actions;
    }
    if (!kernel_.step()) advance(kernel_.now() + milliseconds(choices_.between(1, 1500)));
    lookAround();
  }
  if (situation_.violation.empty()) comeToRest();
  if (situation_.violation.empty()) leave();
  if (situation_.violation.empty()) cleanUp();
  outcome_.violation = situation_.violation;
  outcome_.digest = kernel_.digest();
  outcome_.report.runs = 1;
  outcome_.report.calls = kernel_.callCount();
  outcome_.report.simulated = kernel_.now() - start;
  return outcome_;
}

/// Does one of the things that may happen, or nothing.
void World::act() {
  std::uint64_t at = choices_.below(allWeights_);
  std::size_t i = 0;
  while (at >= weights_[i]) at -= weights_[i++];
  tell(actions[i].name);
  (this->*actions[i].perform)();
}

/// Nothing can run: time passes until something can, or until `limit`.
void World::advance(Time limit) {
  if (const auto next = kernel_.nextDeadline()) limit = std::min(limit, *next);
  if (!plans_.empty()) limit = std::min(limit, plans_.begin()->first);
  kernel_.advanceTo(limit);
}

/// What is to be done and seen after each step.
void World::lookAround() {
  while (!plans_.empty() && plans_.begin()->first <= kernel_.now()) {
    const auto plan = plans_.extract(plans_.begin());
    plan.mapped()();
  }
  application_.look([this] {
    if (!situation_.isCalm()) return;
    for (const auto& browser : browsers_)
      if (browser->hasHost() && browser->life()->isListening) ++browser->life()->expected;
  });
  const Node requests = kernel_.files().at(Container::requests());
  if (requests && requests->bytes.size() > 10'240'000) situation_.lastFull = kernel_.now();
  situation_.noteTrouble();
  for (const auto& browser : browsers_) {
    browser->read();
    if (isAtRest_ || choices_.oneIn(2)) browser->write(true);
    if (browser->life()) browser->life()->check(browser->isWaiting());
  }
}

bool World::runUntil(const std::function<bool()>& isReached, nanoseconds limit) {
  const Time end = kernel_.now() + limit;
  while (situation_.violation.empty() && kernel_.now() < end) {
    if (isReached()) return true;
    if (!kernel_.step()) advance(end);
    lookAround();
  }
  return false;
}

void World::runFor(nanoseconds time) {
  runUntil([] { return false; }, time);
}

/// Ends all that disturbs.
void World::settle() {
  isAtRest_ = true;
  for (auto plan = plans_.begin(); plan != plans_.end(); plan = plans_.erase(plan)) plan->second();
  for (const auto& process : application_.processes()) process->diesAt = process->failsFrom = 0;
  for (const auto& browser : browsers_) {
    browser->setSlow(false);
    if (browser->hasHost()) browser->life()->process->diesAt = 0;
    if (browser->hasHost()) browser->life()->process->failsFrom = 0;
  }
}

/// Everything is answered, and every browser knows how things stand.
void World::comeToRest() {
  tell("everything comes to rest");
  settle();
  if (!application_.isReady()) {
    // Now and then for longer than any host waits for an announcement.
    runFor(choices_.oneIn(4) ? TimeLimits::appState + seconds(10) : seconds(3));
    if (!application_.process()) application_.start();
  }
  const auto isAnswered = [this] {
    return std::none_of(browsers_.begin(), browsers_.end(), [](const auto& browser) {
      return browser->hasMore() || browser->isWaiting();
    });
  };
  runUntil(isAnswered, std::chrono::hours(24));  // each wait has a limit of its own
  runFor(seconds(15));
  const bool isOnAtLast = choices_.oneIn(2);
  application_.command(isOnAtLast ? "protection off" : "protection on");
  runFor(seconds(1));
  application_.command(isOnAtLast ? "protection on" : "protection off");
  runFor(seconds(15));
  for (const auto& browser : browsers_) browser->checkAtRest(situation_.isCalm());
}

/// Who asks for nothing hears that the application has ended all the same.
void World::checkThatEndIsNoticed() {
  if (!situation_.isCalm()) return;
  const auto known = situation_.protection();
  quitApplications();
  runFor(seconds(10));
  if (known && !application_.process())
    for (const auto& browser : browsers_) browser->checkAtEndOfApplication();
}

/// All browsers quit, and so does the application.
void World::leave() {
  tell("everybody leaves");
  if (choices_.oneIn(2)) checkThatEndIsNoticed();
  for (const auto& browser : browsers_)
    if (browser->isOpen()) browser->close(choices_.oneIn(2));
  runFor(seconds(10));
  quitApplications();
}

/// One that was just starting takes the place of one that ends.
void World::quitApplications() {
  const auto haveEnded = [this] {
    if (application_.isReady()) application_.quit();
    return !application_.process();
  };
  if (!runUntil(haveEnded, seconds(60))) situation_.violate("the application does not end");
}

/// One more host and one more instance take away what dead ones have left.
void World::cleanUp() {
  tell("one more host cleans up");
  application_.start();
  Browser& browser = *browsers_.front();
  browser.start();
  runFor(seconds(30));
  browser.close(false);
  quitApplications();
  runFor(seconds(10));
  const std::string left = Container::leftovers(kernel_.files(), 0);
  if (!left.empty() && !hasClockGoneBack_) situation_.violate("left behind: " + left);
}

void World::tell(const std::string& line) const {
  if (!plan_.tell) return;
  const auto time = std::chrono::duration_cast<microseconds>(kernel_.now().time_since_epoch());
  const std::string who = kernel_.isRunning() ? kernel_.current().name : "";
  plan_.tell(std::to_string(time.count()) + " " + who + ": " + line);
}

HostLife* World::lifeOf(const Process& process) const {
  for (const auto& browser : browsers_)
    if (browser->life() && browser->life()->process.get() == &process) return browser->life().get();
  return nullptr;
}

bool World::isTroubled() const {
  const auto isStopped = [](const std::shared_ptr<Process>& process) { return process->isStopped; };
  return !application_.isReady() || !spoiled_.empty() || situation_.lastFull == kernel_.now() ||
         std::any_of(application_.processes().begin(), application_.processes().end(), isStopped) ||
         std::any_of(browsers_.begin(), browsers_.end(), [&](const auto& browser) {
           return browser->hasHost() && isStopped(browser->life()->process);
         });
}

void World::resumes(Process& process) {
  if (!application_.isOne(process)) return;
  for (const auto& browser : browsers_) {
    if (browser->hasHost())
      browser->life()->isListening =
          Container::observer(kernel_.files(), *browser->life()->process, "appState") != nullptr;
  }
}

void World::opens(Process& process, const std::string& name) {
  if (HostLife* const life = lifeOf(process)) life->opens(name);
}

void World::reads(Process& process, const Inode& file) {
  if (HostLife* const life = lifeOf(process)) life->reads(file);
}

void World::writes(Process& process, const Inode& file, std::string_view bytes, bool isCut) {
  HostLife* const life = lifeOf(process);
  if (isCut) {
    spoiled_.insert(file.number);
    situation_.disturb("records cut by a death");
  }
  // A host only ever adds to the requests.
  if (life != nullptr && Container::isExchangeFile(file) && file.name != life->responses())
    life->appended(bytes);
}

void World::cuts(Process& process, const Inode& file, std::size_t size) {
  if (HostLife* const life = lifeOf(process)) life->cuts(file, size);
}

void World::unlocks(Process& process, const Inode& file) {
  if (!Container::isExchangeFile(file)) return;
  if (application_.isOne(process)) application_.noteState();
  if (Container::isWellFormed(file.bytes)) {
    spoiled_.erase(file.number);
    if (application_.isOne(process) && !file.bytes.empty() &&
        file.name.starts_with("ExchangeResponse")) {
      if (file.name != lastReplyFile_) otherReply_ = std::move(lastReply_);
      lastReply_ = file.bytes;
      lastReplyFile_ = file.name;
    }
  } else if (process.wasKilled) {
    spoiled_.insert(file.number);
    situation_.disturb("files spoiled by a death");
  } else if (!spoiled_.contains(file.number)) {
    situation_.violate(process.name + " leaves " + file.name + " spoiled");
  }
}

void World::sends(Process& /*process*/, const Socket& /*to*/, std::string_view /*text*/) {
  outcome_.report.count("notifications");
}

void World::refuses(Process& /*process*/) {
  outcome_.report.count("notifications refused by a full queue");
}

void World::receives(Process& process, std::string_view text) {
  if (HostLife* const life = lifeOf(process)) life->receives(text);
}

void World::launches(Process& process, std::shared_ptr<OpenFile> report) {
  if (HostLife* const life = lifeOf(process)) life->progresses();
  const Time at = kernel_.now() + milliseconds(choices_.between(0, 50));
  const bool isRefused = choices_.oneIn(8);
  plans_.emplace(at, [this, isRefused, report = std::move(report)]() mutable {
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
  situation_.disturb("failed calls");
  tell("the call fails: " + std::string(call));
  if (HostLife* const life = lifeOf(process)) life->hasFailed = true;
}

void World::ends(Process& process) {
  HostLife* const life = lifeOf(process);
  if (life == nullptr) {
    for (const auto& browser : browsers_)
      if (browser->hasHost()) ++browser->life()->applicationEnds;
    return application_.ended(process);
  }
  if (process.wasKilled) outcome_.report.count("deaths of hosts");
  if (!process.stopReason.empty()) outcome_.report.count("hard stops");
  const bool isClean = process.wasKilled || !process.stopReason.empty() || life->hasFailed;
  const std::string left = Container::leftovers(kernel_.files(), process.id);
  if (!isClean && !left.empty()) situation_.violate(process.name + " leaves behind: " + left);
  for (const auto& browser : browsers_)
    if (browser->life().get() == life) browser->hostEnded();
}

}  // namespace corvane::Simulation
