#include "corvane-nm/BrowserChannel.h"

#include <algorithm>
#include <array>
#include <boost/json/monotonic_resource.hpp>
#include <cstddef>

#include "Platform/HardStop.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

using Platform::EventLoop;

BrowserChannel::BrowserChannel(EventLoop& loop, int input, int output, Processor processor,
                               Limits limits)
    : loop_(loop),
      input_(input),
      reader_(input, [this](JsonObject message) { processor_(std::move(message), makeReply()); }),
      writer_(loop, output, [this] { endIfDone(); }),
      processor_(std::move(processor)),
      limits_(limits) {}

void BrowserChannel::listen() {
  readerIsInstalled_ = true;
  if (!isPaused_) watchInput();
  while (readerIsInstalled_) loop_.turnUntil(EventLoop::now() + limits_.slice);
  const auto end = EventLoop::now() + limits_.lastSlice;
  while (!isDone() && EventLoop::now() < end) {
    const std::uint64_t before = writer_.writtenBytes();
    loop_.turnUntil(std::min(end, EventLoop::now() + limits_.lastRead));
    if (isAnswered() && writer_.writtenBytes() == before) return;  // the browser does not read
  }
}

void BrowserChannel::watchInput() {
  readable_ = loop_.onReadable(input_, [this] { read(); });
}

void BrowserChannel::read() {
  if (reader_.read()) return;
  readable_ = {};
  loop_.post([this] {
    readerIsInstalled_ = false;
    loop_.endTurn();
  });
}

void BrowserChannel::pauseReading() {
  if (std::exchange(isPaused_, true)) return;
  reader_.pause();
  readable_ = {};
}

/// Later, as a message is what may have resumed it.
void BrowserChannel::resumeReading() {
  if (!std::exchange(isPaused_, false)) return;
  loop_.post([this] {
    if (isPaused_ || readable_) return;  // paused again, or resumed twice
    reader_.resume();
    if (!isPaused_ && readerIsInstalled_) watchInput();
  });
}

BrowserChannel::Reply BrowserChannel::makeReply() {
  return [this, pending = Pending(*this)](Response response) {
    send(std::move(response), "listen()");
  };
}

/// Replies leave together, once the requests that were read together have been handled: a burst so
/// wakes the browser once.
void BrowserChannel::send(Response response, const char* function) {
  outgoing_.push_back({std::move(response), function});
  if (outgoing_.size() == 1) loop_.post([this] { sendOutgoing(); });
}

void BrowserChannel::sendOutgoing() {
  while (!outgoing_.empty()) {
    const Outgoing& next = outgoing_.front();
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the resource writes it first
    std::array<unsigned char, 2048> memory;  // longer replies take more elsewhere
    boost::json::monotonic_resource values(memory.data(), memory.size());
    JsonObject reply(&values);
    next.response.addTo(reply);
    VCLogCDebug({"corvane-nm/main", next.function}, "Response sending (count: %@)", reply.size());
    writer_.send(reply);
    outgoing_.pop_front();
  }
  endIfDone();
}

void BrowserChannel::messageDone() {
  --pendingMessages_;
  endIfDone();
}

/// The last message or frame to be done after the end of input ends the last slice.
void BrowserChannel::endIfDone() {
  if (!readerIsInstalled_ && isDone()) loop_.endTurn();
}

bool BrowserChannel::isAnswered() const {
  return pendingMessages_ == 0 && outgoing_.empty();
}

bool BrowserChannel::isDone() const {
  return isAnswered() && writer_.isIdle();
}

}  // namespace corvane
