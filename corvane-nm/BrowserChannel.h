#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>

#include "Platform/EventLoop.h"
#include "corvane-nm/FrameReader.h"
#include "corvane-nm/FrameWriter.h"
#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane {

/// The conversation with the browser: reads frames as they arrive and passes the requests on,
/// writes the replies, and handles the end of input. Limits the memory for both directions by
/// pausing the reader. All functions and callbacks run on the loop's thread; none but `listen`
/// blocks.
class BrowserChannel {
 public:
  using Response = RequestProcessing::Response;
  using Reply = RequestProcessing::ReplyCallback;
  /// Starts to process one request. `reply` is called at most once, at once or later; the request
  /// is pending until `reply` is destroyed.
  using Processor = std::function<void(RequestProcessing::Request&& request, Reply&& reply)>;

  /// Reading pauses while pending requests take more than this many bytes, and resumes at half of
  /// it. Strings count twice, because an exchange copies them. Room for about eight requests of the
  /// maximum length that an exchange carries.
  static constexpr std::size_t maximumPendingRequestBytes = std::size_t{16} << 20;

  struct Limits {
    std::chrono::milliseconds slice;      ///< length of one turn of the loop
    std::chrono::milliseconds lastSlice;  ///< longest wait for replies after the end of input
    std::chrono::milliseconds lastRead;   ///< how long the browser may read nothing meanwhile
  };

  /// `loop` must outlive this object, and this object the loop's last turn and all replies. The
  /// caller owns the descriptors and must keep them open. `processor` is called for one request at
  /// a time, in the order of their arrival. Reads nothing before `listen`.
  BrowserChannel(Platform::EventLoop& loop, int input, int output, Processor processor,
                 Limits limits);

  /// Reads and answers, running the loop, until the end of input. Then begins the last slice, which
  /// ends when no request is pending and all replies have been written, and in any case at its
  /// limit. Replies are not waited for if the browser has closed its end or reads nothing of them
  /// for `lastRead`. Each frame is written completely, unless the browser stops reading in the
  /// middle of it. Call it once.
  ///
  /// Reading pauses while too many requests are pending or too many replies are unread; the pipe
  /// then fills up and blocks the browser's writes. A log line says so. While paused, checks once
  /// per slice whether the browser has closed the pipe, and if so reads what is left in it.
  void listen();

  /// Sends `response` as a frame after all earlier ones, once the tasks posted so far have run.
  /// Returns at once. `function` is the operation's name for the log; it must be a literal.
  void send(Response&& response, const char* function);

  /// Whether so many replies are unread that nothing should be sent unasked.
  [[nodiscard]] bool isOutputFull() const { return writer_.isFull(); }

  /// The number of bytes that the browser's pipe has not taken yet.
  [[nodiscard]] std::size_t unreadBytes() const { return writer_.pendingBytes(); }

  /// Sets the callback for the moment when pending output has all been written, or dropped because
  /// the browser is gone. Replaces the previous callback; runs each time, on the loop.
  void onDrained(std::function<void()> callback) { onDrained_ = std::move(callback); }

 private:
  /// A reply that waits until the tasks posted before it have run.
  struct Outgoing {
    Response response;
    const char* function = nullptr;
  };

  void watchInput();
  void read();
  void handleRequest(RequestProcessing::Request&& request);
  void pauseIfFull();
  void resumeIfRoom();
  void resume();
  void outputDrained();
  void sendOutgoing();
  void requestDone(std::size_t bytes);
  void scheduleHeapTrim();
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
  bool isPaused_ = false;       // because too much is pending
  bool inputIsEnding_ = false;  // the browser has closed the pipe; what is left in it is unread
  bool inputHasEnded_ = false;
  bool readerIsInstalled_ = false;
  int pendingRequests_ = 0;
  std::size_t pendingBytes_ = 0;  // estimated memory of pending requests
  std::deque<Outgoing> outgoing_;
  std::function<void()> onDrained_;
  Platform::EventLoop::Registration heapTrim_;
};

}  // namespace corvane
