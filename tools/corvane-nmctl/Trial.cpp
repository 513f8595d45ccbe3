#include "tools/corvane-nmctl/Trial.h"

#include <algorithm>
#include <utility>

#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;
using Clock = HostProcess::Clock;

constexpr auto endLimit = 5s;
constexpr std::size_t shownBytes = 40;
constexpr char reinstall[] = "install the package again";

/// The last line that it wrote to standard error, or "".
std::string lastWords(const HostProcess& host) {
  std::string text = host.errors();
  while (text.ends_with('\n')) text.pop_back();
  return printable(std::string_view(text).substr(text.rfind('\n') + 1));
}

Fault stopped(HostProcess& host) {
  host.closeInput();
  const auto status = host.waitForEnd(Clock::now() + endLimit);
  std::string cause = "the host stops before it answers";
  if (status) cause += " (" + describedEnd(*status) + ")";
  const std::string words = lastWords(host);
  if (!words.empty()) cause += "; it says: " + words;
  return {Code("host-stops"), cause, words.empty() ? reinstall : "fix what it says"};
}

Fault faultOf(const Failure& failure, HostProcess& host, std::chrono::seconds limit) {
  if (failure.cause == FailureCause::wouldBlock)
    return {Code("host-mute"),
            "the host does not answer within " + std::to_string(limit.count()) + " s",
            "end the programs that hold its files, or " + std::string(reinstall)};
  if (failure.cause == FailureCause::notFound) return stopped(host);
  return {Code("host-stray-output"),
          "the host writes something that is not a message: " + failure.text, reinstall};
}

/// The reply to the request `identifier`; what comes unasked before it is passed over.
Result<JsonObject> ask(HostProcess& host, const JsonObject& request, const std::string& identifier,
                       std::chrono::seconds limit, Trial& trial) {
  const auto begin = Clock::now();
  if (!host.send(request)) return Failure{FailureCause::notFound, "it does not read"};
  for (;;) {
    auto reply = host.receive(begin + limit);
    if (!reply) return reply;
    const auto* answered = findString(reply.value(), "requestId");
    if (answered == nullptr)  // neither a reply nor a push
      return Failure{FailureCause::malformed,
                     printable(serializeJson(reply.value()).value_or("").substr(0, shownBytes))};
    if (*answered != identifier) continue;
    trial.delay = std::max(
        trial.delay, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin));
    return reply;
  }
}

std::string memberOf(const JsonObject& reply, const char* object, const char* key) {
  const JsonObject* inner = findObject(reply, object);
  const auto* text = inner == nullptr ? nullptr : findString(*inner, key);
  return text == nullptr ? "" : printable(std::string(*text));
}

bool flagOf(const JsonObject& reply, const char* object, const char* key) {
  const JsonObject* inner = findObject(reply, object);
  const bool* flag = inner == nullptr ? nullptr : findBool(*inner, key);
  return flag != nullptr && *flag;
}

/// Notes what the reply tells of the main application. All replies must show that it answers: one
/// that comes too late for its request may pass for the answer to the next.
void noteApplication(const JsonObject& reply, Trial& trial) {
  trial.isApplicationSeen = trial.isApplicationSeen && flagOf(reply, "appState", "isRunning");
  const auto* result = findString(reply, "result");
  if (result != nullptr && *result == "ok") return;
  const auto* data = findString(reply, "data");
  trial.applicationError = data == nullptr ? "an error" : printable(std::string(*data));
}

void askForState(HostProcess& host, std::chrono::seconds limit, Trial& trial) {
  const std::string identifier = "corvane-nmctl 2";
  const auto reply =
      ask(host, {{"type", "getCurrentAppState"}, {"id", identifier}}, identifier, limit, trial);
  if (reply)
    noteApplication(reply.value(), trial);
  else
    trial.fault = faultOf(reply.failure(), host, limit);
}

void greet(HostProcess& host, std::chrono::seconds limit, Trial& trial) {
  const std::string identifier = "corvane-nmctl 1";
  const auto reply = ask(host, greeting(identifier), identifier, limit, trial);
  if (!reply) {
    trial.maybeFromLink = reply.failure().cause != FailureCause::malformed;
    trial.fault = faultOf(reply.failure(), host, limit);
    return;
  }
  trial.version = memberOf(reply.value(), "parameters", "version");
  if (flagOf(reply.value(), "parameters", "isValidatedOnHost")) {
    trial.isApplicationSeen = true;
    return noteApplication(reply.value(), trial);
  }
  trial.fault = {
      Code("host-other-version"),
      "the host speaks another version: " + memberOf(reply.value(), "parameters", "apiVersion"),
      "install host and corvane-nmctl of the same package"};
}

}  // namespace

JsonObject greeting(const std::string& identifier) {
  return {{"type", "init"}, {"id", identifier}, {"parameters", {{"apiVersion", "1"}}}};
}

Trial tryHost(const std::string& path, std::vector<std::string> arguments,
              const TrialOptions& options) {
  Trial trial;
  auto host = HostProcess::start(path, std::move(arguments));
  if (!host) {
    const bool isInterpreter = host.failure().cause == FailureCause::notFound;
    trial.fault = {Code("host-not-startable"),
                   isInterpreter ? "the host can't be started: what should run it is missing"
                                 : "the host can't be started: " + host.failure().text,
                   reinstall};
    return trial;
  }
  greet(host.value(), options.limit, trial);
  if (!trial.fault && trial.isApplicationSeen && options.asksForState)
    askForState(host.value(), options.limit, trial);
  host->closeInput();
  if (!trial.fault && !host->waitForEnd(Clock::now() + endLimit))
    trial.fault = {Code("host-does-not-end"), "the host still runs 5 s after its browser has left",
                   reinstall};
  return trial;
}

std::string seconds(std::chrono::milliseconds duration) {
  const auto tenths = (duration.count() + 50) / 100;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " s";
}

}  // namespace corvane::Nmctl
