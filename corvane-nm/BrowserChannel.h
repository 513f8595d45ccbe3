#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>

#include "Base/UniqueFunction.h"
#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"

namespace corvane {

/// The conversation with the browser: a thread that reads frames and hands them on, the main loop
/// on which all answers are written, and the end of both. One per process, never destroyed once
/// `listen` was called.
class BrowserChannel {
 public:
  using Reply = UniqueFunction<void(JsonObject)>;
  using Processor = std::function<void(JsonObject message, Reply reply)>;

  /// `processor` is called on the reading thread, for one message after the other. `slice` is the
  /// length of a turn of the main loop. `leave` ends the process with status 0; it is called, on
  /// the reading thread, when the main thread is still busy at the end of the slice after the end
  /// of input.
  BrowserChannel(int input, int output, Processor processor, std::chrono::milliseconds slice,
                 std::function<void()> leave);

  /// Reads and answers until the end of input. Afterwards answers still leave until the running
  /// slice ends, but not longer than a message of the browser is being worked on. Main thread only.
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

  void readUntilEnd();
  Reply makeReply();
  void messageDone();
  void inputEnded();

  FrameReader reader_;  // reading thread only
  FrameWriter writer_;  // main queue only
  const Processor processor_;
  const std::chrono::milliseconds slice_;
  const std::function<void()> leave_;

  bool readerIsInstalled_ = false;  // main thread only
  std::atomic<bool> inputHasEnded_{false};
  std::atomic<int> messagesInWork_{0};
  std::atomic<std::chrono::steady_clock::time_point> sliceEnd_{
      std::chrono::steady_clock::time_point{}};
};

}  // namespace corvane
