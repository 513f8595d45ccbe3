#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "VCommons/Logging/DDLog.h"
#include "VCommons/VCommonsKit/VCLLogger.h"
#include "VCommons/VCommonsKit/VCLog.h"
#include "simulation/Comparison.h"
#include "simulation/Runs.h"
#include "simulation/System/Substitutes.h"

namespace corvane::Simulation {
namespace {

/// Inserts the hosts' log lines between the steps.
class StepLogger final : public DDLogger {
 public:
  void log(const DDLogMessage& message) override {
    if (runningKernel != nullptr && runningKernel->trace)
      runningKernel->trace("log: " + message.message);
  }
};

/// The command that repeats the run of `plan`.
std::string commandFor(const Plan& plan) {
  std::string command = "scripts/simulate --seed " + std::to_string(plan.seed);
  if (plan.maximumActions != UINT64_MAX)
    command += " --actions " + std::to_string(plan.maximumActions);
  for (const std::string& action : plan.without) command += " --without '" + action + "'";
  return command;
}

/// Repeats a run and prints its steps: the actions only, or all system calls and the hosts' log at
/// debug level. Returns the exit status.
int runAloud(Plan plan, bool onlyActions) {
  if (!onlyActions) {
    (void)VCLLogger::singleton();  // sets the level
    ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::debug);
    asyncLoggingEnabled = false;
    DDLog::shared().addLogger(std::make_shared<StepLogger>());
  }
  plan.tell = [onlyActions](std::string_view line) {
    if (!onlyActions || line.find(" : ") != std::string_view::npos) std::cout << line << '\n';
  };
  const Outcome outcome = runHere(plan);
  std::cout << outcome.actions << " actions, digest " << outcome.digest << '\n'
            << (outcome.violation.empty() ? "no violation" : "violation: " + outcome.violation)
            << '\n';
  return outcome.violation.empty() ? 0 : 1;
}

void print(const Report& report, double seconds) {
  std::printf("%llu runs in %.1f s, %.0f a second; %.1f simulated hours, %llu calls\n",
              static_cast<unsigned long long>(report.runs), seconds,
              static_cast<double>(report.runs) / seconds,
              std::chrono::duration<double, std::ratio<3600>>(report.simulated).count(),
              static_cast<unsigned long long>(report.calls));
  for (const auto& [what, times] : report.counts)
    std::printf("%12llu %s\n", static_cast<unsigned long long>(times), what.c_str());
}

void explain(const Plan& plan) {
  const Plan fewer = shortened(plan);
  std::cout << "again: " << commandFor(fewer) << std::endl;
  const pid_t child = ::fork();  // it may crash
  if (child == 0) {
    ::alarm(60);
    runAloud(fewer, true);
    std::cout.flush();
    ::_exit(0);
  }
  ::waitpid(child, nullptr, 0);
}

int run(int count, char** arguments) {
  CLI::App app(
      "Runs hosts, browsers and the main application on virtual time, in an order that a "
      "seed decides, and checks that they keep their promises.");
  double seconds = 10;
  std::uint64_t first = std::random_device()();
  std::uint64_t runs = 0;
  std::string seeds;
  Plan plan;
  std::vector<std::string> without;
  bool onlyActions = false;
  bool goesOn = false;
  bool staysLong = false;
  app.add_option("SECONDS", seconds, "How long to try new seeds");
  auto* const seed =
      app.add_option("--seed", plan.seed, "Repeat the run of this seed and print its steps");
  app.add_option("--actions", plan.maximumActions, "With --seed: the maximum number of actions");
  app.add_option("--without", without, "With --seed: leave out actions of this name");
  app.add_flag("--brief", onlyActions, "With --seed: print the actions only");
  app.add_option("--from", first, "The first seed; random otherwise");
  app.add_option("--runs", runs, "The maximum number of runs");
  app.add_option("--seeds", seeds, "A file with seeds to run first, one a line");
  app.add_flag("--all", goesOn, "Go on after a violation, and print only the seeds");
  app.add_flag("--unshortened", staysLong, "Do not look for a shorter run with the violation");
  CLI11_PARSE(app, count, arguments);
  const auto differing = differences();
  for (const std::string& line : differing) std::cout << line << '\n';
  if (!differing.empty()) return 1;
  plan.without = {without.begin(), without.end()};
  if (seed->count() > 0) return runAloud(plan, onlyActions);

  int violations = 0;
  const auto failed = [&](const Plan& broken, const Outcome& outcome) {
    ++violations;
    std::cout << "seed " << broken.seed << ": " << outcome.violation << std::endl;
    if (!goesOn && !staysLong) explain(broken);
    return goesOn;
  };
  std::ifstream list(seeds);
  for (std::string line; std::getline(list, line);) {
    if (line.empty()) continue;
    plan.seed = std::stoull(line);
    const Outcome outcome = runApart(plan);
    if (!outcome.violation.empty()) failed(plan, outcome);
  }
  plan.seed = first;
  if (runApart(plan).digest != runApart(plan).digest) {
    std::cout << "two runs with seed " << first << " differ" << std::endl;
    return 1;
  }
  const auto start = std::chrono::steady_clock::now();
  std::cout << "seeds from " << first << " on" << std::endl;
  const Report report = runMany(first, seconds, runs, failed);
  print(report, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  return violations == 0 ? 0 : 1;
}

}  // namespace
}  // namespace corvane::Simulation

int main(int count, char** arguments) {
  try {
    return corvane::Simulation::run(count, arguments);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "corvane-simulation: %s\n", exception.what());
    return 1;
  }
}
