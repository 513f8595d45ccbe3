#include "corvane-nm/BrowserChannel.h"

#include <optional>
#include <thread>
#include <utility>

#include "Platform/MainQueue.h"
#include "Platform/Threads.h"
#include "VCommons/VCommonsKit/LentThread.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

namespace MainQueue = Platform::MainQueue;
using Clock = std::chrono::steady_clock;

namespace {

/// On the reading thread while it works on one message and will not wait before the next: it may
/// leave waking the main thread to that one.
thread_local bool comesBackAtOnce = false;

}  // namespace

BrowserChannel::BrowserChannel(int input, int output, Processor processor, Limits limits,
                               std::function<void()> firstIsServed, std::function<void()> leave)
    : reader_(input),
      writer_(output),
      processor_(std::move(processor)),
      limits_(limits),
      firstIsServed_(std::move(firstIsServed)),
      leave_(std::move(leave)) {}

void BrowserChannel::listen() {
  readerIsInstalled_ = true;
  serveFirst();
  firstIsServed_();
  std::thread([this] { readUntilEnd(); }).detach();
  while (readerIsInstalled_) MainQueue::turnUntil(Clock::now() + limits_.slice);
  const auto end = Clock::now() + limits_.lastSlice;
  while (!isAllAnswered_ && Clock::now() < end) MainQueue::turnUntil(end);
}

/// A message that the browser has sent by now is answered here, unless that takes an exchange: to
/// start the reading thread first takes longer than the answer.
void BrowserChannel::serveFirst() {
  reader_.readAhead();
  if (!reader_.hasFrameAhead()) return;
  {
    LentThread thisThread;
    serveOne(thisThread);
    thisThread.passTurnsOn();
  }
  comesBackAtOnce = false;
  MainQueue::turnUntil(Clock::now());  // writes the answer, if there is one
}

void BrowserChannel::readUntilEnd() {
  Platform::nameThisThread("StandardInput");
  LentThread thisThread;
  while (serveOne(thisThread)) {
    if (comesBackAtOnce && !thisThread.hasTurn()) continue;
    comesBackAtOnce = false;
    MainQueue::wake();
    if (!thisThread.hasTurn()) continue;
    const bool isOffered = offerReading();
    while (thisThread.hasTurn()) thisThread.useTurn();  // an exchange
    if (isOffered && !readingTurn_->takeBack()) readingTurn_->await();
  }
  inputEnded();
}

/// Works on the next message as far as that goes without waiting. False at the end of input.
bool BrowserChannel::serveOne(LentThread& thisThread) {
  FrameReader::Frame frame = reader_.readOne();
  if (frame.isEndOfInput) return false;
  isFrameAhead_ = comesBackAtOnce = reader_.hasFrameAhead();
  if (frame.message) processor_(std::move(*frame.message), makeReply());
  thisThread.useTurn();
  return true;
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
/// thread sleeps and the next request is not there yet; all others leave while that is worked on,
/// a few for each time that the main thread wakes.
BrowserChannel::Reply BrowserChannel::makeReply() {
  return [this, work = BeingWorkedOn(*this)](const JsonObject& reply) {
    VCLogCDebug({"corvane-nm/main", "listen()"}, "Response sending (count: %@)", reply.size());
    std::optional<GrowingText> body = FrameWriter::encode(reply).body;
    if (!body) return;
    const std::size_t size = body->view().size();
    auto write = [this, body = std::move(*body)] { writer_.write(body.view()); };
    if (comesBackAtOnce) {
      MainQueue::asyncWithoutWaking(std::move(write));
    } else {
      MainQueue::async(std::move(write),
                       [&] { return !isFrameAhead_ && writer_.takesAtOnce(size); });
    }
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
