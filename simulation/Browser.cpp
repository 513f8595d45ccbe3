#include "simulation/Browser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <utility>

#include "Platform/HardStop.h"
#include "Platform/StandardStreams.h"
#include "corvane-nm/Host.h"
#include "simulation/Container.h"

namespace corvane::Simulation {
namespace {

constexpr std::string_view pushIdentifier =
    "CVN_APP_STATE_RESPONSE_MESSAGE_"
    "FAKEID";
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

std::string Browser::textOf(const JsonObject& object, std::string_view key) {
  const auto* text = findString(object, key);
  return text == nullptr ? "" : std::string(*text);
}

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
    // A request with two exchanges lets the changes that came meanwhile go before its second.
    for (auto& entry : asked_) entry.second.isAlone = false;
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

void Browser::noteState(const JsonObject& reply) {
  const auto* state = findObject(reply, "appState");
  if (state == nullptr || textOf(reply, "result") != "ok")
    return;  // an error may have the default state
  knownRunning_ = findBool(*state, "isRunning") != nullptr && *findBool(*state, "isRunning");
  knownProtection_ = findBool(*state, "isProtectionEnabled") != nullptr &&
                     *findBool(*state, "isProtectionEnabled");
}

void Browser::violate(const std::string& what) {
  context_.violate(monitor_->process->name + " " + what);
}

}  // namespace corvane::Simulation
