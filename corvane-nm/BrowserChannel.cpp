#include "corvane-nm/BrowserChannel.h"

#include <memory>
#include <thread>
#include <utility>

#include "Platform/MainQueue.h"
#include "Platform/Threads.h"
#include "VCommons/VCommonsKit/LentThread.h"
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
  const auto end = Clock::now() + limits_.lastSlice;
  while (!isAllAnswered_ && Clock::now() < end) MainQueue::turnUntil(end);
}

void BrowserChannel::readUntilEnd() {
  Platform::nameThisThread("StandardInput");
  LentThread thisThread;
  for (;;) {
    FrameReader::Frame frame = reader_.readOne();
    if (frame.isEndOfInput) break;
    isMoreToRead_ = reader_.hasReadAhead();
    if (frame.message) processor_(std::move(*frame.message), makeReply());
    thisThread.useTurn();  // the handler, which does not wait
    if (!thisThread.hasTurn()) continue;
    const bool isOffered = offerReading();
    while (thisThread.hasTurn()) thisThread.useTurn();  // an exchange, which does
    if (isOffered && !readingTurn_->takeBack()) readingTurn_->await();
  }
  inputEnded();
}

/// Lets another thread read the frame that comes while this one waits for an exchange. Two are
/// enough: there is one exchange at a time, so the other one is not in any, or about to leave it.
/// False when the system has no means for it: then nothing is read until the exchange has ended.
bool BrowserChannel::offerReading() {
  if (!readingTurn_) {
    readingTurn_.emplace(reader_.descriptor());
    if (!readingTurn_->isUsable()) {
      readingTurn_.reset();
      return false;
    }
    std::thread([this] {
      readingTurn_->await();
      readUntilEnd();
    }).detach();
  }
  readingTurn_->offer(reader_.hasReadAhead());
  return true;
}

/// An answer that the browser's pipe takes at once leaves from the thread that has it, if the main
/// thread sleeps and the next request is not there yet; all others leave while that is worked on.
BrowserChannel::Reply BrowserChannel::makeReply() {
  return [this, work = BeingWorkedOn(*this)](const JsonObject& reply) {
    VCLogCDebug({"corvane-nm/main", "listen()"}, "Response sending (count: %@)", reply.size());
    auto encoded = std::make_shared<const FrameWriter::Encoded>(FrameWriter::encode(reply));
    const auto write = [this, encoded] {
      if (encoded->body) writer_.write(encoded->body->view());
    };
    MainQueue::async(write, [&] {
      if (isMoreToRead_) return false;
      if (encoded->body && !writer_.takesAtOnce(encoded->body->view().size())) return false;
      write();
      return true;
    });
  };
}

/// The last message to be done after the end of input ends the last slice: nobody waits for
/// anything any more.
void BrowserChannel::messageDone() {
  if (--messagesInWork_ == 0 && inputHasEnded_) endLastSlice();
}

/// By way of the queue: answers that were queued before are written first.
void BrowserChannel::endLastSlice() {
  MainQueue::async([this] {
    isAllAnswered_ = true;
    MainQueue::endTurn();
  });
}

void BrowserChannel::inputEnded() {
  MainQueue::async([this] {
    readerIsInstalled_ = false;
    inputHasEnded_ = true;
    if (messagesInWork_ == 0) endLastSlice();
    MainQueue::endTurn();
  });
  std::this_thread::sleep_for(limits_.lastSlice + limits_.lastFrame);
  leave_();  // the browser reads no more, and the main thread is inside a write to it
}

}  // namespace corvane
