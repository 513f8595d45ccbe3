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

/// What a host's process runs.
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

/// A pipe of which the host has one end and the browser the other.
std::shared_ptr<OpenFile> endOf(const std::shared_ptr<Pipe>& pipe, OpenFile::Kind kind) {
  auto end = std::make_shared<OpenFile>(kind);
  end->pipe = pipe;
  ++(kind == OpenFile::Kind::reader ? pipe->readers : pipe->writers);
  return end;
}

struct Kind {
  const char* type = nullptr;
  const char* parameters = nullptr;  // TOKEN and FLAG stand for what varies
  bool changesState = false;
};

constexpr std::array<Kind, 14> kinds = {{
    {"getCurrentAppState", ""},
    {"init", R"("apiVersion":"1")"},
    {"getCurrentFilteringState", R"("forceStartApp":false,"url":"https://TOKEN/","port":443)"},
    {"getCurrentFilteringState", R"("forceStartApp":true,"url":"https://TOKEN/","port":443)", true},
    {"setProtectionStatus", R"("isEnabled":FLAG)", true},
    {"setFilteringStatus", R"("url":"https://TOKEN/","isEnabled":FLAG,"isHttpsEnabled":FLAG)",
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
  Kernel& kernel = situation_.kernel;
  const auto input = std::make_shared<Pipe>();
  const auto output = std::make_shared<Pipe>();
  output->capacity = kernel.choices().oneIn(4) ? 4096 : 65536;
  output->written = [this](std::string_view bytes) { hear(bytes); };
  const std::string name = "host " + std::to_string(number_) + "." + std::to_string(++lives_);
  life_ = std::make_shared<HostLife>(
      situation_, kernel.start(name, "/usr/bin/corvane-nm", 2,
                               {{0, endOf(input, OpenFile::Kind::reader)},
                                {1, endOf(output, OpenFile::Kind::writer)},
                                {2, std::make_shared<OpenFile>(OpenFile::Kind::null)}},
                               runHost));
  input_ = endOf(input, OpenFile::Kind::writer);
  output_ = endOf(output, OpenFile::Kind::reader);
  isSlow_ = false;
  outbox_.clear();
  heard_.clear();
  asked_.clear();
  tokens_.clear();
  serials_.clear();
  pushes_ = 0;
  knownRunning_.reset();
  situation_.report.count("hosts");
}

void Browser::ask() {
  Choices& choices = situation_.kernel.choices();
  const std::string id = std::to_string(++lastId_);
  Asked asked;
  asked.at = situation_.kernel.now();
  situation_.report.count("requests");
  if (choices.oneIn(40)) {  // nobody answers these
    asked.getsNoReply = true;
    asked_[id] = asked;
    const std::array<std::string, 4> texts = {R"({"type":"unknown","id":")" + id + "\"}",
                                              R"({"type":"init"})", "{\"type\":", "[]"};
    outbox_ += frame(choices.of(texts));
    return;
  }
  const Kind& kind = choices.of(kinds);
  asked.type = kind.type;
  asked.changesState = kind.changesState;
  asked.token = "b" + std::to_string(number_) + "r" + id + ".invalid";
  std::string parameters = kind.parameters;
  replaceAll(parameters, "TOKEN", asked.token);
  replaceAll(parameters, "FLAG", choices.oneIn(2) ? "true" : "false");
  asked.isValid = parameters.empty() || !choices.oneIn(12);
  if (!asked.isValid) {
    asked.changesState = false;
    parameters = "\"other\":0";
  }
  const std::string text = R"({"type":)" + quoted(asked.type) + R"(,"id":)" + quoted(id) +
                           (parameters.empty() ? "" : R"(,"parameters":{)" + parameters + "}") +
                           "}";
  if (asked.changesState) {
    life_->wasOverlapped = life_->wasOverlapped || life_->isCommandPending;
    life_->isCommandPending = true;
  }
  tokens_.insert(asked.token);
  asked_[id] = std::move(asked);
  outbox_ += frame(text);
}

void Browser::write(bool all) {
  if (!input_ || outbox_.empty()) return;
  std::string& pipe = input_->pipe->bytes;
  std::size_t count = std::min(outbox_.size(), input_->pipe->capacity - pipe.size());
  if (!all) count = situation_.kernel.choices().below(count + 1);
  pipe += outbox_.substr(0, count);
  outbox_.erase(0, count);
  life_->progresses();
}

void Browser::read() {
  if (output_ && !isSlow_) output_->pipe->bytes.clear();
}

void Browser::close(bool leaves) {
  write(true);
  input_.reset();
  if (leaves) output_.reset();
  life_->inputEnds();
}

void Browser::setSlow(bool isSlow) {
  isSlow_ = isSlow;
  if (!isSlow) fastSince_ = situation_.kernel.now();
  if (life_) life_->progresses();
}

bool Browser::isWaiting() const {
  return hasHost() && isOpen() && outbox_.empty() && !isSlow_ &&
         std::any_of(asked_.begin(), asked_.end(), [this](const auto& entry) {
           return !entry.second.isAnswered && !entry.second.getsNoReply &&
                  entry.second.at > situation_.lastFull;  // before, it may have been refused
         });
}

void Browser::hostEnded() {
  const Process& process = *life_->process;
  if (!process.stopReason.empty() && !life_->hasFailed)
    complain("has stopped hard: " + process.stopReason);
  if (!process.wasKilled && process.stopReason.empty() && isOpen())
    complain("has left before the end of input");
  life_->ended();
  input_.reset();
  output_.reset();
}

void Browser::hear(std::string_view bytes) {
  heard_ += bytes;
  life_->progresses();
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
  if (serials_.empty() && !life_->hasFailed &&
      Container::observer(situation_.kernel.files(), *life_->process, "appState") == nullptr)
    complain("replies before it listens for the state");
  const auto reply = parseJson(text);
  if (!reply || !reply->is_object()) return complain("sends no JSON");
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
    complain("sends the serial number \"" + text + "\" again");
}

void Browser::takePush(const JsonObject& push) {
  situation_.report.count("pushes");
  ++pushes_;
  if (textOf(push, "result") != "ok" && life_->isStrict) complain("pushes an error");
}

void Browser::takeReply(const JsonObject& reply) {
  const auto found = asked_.find(textOf(reply, "requestId"));
  if (found == asked_.end()) return complain("answers what nobody asked");
  Asked& asked = found->second;
  if (asked.isAnswered || asked.getsNoReply)
    return complain("answers request " + found->first + " once too often");
  asked.isAnswered = true;
  situation_.report.count("replies");
  checkReply(reply, asked);
  life_->isCommandPending = std::any_of(asked_.begin(), asked_.end(), [](const auto& entry) {
    return entry.second.changesState && !entry.second.isAnswered;
  });
}

void Browser::checkReply(const JsonObject& reply, Asked& asked) {
  const std::string data = textOf(reply, "data");
  const bool isError = textOf(reply, "result") != "ok";
  if (!asked.isValid) {
    const std::string_view wanted =
        asked.type == "init" ? "Supported api version mismatch" : invalidParameters;
    if (!isError || data != wanted) complain("takes wrong parameters of " + asked.type);
    return;
  }
  if (isError) {
    checkError(data, asked);
  } else {
    checkContent(reply, asked);
    const auto waited = situation_.kernel.now() - std::max(asked.at, fastSince_);
    if (asked.changesState && waited >= TimeLimits::appState && life_->isStrict &&
        situation_.isCalmSince(asked.at))
      complain("waits in vain for an announcement after " + asked.type);
  }
  checkState(reply, asked);
}

void Browser::checkError(const std::string& text, Asked& asked) {
  const bool isCalm = situation_.isCalmSince(asked.at) && life_->isStrict;
  if (text == linkTimeout) {
    situation_.report.count("timeouts");
    if (isCalm) complain("finds no application for " + asked.type);
  } else if (text == "AppState timeout occured") {
    situation_.report.count("announcements missed");
    if (!asked.changesState) complain("waits for an announcement after " + asked.type);
    if (isCalm) complain("misses the announcement after " + asked.type);
    if (situation_.kernel.now() - asked.at < TimeLimits::appState)
      complain("gives up an announcement too early");
  } else if (text == "Can't start main app.") {
    situation_.report.count("starts refused");
    if (!asked.changesState) complain("starts the application for " + asked.type);
  } else {
    const bool mayBeRefused = asked.type == "removeRule" || asked.type == "openOriginalCert";
    if (!mayBeRefused && life_->isStrict) complain("fails with \"" + text + "\"");
  }
}

/// What the application says about a page names the page.
void Browser::checkContent(const JsonObject& reply, const Asked& asked) {
  std::string found;
  const auto* parameters = findObject(reply, "parameters");
  if (parameters == nullptr) {
    if (asked.type == "init" || asked.type == "reportSite") complain("leaves the parameters out");
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
  if (life_->isStrict || !tokens_.contains(found))
    return complain("answers " + asked.type + " about " + asked.token + " with " + found);
  situation_.report.count("late replies taken for others");
}

void Browser::checkState(const JsonObject& reply, const Asked& asked) {
  const auto* state = findObject(reply, "appState");
  const bool* const isRunning = state == nullptr ? nullptr : findBool(*state, "isRunning");
  const bool* const isEnabled =
      state == nullptr ? nullptr : findBool(*state, "isProtectionEnabled");
  if (isRunning == nullptr || isEnabled == nullptr) return complain("leaves the state out");
  // Changing commands that fail report the state that they began with: none.
  if (!life_->isStrict || (asked.changesState && textOf(reply, "result") != "ok")) return;
  if (*isRunning && asked.type != "setFilteringStatus" && !situation_.couldBe(*isEnabled, asked.at))
    complain("reports a state that never was, after " + asked.type);
  if (!*isRunning && situation_.isCalmSince(asked.at))
    complain("does not see the application, after " + asked.type);
}

void Browser::noteState(const JsonObject& reply) {
  const auto* state = findObject(reply, "appState");
  if (state == nullptr || textOf(reply, "result") != "ok") return;  // errors may hold no state
  knownRunning_ = findBool(*state, "isRunning") != nullptr && *findBool(*state, "isRunning");
  knownProtection_ = findBool(*state, "isProtectionEnabled") != nullptr &&
                     *findBool(*state, "isProtectionEnabled");
}

void Browser::checkAtRest(bool mustKnow) {
  if (!hasHost() || !isOpen()) return;
  for (const char* name : {"appState", "appReconfig"})
    if (Container::observer(situation_.kernel.files(), *life_->process, name) == nullptr)
      complain(std::string("does not listen for ") + name);
  bool mayBeSilent = !heard_.empty();
  if (!heard_.empty()) complain("has sent half a frame");
  for (const auto& [id, asked] : asked_) {
    if (asked.isAnswered || asked.getsNoReply) continue;
    mayBeSilent = true;
    if (asked.at > situation_.lastFull) complain("never answers " + asked.type);
  }
  if (!mayBeSilent && !serials_.empty() && *serials_.rbegin() != serials_.size() &&
      situation_.lastFull == Time::min())
    complain("leaves serial numbers out");
  if (!life_->isStrict) return;
  if (pushes_ < life_->mustPush && situation_.lastFull == Time::min())
    complain("pushes " + std::to_string(pushes_) + " times after " +
             std::to_string(life_->mustPush) + " announcements");
  if (pushes_ > life_->announced + life_->applicationEnds && !life_->hasFailed)
    complain("pushes more than there is to tell");
  const Node responses =
      situation_.kernel.files().at(Container::path() + "/Data/" + life_->responses());
  if (responses && responses->kind == Inode::Kind::file && !responses->bytes.empty())
    complain("has left a reply in its file");
  if (life_->announced < life_->expected)
    complain("has heard " + std::to_string(life_->announced) + " of " +
             std::to_string(life_->expected) + " announcements");
  if (mustKnow && knownRunning_ && !life_->wasOverlapped &&
      (!*knownRunning_ || knownProtection_ != situation_.protection()))
    complain("has left the browser with an old state");
}

void Browser::checkAtEndOfApplication() {
  if (hasHost() && isOpen() && life_->isStrict && knownRunning_ && *knownRunning_)
    complain("has not told the browser that the application has ended");
}

void Browser::complain(const std::string& what) {
  situation_.violate(life_->process->name + " " + what);
}

}  // namespace corvane::Simulation
