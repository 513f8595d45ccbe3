#include "corvane-nm/BrowserChannel.h"

#include <algorithm>
#include <utility>

#include "Base/JsonWriter.h"
#include "Base/ScopeExit.h"
#include "Platform/Descriptor.h"
#include "Platform/Heap.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

using Platform::EventLoop;

namespace {

/// The delay before free heap memory is returned to the system: late enough not to slow a
/// conversation down, and soon enough that memory is back at its resting size within a second.
constexpr std::chrono::milliseconds heapTrimDelay{500};

/// The bytes that a pending request costs beside itself and a copy of its strings: the handler and
/// its continuations. Measured.
constexpr std::size_t overheadOfPendingRequest = 500;

}  // namespace

BrowserChannel::BrowserChannel(EventLoop& loop, int input, int output, Processor processor,
                               Limits limits)
    : loop_(loop),
      input_(input),
      reader_(input,
              [this](RequestProcessing::Request&& request) { handleRequest(std::move(request)); }),
      writer_(loop, output, [this] { outputDrained(); }),
      processor_(std::move(processor)),
      limits_(limits) {}

void BrowserChannel::listen() {
  readerIsInstalled_ = true;
  watchInput();
  while (readerIsInstalled_) {
    loop_.turnUntil(EventLoop::now() + limits_.slice);
    inputIsEnding_ = inputIsEnding_ || (isPaused_ && Platform::Descriptor::isHungUp(input_));
    if (isPaused_ && inputIsEnding_) resume();
  }
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
  scheduleHeapTrim();
  if (reader_.read()) return;
  inputHasEnded_ = true;
  readable_ = {};
  loop_.post([this] {
    readerIsInstalled_ = false;
    loop_.endTurn();
  });
}

void BrowserChannel::handleRequest(RequestProcessing::Request&& request) {
  const std::size_t bytes = 2 * request.bytes() + overheadOfPendingRequest;
  ++pendingRequests_;
  pendingBytes_ += bytes;
  processor_(std::move(request),
             [this, end = ScopeExit([this, bytes] { requestDone(bytes); })](Response&& response) {
               send(std::move(response), "listen()");
             });
  pauseIfFull();
}

void BrowserChannel::pauseIfFull() {
  const bool isTooMuch = pendingBytes_ > maximumPendingRequestBytes;
  if (isPaused_ || inputIsEnding_ || !(isTooMuch || isOutputFull())) return;
  if (isTooMuch) {
    VCLogCWarn({"corvane-nm/main", "listen()"},
               "Reading from the browser is paused: pending requests take %@ bytes", pendingBytes_);
  }
  isPaused_ = true;
  reader_.pause();
  readable_ = {};
}

void BrowserChannel::resumeIfRoom() {
  if (isPaused_ && pendingBytes_ <= maximumPendingRequestBytes / 2 && !isOutputFull()) resume();
}

/// Resumes in a task of its own, because this may run inside the reader's callback for a request.
void BrowserChannel::resume() {
  isPaused_ = false;
  loop_.post([this] {
    if (isPaused_ || readable_) return;  // paused again, or resumed twice
    reader_.resume();
    if (!isPaused_ && !inputHasEnded_) watchInput();
  });
}

/// Schedules the return of free memory to the system. A no-op if that is already scheduled.
void BrowserChannel::scheduleHeapTrim() {
  if (heapTrim_) return;
  heapTrim_ = loop_.at(EventLoop::now() + heapTrimDelay, [this] {
    heapTrim_ = {};
    Platform::returnFreeMemory();
  });
}

/// Replies to requests that were read together are written together, after all of them have been
/// handled, so that a burst wakes the browser up once.
void BrowserChannel::send(Response&& response, const char* function) {
  outgoing_.push_back({std::move(response), function});
  if (outgoing_.size() == 1) loop_.post([this] { sendOutgoing(); });
}

void BrowserChannel::sendOutgoing() {
  for (JsonWriter json; !outgoing_.empty(); outgoing_.pop_front()) {
    const Outgoing& next = outgoing_.front();
    next.response.writeTo(json);
    VCLogCDebug({"corvane-nm/main", next.function}, "Response sending (count: %@)",
                json.memberCount());
    writer_.send(json.view());
  }
  pauseIfFull();
  scheduleHeapTrim();
  endIfDone();
}

void BrowserChannel::outputDrained() {
  scheduleHeapTrim();
  resumeIfRoom();
  if (onDrained_) onDrained_();
  endIfDone();
}

void BrowserChannel::requestDone(std::size_t bytes) {
  --pendingRequests_;
  pendingBytes_ -= bytes;
  scheduleHeapTrim();
  resumeIfRoom();
  endIfDone();
}

/// Ends the last slice once no request is pending and everything has been written.
void BrowserChannel::endIfDone() {
  if (!readerIsInstalled_ && isDone()) loop_.endTurn();
}

bool BrowserChannel::isAnswered() const {
  return pendingRequests_ == 0 && outgoing_.empty();
}

bool BrowserChannel::isDone() const {
  return isAnswered() && writer_.isIdle();
}

}  // namespace corvane
