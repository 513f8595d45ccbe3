#include <poll.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cerrno>
#include <chrono>
#include <memory>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/LocalTime.h"
#include "tools/corvane-nmctl/LogStream.h"
#include "tools/corvane-nmctl/LogWatch.h"
#include "tools/corvane-nmctl/Waking.h"

namespace corvane::Nmctl::Commands {
namespace {

struct LogOptions {
  bool follows = false;
  std::string level = "verbose";
  std::string since;
};

/// Which records are shown.
struct Filter {
  DDLogFlag level = DDLogFlag::verbose;
  VCSDate::Date since = VCSDate::distantPast;

  [[nodiscard]] bool passes(const LogRecord& record) const {
    return record.level <= level && record.time >= since;
  }
};

constexpr DDLogFlag levels[] = {DDLogFlag::error, DDLogFlag::warning, DDLogFlag::info,
                                DDLogFlag::debug, DDLogFlag::verbose};

std::optional<VCSDate::Date> sinceOf(std::string_view text) {
  const auto now = std::chrono::system_clock::now();
  return LocalTime::since(text, std::chrono::floor<std::chrono::milliseconds>(now));
}

Output::Tone toneOf(DDLogFlag level) {
  if (level == DDLogFlag::error) return Output::Tone::bad;
  if (level == DDLogFlag::warning) return Output::Tone::doubtful;
  return level == DDLogFlag::info ? Output::Tone::plain : Output::Tone::faint;
}

/// The record as people read it; further lines are indented.
std::string textOf(const LogRecord& record) {
  constexpr std::size_t levelWidth = 9;
  std::string text;
  if (!record.isContinued) {
    std::string level(nameOf(record.level));
    level.resize(levelWidth, ' ');
    text = std::string(record.stamp()) + "  " + level;
  }
  std::string_view rest = record.message();
  for (bool isFirst = !record.isContinued;; isFirst = false) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    text += (isFirst ? "" : "    ") + printable(rest.substr(0, end));
    if (end == rest.size()) return text;
    rest.remove_prefix(end + 1);
    text += '\n';
  }
}

/// Returns how many were shown.
std::size_t print(Output& output, const Filter& filter, const std::vector<LogRecord>& records) {
  std::size_t count = 0;
  for (const LogRecord& record : records) {
    if (!filter.passes(record)) continue;
    ++count;
    if (!output.isJson()) {
      output.line(toneOf(record.level), textOf(record));
      continue;
    }
    output.json({{"time", VCSDate::iso8601String(record.time)},
                 {"level", JsonValue(nameOf(record.level))},
                 {"message", JsonValue(record.message())},
                 {"file", record.file},
                 {"isContinued", record.isContinued}});
  }
  return count;
}

/// Waits for the next change. False when nobody wants to know of it any more.
bool awaitChange(int wakings, int output) {
  pollfd sources[] = {{wakings, POLLIN, 0}, {output, 0, 0}};  // no event: only the reader's end
  while (::poll(sources, 2, -1) < 0 && errno == EINTR) continue;
  Waking::settle();
  return !Waking::isInterrupted() && (sources[1].revents & POLLERR) == 0;
}

Result<Done> follow(Output& output, const Filter& filter, LogStream& stream,
                    const Container& container) {
  const auto wakings = Waking::begin();
  if (!wakings) return wakings.failure();
  Platform::ignoreSignalsOfWrites();
  LogWatch watch(container.path, logFolderIn(container.path));
  for (;;) {
    const std::vector<std::string> watched = stream.paths();
    if (auto updated = watch.update(watched); !updated) return updated;
    print(output, filter, stream.takeNew());
    if (stream.paths() != watched) continue;
    if (!output.flush() || !awaitChange(wakings.value(), output.descriptor())) return Done{};
  }
}

void run(Context& context, const LogOptions& options) {
  Filter filter;
  for (const DDLogFlag level : levels)
    if (options.level == nameOf(level)) filter.level = level;
  if (!options.since.empty()) filter.since = *sinceOf(options.since);
  context.isStream = true;
  const Container container = findContainer();
  if (container.fault) return fail(context, *container.fault);
  LogStream stream(logFolderIn(container.path));
  if (options.follows) {
    if (const auto followed = follow(context.output, filter, stream, container); !followed)
      fail(context, Code("logs-not-followed"),
           "the logs can't be followed: " + followed.failure().text);
    return;
  }
  std::size_t count = print(context.output, filter, stream.takeNew());
  count += print(context.output, filter, stream.takeRest());
  if (count > 0) return;
  const std::string folder = printable(logFolderIn(container.path));
  Output::complain((stream.paths().empty() ? "there are no logs in " : "no such messages in ") +
                   folder);
}

}  // namespace

void addLog(CLI::App& app, Context& context) {
  CLI::App& command =
      *app.add_subcommand("log", "Show what all hosts of this user wrote to their logs");
  const auto options = std::make_shared<LogOptions>();
  command.add_flag("--follow,-f", options->follows, "go on showing what comes, until interrupted");
  std::vector<std::string> names;
  for (const DDLogFlag level : levels) names.emplace_back(nameOf(level));
  command
      .add_option(
          "--level", options->level,
          "only messages of this level and worse ones: error, warning, info, debug, verbose")
      ->check(CLI::IsMember(names));
  command
      .add_option("--since", options->since,
                  "only messages since then: 90s, 10m, 2h, 1d ago, or \"2024-03-05 14:07\"")
      ->check([](const std::string& text) {
        return sinceOf(text) ? std::string() : "not a time: " + text;
      });
  command.callback([&context, options] { run(context, *options); });
}

}  // namespace corvane::Nmctl::Commands
