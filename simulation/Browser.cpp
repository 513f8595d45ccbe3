#include "simulation/Browser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/HardStop.h"
#include "Platform/StandardStreams.h"
#include "corvane-nm/Host.h"
#include "simulation/Container.h"

namespace corvane::Simulation {
namespace {

constexpr std::string_view pushIdentifier =
    "CVN_APP_STATE_RESPONSE_MESSAGE_"
    "FAKEID";
constexpr std::string_view linkTimeout = "Can't connect to main app, timeout reached.";
constexpr std::string_view invalidParameters = "Invalid request paramaters.";

/// The longest time that a request may take when nothing delays it. None needs nearly as long.
constexpr std::chrono::milliseconds longestInCalm{1000};

/// The main function of a host's process.
void runHost() {
  const auto streams = Platform::claimStandardStreams();
  if (!streams) Platform::hardStop("the standard streams cannot be set up");
  auto& host = *new Host(*streams);
  host.run();
  host.shared.withdraw();
}

std::string frame(const std::string& text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string bytes(sizeof length, '\0');
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes + text;
}

std::string quoted(const std::string& text) {
  return '"' + text + '"';
}

std::string textOf(const JsonObject& object, std::string_view key) {
  const auto* text = findString(object, key);
  return text == nullptr ? "" : std::string(*text);
}

/// An end of a pipe between browser and host.
std::shared_ptr<OpenFile> endOf(const std::shared_ptr<Pipe>& pipe, OpenFile::Kind kind) {
  auto end = std::make_shared<OpenFile>(kind);
  end->pipe = pipe;
  ++(kind == OpenFile::Kind::reader ? pipe->readers : pipe->writers);
  return end;
}

struct Kind {
  const char* type = nullptr;
  const char* parameters = nullptr;  // TOKEN, FIRST and SECOND are placeholders
  bool changesState = false;
};

constexpr std::array<Kind, 14> kinds = {{
    {"getCurrentAppState", ""},
    {"init", R"("apiVersion":"1")"},
    {"getCurrentFilteringState", R"("forceStartApp":false,"url":"https://TOKEN/","port":443)"},
    {"getCurrentFilteringState", R"("forceStartApp":true,"url":"https://TOKEN/","port":443)", true},
    {"setProtectionStatus", R"("isEnabled":FIRST)", true},
    {"setFilteringStatus", R"("url":"https://TOKEN/","isEnabled":FIRST,"isHttpsEnabled":SECOND)",
     true},
    {"addRule", R"("ruleText":"||TOKEN^")"},
    {"removeRule", R"("ruleText":"||TOKEN^")"},
    {"removeCustomRules", R"("url":"https://TOKEN/")", true},
    {"openOriginalCert", R"("domain":"TOKEN","port":443)"},
    {"reportSite", R"("url":"https://TOKEN/","referrer":"","userAgent":"simulated")"},
    {"openFilteringLog", ""},
    {"openSettings", ""},
    {"updateApp", ""},
}};

void replaceAll(std::string& text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at))
    text.replace(at, what.size(), by);
}

}  // namespace

void Browser::start() {
  Kernel& kernel = context_.kernel;
  const auto input = std::make_shared<Pipe>();
  const auto output = std::make_shared<Pipe>();
  output->capacity = kernel.random().oneIn(4) ? 4096 : 65536;
  output->written = [this](std::string_view bytes) { hear(bytes); };
  const std::string name = "host " + std::to_string(number_) + "." + std::to_string(++lives_);
  monitor_ = std::make_shared<HostMonitor>(
      context_, kernel.start(name, 2,
                             {{0, endOf(input, OpenFile::Kind::reader)},
                              {1, endOf(output, OpenFile::Kind::writer)},
                              {2, std::make_shared<OpenFile>(OpenFile::Kind::null)}},
                             runHost));
  input_ = endOf(input, OpenFile::Kind::writer);
  output_ = endOf(output, OpenFile::Kind::reader);
  isSlow_ = wasSlow_ = false;
  closed_.reset();
  outbox_.clear();
  heard_.clear();
  asked_.clear();
  tokens_.clear();
  serials_.clear();
  pushes_ = 0;
  knownRunning_.reset();
  context_.report.count("hosts");
}

void Browser::ask() {
  Generator& random = context_.kernel.random();
  const std::string id = std::to_string(++lastId_);
  Asked asked;
  asked.at = context_.kernel.now();
  context_.report.count("requests");
  if (random.oneIn(40)) {  // invalid ones get no reply
    asked.getsNoReply = true;
    asked_[id] = asked;
    const std::array<std::string, 4> texts = {R"({"type":"unknown","id":")" + id + "\"}",
                                              R"({"type":"init"})", "{\"type\":", "[]"};
    outbox_ += frame(random.of(texts));
    return;
  }
  const Kind& kind = random.of(kinds);
  asked.type = kind.type;
  asked.changesState = kind.changesState;
  asked.token = "b" + std::to_string(number_) + "r" + id + ".invalid";
  std::string parameters = kind.parameters;
  replaceAll(parameters, "TOKEN", asked.token);
  replaceAll(parameters, "FIRST", random.oneIn(2) ? "true" : "false");
  replaceAll(parameters, "SECOND", random.oneIn(2) ? "true" : "false");
  asked.isValid = parameters.empty() || !random.oneIn(12);
  if (!asked.isValid) {
    asked.changesState = false;
    parameters = "\"other\":0";
  }
  const std::string text = R"({"type":)" + quoted(asked.type) + R"(,"id":)" + quoted(id) +
                           (parameters.empty() ? "" : R"(,"parameters":{)" + parameters + "}") +
                           "}";
  if (asked.changesState) {
    monitor_->wasOverlapped = monitor_->wasOverlapped || monitor_->isCommandPending;
    monitor_->isCommandPending = true;
  }
  asked.isAlone = std::none_of(asked_.begin(), asked_.end(), [](const auto& entry) {
    return !entry.second.isAnswered && !entry.second.getsNoReply;
  });
  tokens_.insert(asked.token);
  asked_[id] = std::move(asked);
  outbox_ += frame(text);
}

void Browser::write(bool all) {
  if (!input_ || outbox_.empty()) return;
  std::string& pipe = input_->pipe->bytes;
  std::size_t count = std::min(outbox_.size(), input_->pipe->capacity - pipe.size());
  if (!all) count = context_.kernel.random().below(count + 1);
  pipe += outbox_.substr(0, count);
  outbox_.erase(0, count);
  if (outbox_.empty()) written_ = context_.kernel.now();
  monitor_->progresses();
}

void Browser::read() {
  if (output_ && !isSlow_) output_->pipe->bytes.clear();
}

void Browser::close(bool leaves) {
  write(true);
  input_.reset();
  closed_ = context_.kernel.now();
  if (leaves) output_.reset();
  monitor_->inputEnds();
}

/// A host that ends at the end of input answers all requests that wait for no announcement.
void Browser::checkLastReplies() {
  const Process& process = *monitor_->process;
  if (process.wasKilled || !process.stopReason.empty() || !output_ || wasSlow_ || !closed_) return;
  if (!heard_.empty()) violate("ends in the middle of a frame");
  if (!monitor_->isStrict || monitor_->isCommandPending || !outbox_.empty() ||
      !context_.isCalmSince(*closed_))
    return;
  for (const auto& [id, asked] : asked_)
    if (!asked.isAnswered && !asked.getsNoReply && context_.isCalmSince(asked.at))
      violate("ends before it has answered " + asked.type);
}

void Browser::setSlow(bool isSlow) {
  isSlow_ = isSlow;
  wasSlow_ = wasSlow_ || isSlow;
  if (!isSlow) fastSince_ = context_.kernel.now();
  if (monitor_) monitor_->progresses();
}

bool Browser::isWaiting() const {
  return hasHost() && isOpen() && outbox_.empty() && !isSlow_ &&
         std::any_of(asked_.begin(), asked_.end(), [this](const auto& entry) {
           return !entry.second.isAnswered && !entry.second.getsNoReply &&
                  entry.second.at > context_.lastFull;  // until then it may have been refused
         });
}

void Browser::hostEnded() {
  const Process& process = *monitor_->process;
  if (!process.stopReason.empty() && !(monitor_->hasFailed && serials_.empty()))
    violate("has stopped hard: " + process.stopReason);
  if (!process.wasKilled && process.stopReason.empty() && isOpen())
    violate("has left before the end of input");
  monitor_->ended();
  checkLastReplies();
  input_.reset();
  output_.reset();
}

void Browser::hear(std::string_view bytes) {
  heard_ += bytes;
  monitor_->progresses();
  for (;;) {
    std::uint32_t length = 0;
    if (heard_.size() < sizeof length) return;
    std::memcpy(&length, heard_.data(), sizeof length);
    if (heard_.size() < sizeof length + length) return;
    takeFrame(std::string_view(heard_).substr(sizeof length, length));
    heard_.erase(0, sizeof length + length);
  }
}

void Browser::takeFrame(std::string_view text) {
  if (serials_.empty() && !monitor_->hasFailed &&
      Container::observer(context_.kernel.files(), *monitor_->process, "appState") == nullptr)
    violate("replies before it listens for the state");
  const auto reply = parseJson(text);
  if (!reply || !reply->is_object()) return violate("sends no JSON");
  const JsonObject& object = reply->get_object();
  takeSerial(object);
  if (textOf(object, "requestId") == pushIdentifier) {
    takePush(object);
  } else {
    takeReply(object);
  }
  noteState(object);
}

void Browser::takeSerial(const JsonObject& reply) {
  const std::string text = textOf(reply, "id");
  std::uint64_t serial = 0;
  std::from_chars(text.data(), text.data() + text.size(), serial);
  if (serial == 0 || !serials_.insert(serial).second)
    violate("sends the serial number \"" + text + "\" again");
}

void Browser::takePush(const JsonObject& push) {
  context_.report.count("pushes");
  ++pushes_;
  if (textOf(push, "result") != "ok" && monitor_->isStrict) violate("pushes an error");
}

void Browser::takeReply(const JsonObject& reply) {
  const auto found = asked_.find(textOf(reply, "requestId"));
  if (found == asked_.end()) return violate("replies to an unknown request");
  Asked& asked = found->second;
  if (asked.isAnswered || asked.getsNoReply)
    return violate("replies again to request " + found->first);
  asked.isAnswered = true;
  context_.report.count("replies");
  checkReply(reply, asked);
  monitor_->isCommandPending = std::any_of(asked_.begin(), asked_.end(), [](const auto& entry) {
    return entry.second.changesState && !entry.second.isAnswered;
  });
}

void Browser::checkReply(const JsonObject& reply, Asked& asked) {
  const std::string data = textOf(reply, "data");
  const bool isError = textOf(reply, "result") != "ok";
  if (!asked.isValid) {
    const std::string_view wanted =
        asked.type == "init" ? "Supported api version mismatch" : invalidParameters;
    if (!isError || data != wanted) violate("accepts invalid parameters of " + asked.type);
    return;
  }
  const Time begun = std::max(asked.at, written_);
  if (asked.isAlone && outbox_.empty() && !asked.changesState && monitor_->isStrict && !wasSlow_ &&
      context_.isCalmSince(asked.at) && context_.kernel.now() - begun > longestInCalm)
    violate("takes too long for " + asked.type);
  if (isError) {
    checkError(data, asked);
  } else {
    checkContent(reply, asked);
    const auto waited = context_.kernel.now() - std::max(asked.at, fastSince_);
    if (asked.changesState && waited >= TimeLimits::appState && monitor_->isStrict &&
        context_.isCalmSince(asked.at))
      violate("waits in vain for an announcement after " + asked.type);
  }
  checkState(reply, asked);
}

void Browser::checkError(const std::string& text, Asked& asked) {
  const bool isCalm = context_.isCalmSince(asked.at) && monitor_->isStrict;
  if (text == linkTimeout) {
    context_.report.count("timeouts");
    if (isCalm) violate("times out on " + asked.type);
  } else if (text == "AppState timeout occured") {
    context_.report.count("announcements missed");
    monitor_->gaveUpAnnouncement();
    if (!asked.changesState) violate("waits for an announcement after " + asked.type);
    if (isCalm) violate("misses the announcement after " + asked.type);
    if (context_.kernel.now() - asked.at < TimeLimits::appState)
      violate("gives up an announcement too early");
  } else if (text == "Can't start main app.") {
    context_.report.count("starts refused");
    if (!asked.changesState || asked.type != "getCurrentFilteringState")
      violate("starts the application for " + asked.type);
  } else {
    const bool mayBeRefused = asked.type == "removeRule" || asked.type == "openOriginalCert";
    if (!mayBeRefused && monitor_->isStrict) violate("fails with \"" + text + "\"");
  }
}

/// The application's answers about a page contain its name.
void Browser::checkContent(const JsonObject& reply, const Asked& asked) {
  std::string found;
  const auto* parameters = findObject(reply, "parameters");
  if (parameters == nullptr) {
    if (asked.type == "init" || asked.type == "reportSite" ||
        asked.type == "getCurrentFilteringState")
      violate("omits the parameters");
    return;
  }
  if (asked.type == "reportSite") {
    found = textOf(*parameters, "reportUrl");
    found.erase(0, found.find('=') + 1);
  } else if (asked.type == "getCurrentFilteringState") {
    found = textOf(*parameters, "originalCertIssuer");
  } else {
    return;
  }
  if (found == asked.token) return;
  if (monitor_->isStrict || !tokens_.contains(found))
    return violate("answers " + asked.type + " for " + asked.token + " with " + found);
  context_.report.count("late replies taken for the answer to another request");
}

void Browser::checkState(const JsonObject& reply, const Asked& asked) {
  const auto* state = findObject(reply, "appState");
  const bool* const isRunning = state == nullptr ? nullptr : findBool(*state, "isRunning");
  const bool* const isEnabled =
      state == nullptr ? nullptr : findBool(*state, "isProtectionEnabled");
  if (isRunning == nullptr || isEnabled == nullptr) return violate("omits the state");
  // A changing command that fails reports the default state.
  if (!monitor_->isStrict || (asked.changesState && textOf(reply, "result") != "ok")) return;
  if (*isRunning && asked.type != "setFilteringStatus" && !context_.couldBe(*isEnabled, asked.at))
    violate("reports a state that the application never had, after " + asked.type);
  if (!*isRunning && context_.isCalmSince(asked.at))
    violate("reports that the application does not run, after " + asked.type);
}

void Browser::noteState(const JsonObject& reply) {
  const auto* state = findObject(reply, "appState");
  if (state == nullptr || textOf(reply, "result") != "ok")
    return;  // an error may have the default state
  knownRunning_ = findBool(*state, "isRunning") != nullptr && *findBool(*state, "isRunning");
  knownProtection_ = findBool(*state, "isProtectionEnabled") != nullptr &&
                     *findBool(*state, "isProtectionEnabled");
}

void Browser::checkQuiescent(bool mustKnow) {
  if (!hasHost() || !isOpen()) return;
  for (const char* name : {"appState", "appReconfig"})
    if (Container::observer(context_.kernel.files(), *monitor_->process, name) == nullptr)
      violate(std::string("does not listen for ") + name);
  bool mayBeSilent = !heard_.empty();
  if (!heard_.empty()) violate("has sent an incomplete frame");
  for (const auto& [id, asked] : asked_) {
    if (asked.isAnswered || asked.getsNoReply) continue;
    mayBeSilent = true;
    if (asked.at > context_.lastFull) violate("never answers " + asked.type);
  }
  if (!mayBeSilent && !serials_.empty() && *serials_.rbegin() != serials_.size() &&
      context_.lastFull == Time::min())
    violate("skips serial numbers");
  if (!monitor_->isStrict) return;
  if (pushes_ < monitor_->mustPush && context_.lastFull == Time::min())
    violate("pushes " + std::to_string(pushes_) + " times after " +
            std::to_string(monitor_->mustPush) + " announcements");
  if (pushes_ > monitor_->announced + monitor_->applicationEnds && !monitor_->hasFailed)
    violate("sends more pushes than announcements");
  const Node responses =
      context_.kernel.files().at(Container::path() + "/Data/" + monitor_->responses());
  if (responses && responses->kind == Inode::Kind::file && !responses->bytes.empty())
    violate("has left a reply in its file");
  if (monitor_->announced < monitor_->expected)
    violate("has heard " + std::to_string(monitor_->announced) + " of " +
            std::to_string(monitor_->expected) + " announcements");
  if (mustKnow && knownRunning_ && !monitor_->wasOverlapped &&
      (!*knownRunning_ || knownProtection_ != context_.protection()))
    violate("has left the browser with an outdated state");
}

void Browser::checkAtEndOfApplication(Time quit) {
  // A reply that was in flight when the application ended still says that it runs.
  if (hasHost() && isOpen() && monitor_->isStrict && knownRunning_ && *knownRunning_ &&
      monitor_->lastTaken < quit)
    violate("has not told the browser that the application has ended");
}

void Browser::violate(const std::string& what) {
  context_.violate(monitor_->process->name + " " + what);
}

}  // namespace corvane::Simulation
