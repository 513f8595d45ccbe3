#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Container/GroupContainerLocation.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/MainAppCheck/Bench.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/StartedApplication.h"
#include "tools/corvane-nmctl/Waking.h"
#include "tools/corvane-nmctl/Ways.h"

namespace corvane::Nmctl::Commands {
namespace {

using MainAppCheck::Bench;
using MainAppCheck::Point;
using MainAppCheck::Points;
using MainAppCheck::StartedApplication;
using MainAppCheck::Verdict;
using Kind = Verdict::Kind;

constexpr const char* outcomeNames[] = {"holds", "broken", "not shown"};

struct CheckOptions {
  std::vector<std::string> only;
  bool lists = false;
  bool mayChange = false;
  std::string start;  ///< the command line of the application; empty: it runs already
};

/// `outcome`: "" if the point was not tried.
JsonObject jsonOf(const Point& point, const char* outcome, const std::string& seen) {
  return {{"name", point.name},
          {"contract", point.promise},
          {"changes", point.needs == Point::Needs::changes},
          {"outcome", orNull(outcome)},
          {"seen", orNull(seen)}};
}

/// Says how the points came out, each as soon as it has.
class Report {
 public:
  explicit Report(Output& output) : output_(output) {}

  void tell(const Point& point, const Verdict& verdict) {
    const auto index = static_cast<std::size_t>(verdict.kind);
    ++counts_[index];
    if (output_.isJson()) {
      list_.push_back(jsonOf(point, outcomeNames[index], verdict.seen));
      return;
    }
    constexpr Output::Mark marks[] = {Output::Mark::good, Output::Mark::bad, Output::Mark::note};
    const std::string seen = verdict.seen.empty() ? "" : ": " + printable(verdict.seen);
    output_.marked(marks[index],
                   point.name + (verdict.kind == Kind::notShown ? ": not shown" : "") + seen);
    if (verdict.kind == Kind::broken) output_.line("    the contract: " + point.promise);
    output_.flush();
  }

  /// The result for programs; people get the counts.
  JsonObject end() {
    if (!output_.isJson())
      output_.line("points that hold: " + std::to_string(count(Kind::holds)) +
                   ", broken: " + std::to_string(count(Kind::broken)) +
                   ", not shown: " + std::to_string(count(Kind::notShown)));
    return {{"points", std::move(list_)}};
  }

  [[nodiscard]] bool isKept() const { return count(Kind::broken) == 0; }

 private:
  [[nodiscard]] int count(Kind kind) const { return counts_[static_cast<std::size_t>(kind)]; }

  Output& output_;
  int counts_[3] = {};
  boost::json::array list_;
};

void list(Context& context, const Points& points) {
  Output& output = context.output;
  boost::json::array all;
  for (const Point& point : points) {
    const bool isChange = point.needs == Point::Needs::changes;
    if (output.isJson())
      all.push_back(jsonOf(point, "", ""));
    else
      output.line(point.name + (isChange ? " (--changes)" : "") + "\n    " + point.promise);
  }
  context.result = JsonObject{{"points", all}};
}

/// Starts the application again if it has ended. If that fails, it is not tried again, and the
/// points that follow say so.
void keepRunning(StartedApplication*& started, Bench& bench) {
  if (started == nullptr || bench.isRunning()) return;
  const auto instance = started->start(bench.container());
  if (instance)
    bench.attach(instance.value());
  else
    started = nullptr;
}

/// Examines all of them, on an application that is `started` if it is not null. False if the user
/// interrupted it.
bool examineAll(const Points& points, Bench& bench, const std::string& whyNoChanges,
                StartedApplication* started, Report& report) {
  for (const Point& point : points) {
    keepRunning(started, bench);
    const Verdict verdict = MainAppCheck::examine(point, bench, whyNoChanges);
    if (Waking::isInterrupted()) return false;
    report.tell(point, verdict);
  }
  return true;
}

/// Examines the points on the application that runs in the container.
void examineRunning(Context& context, const Points& points, const CheckOptions& options,
                    int wakings, StartedApplication* started) {
  const Container container = findContainer();
  if (container.fault) return fail(context, *container.fault);
  for (const Way way : {Way::applications, Way::notifications, Way::data})
    if (const auto fault = faultOf(way, container.path)) return fail(context, *fault);
  const auto registry = registryIn(container.path);
  if (registry.running.empty())
    return fail(context, Code("application-not-running"),
                "the main application does not run, start it first: " + registry.faults.front());
  auto bench = Bench::make(container.path, registry.running.front(), wakings);
  if (!bench) return fail(context, Code("check-impossible"), bench.failure().text);
  Report report(context.output);
  const bool isWhole =
      examineAll(points, bench.value(), options.mayChange ? "" : "it takes --changes to try it",
                 started, report);
  const auto left = bench->leave();
  if (!isWhole) fail(context, Code("interrupted"), "interrupted");
  if (isWhole) context.result = report.end();
  for (const std::string& one : left) fail(context, Code("state-not-restored"), one);
  if (!report.isKept()) context.status = 1;
}

/// The same on one that is started by `options.start`, and again whenever it has ended.
void examineStarted(Context& context, const Points& points, const CheckOptions& options,
                    int wakings) {
  const auto location = Platform::GroupContainers::locationOf(Configuration::AppGroupIdentifier);
  if (!location) return fail(context, Code("user-without-home"), location.failure().text);
  if (!registryIn(location.value()).running.empty())
    return fail(context, Code("application-runs-already"),
                "an application runs already; end it, or leave out --start");
  StartedApplication started(options.start);
  if (const auto instance = started.start(location.value()); !instance)
    return fail(context, Code("application-not-started"),
                "the application that --start names: " + instance.failure().text);
  examineRunning(context, points, options, wakings, &started);
}

void run(Context& context, Points points, const CheckOptions& options) {
  if (!options.only.empty())
    std::erase_if(points, [&options](const Point& point) {
      return std::find(options.only.begin(), options.only.end(), point.name) == options.only.end();
    });
  if (options.lists) return list(context, points);
  Platform::ignoreSignalsOfWrites();
  const auto wakings = Waking::begin();
  if (!wakings) return fail(context, Code("system-refuses"), wakings.failure().text);
  if (options.start.empty())
    examineRunning(context, points, options, wakings.value(), nullptr);
  else
    examineStarted(context, points, options, wakings.value());
}

}  // namespace

void addCheckMainApp(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "check-main-app",
      "Play hosts to the main application that runs, and say which points of the contract hold");
  const auto options = std::make_shared<CheckOptions>();
  const auto points = std::make_shared<const Points>(MainAppCheck::allPoints());
  command.add_option("--only", options->only, "only the point of this name; may be repeated")
      ->check([points](const std::string& name) {
        const bool isKnown = std::any_of(points->begin(), points->end(),
                                         [&name](const Point& one) { return one.name == name; });
        return isKnown ? std::string() : "no point is called " + name;
      });
  command.add_flag("--list", options->lists, "only show the points, with what the contract says");
  command.add_flag("--changes", options->mayChange,
                   "also what changes the user's state for a moment, opens windows, reports a site "
                   "and looks for an update");
  command.add_option(
      "--start", options->start,
      "start the main application by this command line, and again whenever it has ended");
  command.callback([&context, options, points] { run(context, *points, *options); });
}

}  // namespace corvane::Nmctl::Commands
