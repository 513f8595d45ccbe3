#include "simulation/HostMonitor.h"

#include <utility>

#include "Base/TimeLimits.h"
#include "simulation/Container.h"

namespace corvane::Simulation {
namespace {

using std::chrono::milliseconds;

/// What limits may be exceeded by: other processes run, too, and calls take time.
constexpr milliseconds tolerance{100};

constexpr std::string_view responseBegins = "ExchangeResponseContainer.";

/// More descriptors than a host ever needs, also while it removes what dead ones have left.
constexpr std::size_t maximumDescriptors = 24;

}  // namespace

HostMonitor::HostMonitor(RunContext& context, std::shared_ptr<Process> process)
    : process(std::move(process)), context_(context), lastProgress_(mark()) {}

void HostMonitor::opens(const std::string& name) {
  if (!name.starts_with(responseBegins)) return;
  if (responses_.empty()) responses_ = name;
  if (name != responses_) context_.violate(process->name + " opens another host's " + name);
  hasRead_ = false;
  if (exchange_ != Exchange::waits) return;
  exchange_ = Exchange::takes;
  const auto waited = elapsed(began_);
  if (waited > TimeLimits::reply + tolerance)
    context_.violate(process->name + " waits for a reply beyond the limit");
  if (!isReplyHeard_ && context_.kernel.now() - began_.at < TimeLimits::reply)
    context_.violate(process->name + " gives a request up before the limit");
  // A host that can listen only after a failure takes it that it has missed an announcement.
  if (isReplyHeard_ && changesState_ && !hasFailed) mustHearSince_ = mark();
  if (!std::exchange(isReplyHeard_, false)) {
    if (isStrict && context_.isCalmSince(began_.at))
      context_.violate(process->name + " hears of no reply");
    isStrict = false;  // it may take what comes too late for the answer to another request
  }
  progresses();
}

void HostMonitor::reads(const Inode& file) {
  if (file.name.starts_with("Exchange") && file.name != responses_)
    context_.violate(process->name + " reads " + file.name);
  hasRead_ = hasRead_ || file.name == responses_;
}

/// A reply that the host takes has its identifier. The host empties the file unread when it gives
/// up.
void HostMonitor::cuts(const Inode& file, std::size_t size) {
  if (!hasRead_ || file.name != responses_ || !Container::isWellFormed(file.bytes)) return;
  if (file.bytes.find(identifier(), size) == std::string::npos)
    context_.violate(process->name + " takes a reply to another host");
}

std::string HostMonitor::identifier() const {
  return responses_.substr(responseBegins.size(), responses_.rfind('.') - responseBegins.size());
}

void HostMonitor::appended(std::string_view record) {
  context_.report.count("exchanges");
  if (mustHearSince_ && lastAnnounced_ < replyHeard_ && isStrict &&
      context_.kernel.now() - mustHearSince_->at < TimeLimits::appState)
    context_.violate(process->name + " asks before the state is announced");
  mustHearSince_.reset();
  const auto holds = [record](const char* name) {
    return record.find(name) != std::string_view::npos;
  };
  changesState_ = holds("setProtectionStatus") || holds("setHttpsFilteringStatus") ||
                  holds("removeCustomRules");
  if (exchange_ == Exchange::waits)
    context_.violate(process->name + " appends a request while another one waits");
  exchange_ = Exchange::waits;
  progresses();
  began_ = mark();
}

void HostMonitor::receives(std::string_view text) {
  if (text.find(".exchange.") != std::string_view::npos) {
    isReplyHeard_ = true;
    replyHeard_ = context_.kernel.now();
  }
  if (!text.ends_with(".appState")) return;
  ++announced;
  lastAnnounced_ = context_.kernel.now();
  if (!isCommandPending && !wasOverlapped && !inputEnded_) ++mustPush;
  progresses();
}

void HostMonitor::ended() {
  const bool isClean = !process->wasKilled && process->stopReason.empty();
  if (isClean && process->leftOpen > maximumDescriptors)
    context_.violate(process->name + " leaves descriptors open");
  if (inputEnded_ && isClean && elapsed(*inputEnded_) > TimeLimits::runLoopSlice + 3 * tolerance)
    context_.violate(process->name + " leaves too late");
}

void HostMonitor::blocks(std::string_view call) {
  const bool isLeaving = call == "poll" && inputEnded_;  // then it may wait for 100 ms
  if (call != "epoll_wait" && !isLeaving)
    context_.violate(process->name + " blocks in " + std::string(call));
}

void HostMonitor::continues() {
  excused_ += context_.kernel.now() - *std::exchange(stoppedSince_, std::nullopt);
}

void HostMonitor::check(bool isWaiting) {
  if (process->hasEnded || process->isStopped) return;
  if (inputEnded_ && elapsed(*inputEnded_) > TimeLimits::runLoopSlice + 3 * tolerance)
    context_.violate(process->name + " does not leave");
  if (exchange_ == Exchange::waits && elapsed(began_) > TimeLimits::reply + tolerance &&
      !inputEnded_)
    context_.violate(process->name + " does not give a request up at the limit");
  if (mustHearSince_ && isStrict && isWaiting && !inputEnded_ &&
      elapsed(*mustHearSince_) > TimeLimits::appState + tolerance)
    context_.violate(process->name + " waits for an announcement beyond the limit");
  if (isWaiting && !inputEnded_ && elapsed(lastProgress_) > TimeLimits::appState + tolerance)
    context_.violate(process->name + " waits beyond all limits");
}

}  // namespace corvane::Simulation
