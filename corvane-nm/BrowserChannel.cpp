#include "corvane-nm/BrowserChannel.h"

#include <thread>
#include <utility>

#include "Platform/MainQueue.h"
#include "Platform/Threads.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

namespace MainQueue = Platform::MainQueue;
using Clock = std::chrono::steady_clock;

BrowserChannel::BrowserChannel(int input, int output, Processor processor,
                               std::chrono::milliseconds slice, std::function<void()> leave)
    : reader_(input),
      writer_(output),
      processor_(std::move(processor)),
      slice_(slice),
      leave_(std::move(leave)) {}

void BrowserChannel::listen() {
  readerIsInstalled_ = true;
  sliceEnd_ = Clock::now() + slice_;
  std::thread([this] { readUntilEnd(); }).detach();
  while (readerIsInstalled_) {
    sliceEnd_ = Clock::now() + slice_;
    MainQueue::turnUntil(sliceEnd_);
  }
}

void BrowserChannel::readUntilEnd() {
  Platform::nameThisThread("StandardInput");
  for (;;) {
    FrameReader::Frame frame = reader_.readOne();
    if (frame.isEndOfInput) break;
    if (frame.message) processor_(std::move(*frame.message), makeReply());
  }
  inputEnded();
}

BrowserChannel::Reply BrowserChannel::makeReply() {
  return [this, work = BeingWorkedOn(*this)](JsonObject reply) {
    MainQueue::async([this, reply = std::move(reply)] {
      VCLogCDebug({"corvane-nm/main", "listen()"}, "Response sending (count: %@)", reply.size());
      send(reply);
    });
  };
}

/// The last message to be done after the end of input ends the turn: nobody waits for anything any
/// more. Its answer, if it has one, was queued before and is written first.
void BrowserChannel::messageDone() {
  if (--messagesInWork_ == 0 && inputHasEnded_) MainQueue::endTurn();
}

void BrowserChannel::inputEnded() {
  const auto now = Clock::now();
  const auto sliceEnd = sliceEnd_.load();
  MainQueue::async([this] {
    readerIsInstalled_ = false;
    inputHasEnded_ = true;
    if (messagesInWork_ == 0) MainQueue::endTurn();
  });
  // A browser that reads no more may hold the main thread inside a write, even beyond its slice.
  std::this_thread::sleep_until(sliceEnd > now ? sliceEnd : now + slice_);
  leave_();
}

}  // namespace corvane
