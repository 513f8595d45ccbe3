#include "simulation/HostMonitor.h"

#include <utility>

#include "Base/TimeLimits.h"
#include "simulation/Container.h"

namespace corvane::Simulation {
namespace {

using std::chrono::milliseconds;

/// Added to each limit, because other processes run, too, and system calls take time.
constexpr milliseconds tolerance{100};

constexpr std::string_view responseBegins = "ExchangeResponseContainer.";

/// More descriptors than a host needs when it ends.
constexpr std::size_t maximumDescriptors = 24;

}  // namespace

HostMonitor::HostMonitor(RunContext& context, std::shared_ptr<Process> process)
    : process(std::move(process)), context_(context), lastProgress_(mark()) {}

void HostMonitor::opens(const std::string& name) {
  // Before the application's first start there is no request file, and the host appends nothing.
  if (!context_.kernel.files().at(Container::requests())) progresses();
  if (!name.starts_with(responseBegins)) return;
  if (responses_.empty()) responses_ = name;
  if (name != responses_) context_.violate(process->name + " opens another host's " + name);
  hasRead_ = false;
  if (exchange_ != Exchange::waits) return;
  exchange_ = Exchange::takes;
  lastTaken = context_.kernel.now();
  const auto waited = elapsed(began_);
  if (waited > TimeLimits::reply + tolerance)
    context_.violate(process->name + " waits for a reply beyond the limit");
  if (!isReplyHeard_ && context_.kernel.now() - began_.at < TimeLimits::reply)
    context_.violate(process->name + " gives up a request before the limit");
  // A host that could listen only after a failure assumes that it missed an announcement.
  if (isReplyHeard_ && changesState_ && !hasFailed) mustHearSince_ = mark();
  if (!std::exchange(isReplyHeard_, false)) {
    if (isStrict && context_.isCalmSince(began_.at))
      context_.violate(process->name + " receives no reply");
    isStrict = false;  // a late reply may be taken for the answer to another request
  }
  progresses();
}

void HostMonitor::reads(const Inode& file) {
  if (Container::isExchangeFile(file) && file.name != responses_)
    context_.violate(process->name + " reads " + file.name);
  hasRead_ = hasRead_ || file.name == responses_;
}

/// A record that the host removes after reading it must have its identifier. When it gives up, it
/// empties the file unread.
void HostMonitor::cuts(const Inode& file, std::size_t size) {
  if (!hasRead_ || file.name != responses_ || !Container::isWellFormed(file.bytes)) return;
  if (file.bytes.find(identifier(), size) == std::string::npos)
    context_.violate(process->name + " takes a reply for another host");
}

std::string HostMonitor::identifier() const {
  return responses_.substr(responseBegins.size(), responses_.rfind('.') - responseBegins.size());
}

void HostMonitor::appended(std::string_view record) {
  context_.report.count("exchanges");
  if (mustHearSince_ && lastAnnounced_ < replyHeard_ && isStrict &&
      context_.kernel.now() - mustHearSince_->at < TimeLimits::appState)
    context_.violate(process->name + " starts an exchange before the announcement it waits for");
  mustHearSince_.reset();
  const auto holds = [record](const char* name) {
    return record.find(name) != std::string_view::npos;
  };
  changesState_ = holds("setProtectionStatus") || holds("setHttpsFilteringStatus") ||
                  holds("removeCustomRules");
  if (exchange_ == Exchange::waits)
    context_.violate(process->name + " appends a request while another one is in flight");
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
    context_.violate(process->name + " ends too late");
}

void HostMonitor::blocks(std::string_view call) {
  const bool isLeaving = call == "poll" && inputEnded_;  // it may flush notifications for 100 ms
  if (call != "epoll_wait" && !isLeaving)
    context_.violate(process->name + " blocks in " + std::string(call));
}

void HostMonitor::continues() {
  excused_ += context_.kernel.now() - *std::exchange(stoppedSince_, std::nullopt);
}

void HostMonitor::check(bool isWaiting) {
  if (process->hasEnded || process->isStopped) return;
  if (inputEnded_ && elapsed(*inputEnded_) > TimeLimits::runLoopSlice + 3 * tolerance)
    context_.violate(process->name + " does not end");
  if (exchange_ == Exchange::waits && elapsed(began_) > TimeLimits::reply + tolerance &&
      !inputEnded_)
    context_.violate(process->name + " does not give up a request at the limit");
  if (mustHearSince_ && lastAnnounced_ < replyHeard_ && isStrict && isWaiting && !inputEnded_ &&
      elapsed(*mustHearSince_) > TimeLimits::appState + tolerance)
    context_.violate(process->name + " waits for an announcement beyond the limit");
  if (isWaiting && !inputEnded_ && elapsed(lastProgress_) > TimeLimits::appState + tolerance)
    context_.violate(process->name + " waits beyond all limits");
}

}  // namespace corvane::Simulation
