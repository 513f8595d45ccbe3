#include "tools/corvane-nmctl/Conversation.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace corvane::Nmctl {
namespace {

using namespace std::chrono_literals;

constexpr auto restLimit = 5s;  // for the rest of a message that has begun, and for the host's end
constexpr char pushIdentifier[] = "CVN_APP_STATE_RESPONSE_MESSAGE_FAKEID";

std::string textMember(const JsonObject& message, const char* key) {
  const auto* const text = findString(message, key);
  return text == nullptr ? "" : std::string(*text);
}

std::string lateness(std::chrono::duration<double> limit) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "within %g s", limit.count());
  return text.data();
}

}  // namespace

Conversation::Conversation(HostProcess& host, TalkReport& report, Options options)
    : host_(host), report_(report), options_(options) {}

void Conversation::worsen(Outcome outcome) {
  outcome_ = std::max(outcome_, outcome);
}

void Conversation::send(const JsonObject& message) {
  if (findString(message, "type") != nullptr && findString(message, "id") != nullptr)
    open_.push_back({textMember(message, "type"), textMember(message, "id"), Clock::now()});
  else
    report_.note("without texts as \"type\" and \"id\", the host does not answer");
  // A host that does not read any more has ended, which is heard.
  static_cast<void>(host_.send(message));
}

void Conversation::take(const JsonObject& message) {
  const std::string id = textMember(message, "requestId");
  const auto asked =
      std::find_if(open_.begin(), open_.end(), [&](const Open& one) { return one.id == id; });
  if (asked != open_.end()) {
    report_.reply(asked->type, id, Clock::now() - asked->sent, message);
    open_.erase(asked);
    if (textMember(message, "result") != "ok") worsen(Outcome::error);
  } else if (id != pushIdentifier) {
    report_.stray(message);
  } else if (options_.showsPushes) {
    report_.push(message);
  }
}

bool Conversation::hear() {
  for (auto end = Clock::now() + restLimit;; end = Clock::now()) {
    const auto message = host_.receive(end);
    if (message) {
      take(message.value());
    } else if (message.failure().cause == FailureCause::wouldBlock) {
      return true;
    } else {
      hostHasEnded(message.failure());
      return false;
    }
  }
}

void Conversation::hostHasEnded(const Failure& failure) {
  worsen(Outcome::unanswered);
  if (failure.cause == FailureCause::malformed) {
    report_.ended("writes something that is not a message: " + failure.text);
  } else {
    host_.closeInput();
    const auto status = host_.waitForEnd(Clock::now() + restLimit);
    std::string how = "has ended";
    if (status) how += " (" + describedEnd(*status) + ")";
    std::string words = host_.errors();
    while (words.ends_with('\n')) words.pop_back();
    if (!words.empty()) how += "; it says: " + words.substr(words.rfind('\n') + 1);
    report_.ended(how);
  }
  giveUpAll("any more");
}

void Conversation::giveUpLate() {
  const auto now = Clock::now();
  while (!open_.empty() && nextLimit() <= now) {
    report_.unanswered(open_.front().type, open_.front().id, lateness(options_.limit));
    open_.erase(open_.begin());
    worsen(Outcome::unanswered);
  }
}

void Conversation::giveUpAll(const std::string& why) {
  for (const Open& one : std::exchange(open_, {})) {
    report_.unanswered(one.type, one.id, why);
    worsen(Outcome::unanswered);
  }
}

void Conversation::refuse(const std::string& why) {
  report_.refused(why);
  worsen(Outcome::unanswered);
}

Conversation::Clock::time_point Conversation::nextLimit() const {
  return open_.front().sent + std::chrono::duration_cast<Clock::duration>(options_.limit);
}

}  // namespace corvane::Nmctl
