#include "corvane-nm/BrowserChannel.h"

#include <thread>
#include <utility>

#include "Platform/MainQueue.h"
#include "Platform/Threads.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

namespace MainQueue = Platform::MainQueue;
using Clock = std::chrono::steady_clock;

BrowserChannel::BrowserChannel(int input, int output, Processor processor, Limits limits,
                               std::function<void()> leave)
    : reader_(input),
      writer_(output),
      processor_(std::move(processor)),
      limits_(limits),
      leave_(std::move(leave)) {}

void BrowserChannel::listen() {
  readerIsInstalled_ = true;
  std::thread([this] { readUntilEnd(); }).detach();
  while (readerIsInstalled_) MainQueue::turnUntil(Clock::now() + limits_.slice);
  if (answersAreDue_) MainQueue::turnUntil(Clock::now() + limits_.slice);
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
  MainQueue::async([this] {
    readerIsInstalled_ = false;
    inputHasEnded_ = true;
    answersAreDue_ = messagesInWork_ > 0;
    MainQueue::endTurn();  // what is not due any more was queued before this
  });
  std::this_thread::sleep_for(limits_.slice + limits_.lastFrame);
  leave_();  // the browser reads no more, and the main thread is inside a write to it
}

}  // namespace corvane
