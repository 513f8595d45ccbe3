#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/Browser.h"
#include "simulation/Report.h"
#include "simulation/RunContext.h"
#include "simulation/SimulatedApplication.h"
#include "simulation/System/Calls.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// The options of one run.
struct Plan {
  std::uint64_t seed = 0;
  std::uint64_t maximumActions = UINT64_MAX;   // afterwards the run quiesces
  std::set<std::string> without;               // names of actions that are not used
  std::function<void(std::string_view)> tell;  // receives each step as a line, if set
};

struct Outcome {
  Report report;
  std::string violation;  // empty if there was none
  std::uint64_t actions = 0;
  std::uint64_t digest = 0;  // of all system calls
};

/// One run: browsers, their hosts, the main application and a container, from the first start until
/// all processes have ended.
class World final : Watcher {
 public:
  explicit World(const Plan& plan);
  ~World() override;
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  Outcome run();

  /// The names of all actions.
  static std::vector<std::string> actionNames();

 private:
  /// An event that does not come from the simulated processes.
  struct Action {
    const char* name;
    void (World::*perform)();
    std::uint64_t maximumWeight;
  };
  static const std::vector<Action> actions;

  void act();
  void advance(Time limit);
  void runFor(std::chrono::nanoseconds time);
  bool runUntil(const std::function<bool()>& isReached, std::chrono::nanoseconds limit);
  void afterStep();
  void stopDisturbing();
  void quiesce();
  void leave();
  void checkThatNothingSpins();
  void checkThatEndIsNoticed();
  void quitApplications();
  void cleanUp();

  void startHost();
  void ask();
  void askAll();
  void writePart();
  void closeInput();
  void closeBrowser();
  void killHost();
  void killHostLater();
  void failHost();
  void startHostThatFails();
  void stopHost();
  void slowDown();
  void startApplication();
  void quitApplication();
  void killApplication();
  void killApplicationLater();
  void failApplication();
  void startApplicationThatFails();
  void stopApplication();
  void changeState();
  void announceAgain();
  void announceOften();
  void changeLogLevel();
  void fillRequests();
  void repeatReply();
  void repeatNotification();
  void cutFile();
  void moveWallClock();
  void leap();
  void letTimePass();

  Browser* browserWithHost();
  [[nodiscard]] bool isAnythingDue() const;
  void failLater(Process& process);
  void notifyOfReply(HostMonitor& monitor);
  void notify(const HostMonitor& monitor, const std::string& name);
  void stop(Process& process);
  void tell(const std::string& line) const;
  [[nodiscard]] HostMonitor* monitorOf(const Process& process) const;
  [[nodiscard]] bool isTroubled() const;

  void resumes(Process& process) override;
  void opens(Process& process, const std::string& name) override;
  void blocks(Process& process, std::string_view call) override;
  void reads(Process& process, const Inode& file) override;
  void writes(Process& process, const Inode& file, std::string_view bytes, bool isCut) override;
  void cuts(Process& process, const Inode& file, std::size_t size) override;
  void unlocks(Process& process, const Inode& file) override;
  void sends() override;
  void refuses(Process& process) override;
  void receives(Process& process, std::string_view text) override;
  void launches(Process& process, std::shared_ptr<OpenFile> report) override;
  void fails(Process& process, std::string_view call) override;
  void ends(Process& process) override;

  const Plan plan_;
  Generator random_;
  Outcome outcome_;
  Kernel kernel_;
  RunContext context_;
  Calls calls_{kernel_};
  LinuxOnlyCalls linuxCalls_{kernel_};
  const Platform::SystemCalls::Replacement callsInUse_{calls_};
  const Platform::LinuxCalls::Replacement linuxCallsInUse_{linuxCalls_};
  SimulatedApplication application_;
  std::vector<std::unique_ptr<Browser>> browsers_;
  std::multimap<Time, std::function<void()>> scheduled_;  // events, by their time
  std::vector<std::uint64_t> weights_;                    // of the actions
  std::uint64_t allWeights_ = 0;
  std::set<ino_t> malformed_;  // exchange files with an incomplete record
  std::string lastReply_;      // the bytes of a reply, and the name of its file
  std::string lastReplyFile_;
  std::string otherReply_;  // one from another file
  bool hasClockGoneBack_ = false;
  bool isQuiescing_ = false;  // no more actions
};

}  // namespace corvane::Simulation
