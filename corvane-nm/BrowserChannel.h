#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <utility>

#include "Base/UniqueFunction.h"
#include "Platform/ReadingTurn.h"
#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"

namespace corvane {

class LentThread;

/// The conversation with the browser: threads that read frames in turn and hand them on, the main
/// queue on which all answers are written, and the end of both. One per process, never destroyed
/// once `listen` was called.
class BrowserChannel {
 public:
  /// Takes the reply, which it reads during the call only.
  using Reply = UniqueFunction<void(const JsonObject&)>;
  using Processor = std::function<void(JsonObject message, Reply reply)>;

  struct Limits {
    std::chrono::milliseconds slice;      ///< one turn of the main loop
    std::chrono::milliseconds lastSlice;  ///< the last one, which the end of input begins
    std::chrono::milliseconds lastFrame;  ///< how much longer a frame under way may take to get out
  };

  /// `processor` is called on the reading thread, for one message after the other; for the first
  /// one, if it is there already, on the main thread, before there is a reading thread. The thread
  /// lends itself (LentThread): the queue's turn that a call leaves there is used before the next
  /// frame is read, and must not wait for anything; the turns that this one leaves may, as somebody
  /// else reads then. `listen` calls `firstIsServed` once, after what it does for a first message,
  /// or when there is none yet. `leave` ends the process with status 0; it is called, on the
  /// reading thread, if the main thread is still inside a write once the last slice and the time
  /// for a frame have passed.
  BrowserChannel(int input, int output, Processor processor, Limits limits,
                 std::function<void()> firstIsServed, std::function<void()> leave);

  /// Reads and answers until the end of input, which begins the last slice: answers leave until it
  /// ends, but it ends as soon as no message of the browser is being worked on. Frames are whole,
  /// unless the browser stops reading one. Main thread only.
  void listen();

  /// Writes a frame; see FrameWriter::send. Main queue only.
  bool send(const JsonObject& response) { return writer_.send(response); }

 private:
  /// Exists as long as one message of the browser is being worked on: in its reply callback.
  class BeingWorkedOn {
   public:
    explicit BeingWorkedOn(BrowserChannel& channel) : channel_(&channel) {
      ++channel.messagesInWork_;
    }
    BeingWorkedOn(BeingWorkedOn&& other) noexcept
        : channel_(std::exchange(other.channel_, nullptr)) {}
    BeingWorkedOn(const BeingWorkedOn&) = delete;
    BeingWorkedOn& operator=(const BeingWorkedOn&) = delete;
    BeingWorkedOn& operator=(BeingWorkedOn&&) = delete;
    ~BeingWorkedOn() {
      if (channel_ != nullptr) channel_->messageDone();
    }

   private:
    BrowserChannel* channel_;
  };

  void serveFirst();
  void readUntilEnd();
  bool serveOne(LentThread& thisThread);
  bool offerReading();
  Reply makeReply();
  void messageDone();
  void endLastSlice();
  void inputEnded();

  FrameReader reader_;  // reading thread only
  FrameWriter writer_;  // main queue only
  const Processor processor_;
  const Limits limits_;
  const std::function<void()> firstIsServed_;
  const std::function<void()> leave_;

  std::optional<Platform::ReadingTurn> readingTurn_;  // set when there is a second reader

  bool readerIsInstalled_ = false;         // main thread only
  bool isAllAnswered_ = false;             // main thread only: no more answer is to come
  std::atomic<bool> isFrameAhead_{false};  // frames have come faster than they are worked on
  std::atomic<bool> inputHasEnded_{false};
  std::atomic<int> messagesInWork_{0};
};

}  // namespace corvane
