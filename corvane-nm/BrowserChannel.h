#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <utility>

#include "Platform/EventLoop.h"
#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"
#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane {

/// The conversation with the browser: reads frames as they arrive and hands the messages on, writes
/// the replies, and notices the end. On the loop's thread.
class BrowserChannel {
 public:
  using Response = RequestProcessing::Response;
  using Reply = RequestProcessing::ReplyCallback;
  using Processor = std::function<void(JsonObject message, Reply reply)>;

  struct Limits {
    std::chrono::milliseconds slice;      ///< one turn of the main loop
    std::chrono::milliseconds lastSlice;  ///< the last one, which the end of input begins
    std::chrono::milliseconds lastRead;   ///< how long the browser may then read nothing
  };

  /// `loop` must outlive this object. The descriptors stay the caller's and must stay open.
  /// `processor` is called for one message after the other.
  BrowserChannel(Platform::EventLoop& loop, int input, int output, Processor processor,
                 Limits limits);

  /// Reads and answers, turning the loop, until the end of input. That begins the last slice. It
  /// ends when no message is pending and all replies have been written; replies to a browser that
  /// has closed its end, or that reads nothing of them for `lastRead`, are not waited for. At its
  /// limit it ends in any case. Frames are whole, unless the browser has not read one to its end by
  /// then.
  void listen();

  /// Sends `response` as a frame once the tasks posted so far have run, after those handed over
  /// before; `function` is what the log calls the operation that asked for it, and lives for ever.
  void send(Response response, const char* function);

  /// Stops reading from the browser, which then meets back pressure, and hands on no message;
  /// `resumeReading` goes on where it was. Both are no-ops when that is the state already. While
  /// reading is paused, the end of input is not noticed either.
  void pauseReading();
  void resumeReading();

 private:
  /// Exists as long as one message of the browser is pending: in its reply callback.
  class Pending {
   public:
    explicit Pending(BrowserChannel& channel) : channel_(&channel) { ++channel.pendingMessages_; }
    Pending(Pending&& other) noexcept : channel_(std::exchange(other.channel_, nullptr)) {}
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;
    Pending& operator=(Pending&&) = delete;
    ~Pending() {
      if (channel_ != nullptr) channel_->messageDone();
    }

   private:
    BrowserChannel* channel_;
  };

  /// A reply that waits for the end of the present row of tasks.
  struct Outgoing {
    Response response;
    const char* function = nullptr;
  };

  void watchInput();
  void read();
  Reply makeReply();
  void sendOutgoing();
  void messageDone();
  void endIfDone();
  [[nodiscard]] bool isAnswered() const;
  [[nodiscard]] bool isDone() const;

  Platform::EventLoop& loop_;
  const int input_;
  FrameReader reader_;
  FrameWriter writer_;
  const Processor processor_;
  const Limits limits_;

  Platform::EventLoop::Registration readable_;
  bool isPaused_ = false;
  bool readerIsInstalled_ = false;
  int pendingMessages_ = 0;
  std::deque<Outgoing> outgoing_;
};

}  // namespace corvane
