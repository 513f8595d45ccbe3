#include "simulation/Runs.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "VCommons/VCommonsKit/VCLLogger.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane::Simulation {
namespace {

using Clock = std::chrono::steady_clock;

/// In seconds. A process whose run takes longer is killed; most runs take milliseconds.
constexpr unsigned longestRun = 60;

/// The number of runs in one child process. Simulated processes leak memory, which ends with it.
constexpr std::uint64_t runsOfAProcess = 25;

/// The output of a child process for one run, after the line with its seed.
std::string textOf(const Outcome& outcome) {
  std::ostringstream text;
  text << "actions " << outcome.actions << "\ndigest " << outcome.digest << "\ncalls "
       << outcome.report.calls << "\nnanoseconds " << outcome.report.simulated.count() << '\n';
  for (const auto& [what, times] : outcome.report.counts)
    text << "count " << times << ' ' << what << '\n';
  std::string violation = outcome.violation;
  std::replace(violation.begin(), violation.end(), '\n', ' ');
  text << "end " << violation << '\n';
  return text.str();
}

/// Parses the output of a child process. Its last run may be incomplete.
std::vector<std::pair<std::uint64_t, Outcome>> outcomesOf(const std::string& text) {
  std::vector<std::pair<std::uint64_t, Outcome>> outcomes;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "seed") {
      outcomes.emplace_back();
      outcomes.back().second.violation =
          "the process that made the run has crashed, or the run did not end";
      outcomes.back().second.report.runs = 1;
      words >> outcomes.back().first;
      continue;
    }
    Outcome& outcome = outcomes.back().second;
    std::uint64_t number = 0;
    if (word != "end") words >> number;
    std::string rest;
    std::getline(words >> std::ws, rest);
    if (word == "actions") outcome.actions = number;
    if (word == "digest") outcome.digest = number;
    if (word == "calls") outcome.report.calls = number;
    if (word == "nanoseconds")
      outcome.report.simulated = std::chrono::nanoseconds(static_cast<std::int64_t>(number));
    if (word == "count") outcome.report.counts[rest] = number;
    if (word == "end") outcome.violation = rest;
  }
  return outcomes;
}

void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count <= 0) ::_exit(1);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// A child process that makes runs.
class Worker {
 public:
  Worker(const Plan& plan, std::uint64_t count) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
      ::close(ends[0]);
      work(plan, count, ends[1]);
    }
    ::close(ends[1]);
    output_ = ends[0];
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() {
    ::close(output_);
    ::waitpid(process_, nullptr, 0);
  }

  [[nodiscard]] int output() const { return output_; }

  /// Reads some of its output; false at the end.
  bool read() {
    char bytes[65536];
    const ssize_t count = ::read(output_, bytes, sizeof bytes);
    if (count > 0) text_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  [[noreturn]] static void work(Plan plan, std::uint64_t count, int output) {
    for (; count > 0; --count, ++plan.seed) {
      ::alarm(longestRun);
      writeAll(output, "seed " + std::to_string(plan.seed) + "\n");
      writeAll(output, textOf(runHere(plan)));
    }
    ::_exit(0);
  }

  pid_t process_ = -1;
  int output_ = -1;
  std::string text_;
};

}  // namespace

Outcome runHere(const Plan& plan) {
  (void)VCLLogger::singleton();  // makes system calls when it is made
  if (!plan.tell) {
    ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::off);
    std::cerr.setstate(std::ios::failbit);  // the application's messages
  }
  World world(plan);
  return world.run();
}

Outcome runApart(const Plan& plan) {
  Worker worker(plan, 1);
  while (worker.read()) continue;
  return outcomesOf(worker.text()).at(0).second;
}

Report runMany(std::uint64_t first, double seconds, std::uint64_t maximumRuns,
               const std::function<bool(const Plan&, const Outcome&)>& failed) {
  Report report;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  std::vector<std::unique_ptr<Worker>> workers;
  bool goesOn = true;
  std::uint64_t begun = 0;
  Plan plan;
  for (;;) {
    while (goesOn && workers.size() < std::max(1U, std::thread::hardware_concurrency()) &&
           Clock::now() < end && (maximumRuns == 0 || begun < maximumRuns)) {
      plan.seed = first + begun;
      const std::uint64_t left = maximumRuns == 0 ? runsOfAProcess : maximumRuns - begun;
      workers.push_back(std::make_unique<Worker>(plan, std::min(left, runsOfAProcess)));
      begun += std::min(left, runsOfAProcess);
    }
    if (workers.empty()) return report;
    std::vector<pollfd> outputs;
    outputs.reserve(workers.size());
    for (const auto& worker : workers) outputs.push_back({worker->output(), POLLIN, 0});
    ::poll(outputs.data(), outputs.size(), -1);
    for (std::size_t i = workers.size(); i-- > 0;) {
      if (outputs[i].revents == 0 || workers[i]->read()) continue;
      for (const auto& [seed, outcome] : outcomesOf(workers[i]->text())) {
        report.add(outcome.report);
        plan.seed = seed;
        if (!outcome.violation.empty()) goesOn = failed(plan, outcome) && goesOn;
      }
      workers.erase(workers.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

Plan shortened(Plan plan) {
  Outcome outcome = runApart(plan);
  const auto fails = [](const Plan& tried) { return !runApart(tried).violation.empty(); };
  const auto fewestActions = [&] {
    std::uint64_t least = 0;
    std::uint64_t most = std::min(plan.maximumActions, outcome.actions);
    while (least < most) {
      Plan tried = plan;
      tried.maximumActions = least + (most - least) / 2;
      if (fails(tried)) {
        most = tried.maximumActions;
      } else {
        least = tried.maximumActions + 1;
      }
    }
    Plan tried = plan;
    tried.maximumActions = most;
    if (fails(tried)) plan = tried;
  };
  fewestActions();
  for (const std::string& action : World::actionNames()) {
    Plan tried = plan;
    tried.without.insert(action);
    if (fails(tried)) plan = tried;
  }
  outcome = runApart(plan);
  fewestActions();
  return plan;
}

}  // namespace corvane::Simulation
