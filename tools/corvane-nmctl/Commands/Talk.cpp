#include <poll.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "Platform/StandardStreams.h"
#include "tools/corvane-nmctl/Commands/Commands.h"
#include "tools/corvane-nmctl/Conversation.h"
#include "tools/corvane-nmctl/HostChoice.h"
#include "tools/corvane-nmctl/LineEditor.h"
#include "tools/corvane-nmctl/LineSource.h"
#include "tools/corvane-nmctl/RequestHelp.h"
#include "tools/corvane-nmctl/TypedRequest.h"
#include "tools/corvane-nmctl/Waking.h"

namespace corvane::Nmctl::Commands {
namespace {

using namespace std::chrono_literals;
using Outcome = Conversation::Outcome;

constexpr auto endLimit = 5s;
constexpr std::size_t mostOpen = 64;  // so that no pipe fills up while nobody reads the other

struct TalkOptions {
  std::string browser;
  std::string host;
  std::vector<std::string> lines;
  bool watches = false;
  double limit = 310;  // seconds; the host takes up to 300 for one state
};

/// Lines in, messages out, until there are no more of either.
class Talk {
 public:
  Talk(HostProcess& host, LineSource lines, TalkReport& report, const TalkOptions& options,
       int wakings)
      : host_(host),
        lines_(std::move(lines)),
        report_(report),
        watches_(options.watches),
        wakings_(wakings),
        conversation_(host, report,
                      {std::chrono::duration<double>(options.limit), options.watches}) {}

  Outcome run() {
    while (runLines(), isGoingOn()) {
      if (mayTakeLine() && !lines_.isAtEnd()) report_.prompt();
      if (!report_.flush() || !await()) break;
      if (heard_ && !conversation_.hear()) return conversation_.outcome();
      conversation_.giveUpLate();
    }
    report_.endPrompt();
    conversation_.giveUpAll("before the end");
    return leave();
  }

 private:
  [[nodiscard]] bool isGoingOn() const {
    return conversation_.openCount() > 0 || (!hasQuit_ && (watches_ || !lines_.isAtEnd()));
  }

  [[nodiscard]] bool mayTakeLine() const {
    return !hasQuit_ && conversation_.openCount() < (isWaiting_ ? 1 : mostOpen);
  }

  void runLines() {
    while (mayTakeLine()) {
      isWaiting_ = false;
      const auto line = lines_.take();
      if (!line) return;
      runLine(*line);
    }
  }

  void runLine(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(" \t");
    const std::string word = line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin);
    if (word == "help") return report_.help();
    isWaiting_ = word == "wait";
    hasQuit_ = word == "quit";
    if (isWaiting_ || hasQuit_) return;
    const auto message = typedRequest(line, std::to_string(++lastId_));
    if (!message) return conversation_.refuse(message.failure().text);
    conversation_.send(message.value());
  }

  [[nodiscard]] int waitLimit() const {
    if (conversation_.openCount() == 0) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(conversation_.nextLimit() -
                                                                   Conversation::Clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
  }

  /// Waits for a line, a message, a limit. False when people want it to end.
  bool await() {
    pollfd sources[] = {{wakings_, POLLIN, 0},
                        {host_.output(), POLLIN, 0},
                        {mayTakeLine() ? lines_.descriptor() : -1, POLLIN, 0}};
    if (::poll(sources, 3, waitLimit()) < 0 && errno != EINTR) return false;
    if (Waking::isInterrupted()) return false;
    heard_ = sources[1].revents != 0;
    if (sources[2].revents != 0) lines_.read();
    return true;
  }

  /// Leaves the host as a browser does; it should end well then.
  Outcome leave() {
    host_.closeInput();
    const auto status = host_.waitForEnd(Conversation::Clock::now() + endLimit);
    if (Waking::isInterrupted() || status == 0) return conversation_.outcome();
    report_.ended(status ? "ends badly: " + describedEnd(*status) : "does not end");
    return std::max(conversation_.outcome(), Outcome::error);
  }

  HostProcess& host_;
  LineSource lines_;
  TalkReport& report_;
  const bool watches_;
  const int wakings_;
  Conversation conversation_;
  std::uint64_t lastId_ = 0;
  bool isWaiting_ = false;  // for all answers, before the next line
  bool hasQuit_ = false;    // once what is pending is answered
  bool heard_ = false;
};

/// What a line may begin with.
std::vector<std::string> typedWords() {
  std::vector<std::string> words = {"help", "quit", "wait"};
  for (const auto& command : RequestProcessing::browserCommands) words.emplace_back(command.type);
  return words;
}

void failWith(Context& context, Code code, const std::string& why) {
  fail(context, code, why);
  context.status = static_cast<int>(Outcome::unanswered);
}

void run(Context& context, const TalkOptions& options) {
  Output& output = context.output;
  context.isStream = true;
  Platform::ignoreSignalsOfWrites();
  const auto choice = options.host.empty() ? chooseHost(options.browser, context.surroundings)
                                           : Result<HostChoice>(hostAt(options.host));
  if (!choice) return failWith(context, Code("host-not-found"), choice.failure().text);
  const auto wakings = Waking::begin();
  if (!wakings) return failWith(context, Code("system-refuses"), wakings.failure().text);
  auto host = HostProcess::start(choice->path, choice->arguments);
  if (!host)
    return failWith(context, Code("host-not-startable"), choice->path + ": " + host.failure().text);
  const bool hasLines = !options.lines.empty();
  std::optional<LineEditor> editor;
  if (LineEditor::isAvailable() && !hasLines && !output.isJson() && ::isatty(STDIN_FILENO) == 1 &&
      ::isatty(output.descriptor()) == 1)
    editor.emplace("corvane-nm> ", typedWords());
  TalkReport report(output, editor ? &*editor : nullptr);
  report.started(choice.value());
  LineSource lines = hasLines ? LineSource(options.lines)
                     : editor ? LineSource(*editor)
                              : LineSource(STDIN_FILENO);
  Talk talk(host.value(), std::move(lines), report, options, wakings.value());
  const Outcome outcome = talk.run();
  report.flush();
  context.status = static_cast<int>(outcome);
}

std::string footer() {
  std::string text = "What to type, or to give with --command:\n";
  for (const auto& command : RequestProcessing::browserCommands) {
    const std::string usage = usageOf(command);
    text += "  " + std::string(command.type) + (usage.empty() ? "" : " ") + usage + "\n";
  }
  return text +
         "Exit status: 0 all was answered and well, 1 an error was answered, 2 something was "
         "not answered.";
}

}  // namespace

void addTalk(CLI::App& app, Context& context) {
  CLI::App& command = *app.add_subcommand(
      "talk", "Start the host as a browser would, and send it commands typed by hand");
  const auto options = std::make_shared<TalkOptions>();
  auto* const browser = command
                            .add_option("--browser", options->browser,
                                        "the host of this browser, started as it would")
                            ->check(isBrowser);
  command.add_option("--host", options->host, "this host, started as Chromium would")
      ->excludes(browser);
  command
      .add_option("--command,-c", options->lines,
                  "this command instead of those on standard input; may be repeated")
      ->allow_extra_args(false);
  command.add_flag("--watch", options->watches,
                   "also show what the host says unasked, until interrupted");
  command.add_option("--limit", options->limit, "for how many seconds to wait for an answer")
      ->check(CLI::Range(0.001, 86400.0))
      ->capture_default_str();
  command.footer(footer());
  command.callback([&context, options] { run(context, *options); });
}

}  // namespace corvane::Nmctl::Commands
