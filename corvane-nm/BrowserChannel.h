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

/// The conversation with the browser: reads frames as they arrive and hands the requests on, writes
/// the replies, and notices the end. On the loop's thread.
class BrowserChannel {
 public:
  using Response = RequestProcessing::Response;
  using Reply = RequestProcessing::ReplyCallback;
  using Processor = std::function<void(RequestProcessing::Request&& request, Reply&& reply)>;

  /// Reading pauses while pending requests, their strings counted twice, take more than this many
  /// bytes, and resumes at half of it. Room for about eight requests of the maximum length that an
  /// exchange carries.
  static constexpr std::size_t maximumPendingRequestBytes = std::size_t{16} << 20;

  struct Limits {
    std::chrono::milliseconds slice;      ///< one turn of the main loop
    std::chrono::milliseconds lastSlice;  ///< the last one, which the end of input begins
    std::chrono::milliseconds lastRead;   ///< how long the browser may then read nothing
  };

  /// `loop` must outlive this object. The descriptors stay the caller's and must stay open.
  /// `processor` is called for one request after the other.
  BrowserChannel(Platform::EventLoop& loop, int input, int output, Processor processor,
                 Limits limits);

  /// Reads and answers, turning the loop, until the end of input. That begins the last slice. It
  /// ends when no message is pending and all replies have been written; replies to a browser that
  /// has closed its end, or that reads nothing of them for `lastRead`, are not waited for. At its
  /// limit it ends in any case. Frames are whole, unless the browser has not read one to its end by
  /// then.
  ///
  /// Reading pauses while too many requests are pending or too many replies are unread; the browser
  /// then meets back pressure. A log line says so. While it is paused, the end of input is checked
  /// for once per slice; what is left in the pipe is then read.
  void listen();

  /// Sends `response` as a frame once the tasks posted so far have run, after those handed over
  /// before; `function` is what the log calls the operation that asked for it, and lives for ever.
  void send(Response&& response, const char* function);

  /// Whether so many replies are unread that nothing should be sent unasked, and how many bytes.
  [[nodiscard]] bool isOutputFull() const { return writer_.isFull(); }

  [[nodiscard]] std::size_t unreadBytes() const { return writer_.pendingBytes(); }

  /// Sets the callback that runs each time that all pending output has been written or dropped. It
  /// replaces the one before.
  void onDrained(std::function<void()> callback) { onDrained_ = std::move(callback); }

 private:
  /// A reply that waits for the end of the present row of tasks.
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
  bool isPaused_ = false;       // as too much is pending
  bool inputIsEnding_ = false;  // what is left of it is in the pipe
  bool inputHasEnded_ = false;
  bool readerIsInstalled_ = false;
  int pendingRequests_ = 0;
  std::size_t pendingBytes_ = 0;  // of these
  std::deque<Outgoing> outgoing_;
  std::function<void()> onDrained_;
  Platform::EventLoop::Registration heapTrim_;
};

}  // namespace corvane
