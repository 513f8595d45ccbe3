#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/NonBlockingOutput.h"

namespace corvane {

/// Writes frames to the browser, whole and in the order in which they were handed over: the length
/// with one call, the body with a second, unless the pipe takes less at a time. Never blocks: a
/// frame that the browser's pipe does not take in full is kept until it takes more. On the loop's
/// thread.
class FrameWriter {
 public:
  /// The writer is full while more bytes of frames than this are pending, which a log line says.
  /// Room for sixteen of the longest replies that browsers accept.
  static constexpr std::size_t maximumPendingBytes = std::size_t{16} << 20;

  /// `descriptor` stays the caller's and must stay open. `loop` must outlive this object.
  /// `onIdle` is called when frames that had to be kept have all been written, or dropped because
  /// the browser is gone.
  FrameWriter(Platform::EventLoop& loop, int descriptor, std::function<void()> onIdle);

  /// Writes `json`, the text of an object made by JsonWriter, as one frame, or as much of it as is
  /// taken now; reads it only during the call. False, with an error line, only when a string in it
  /// is not well formed; JsonWriter makes no object that is invalid in any other way. A browser
  /// that is gone costs one error line, and nothing is written after it. A body beyond 1,048,576
  /// bytes is written after a warning line, as browsers end the conversation over it; one beyond
  /// 4,294,967,295 bytes ends the process.
  bool send(std::string_view json);

  /// Whether everything sent has been written, or never will be.
  [[nodiscard]] bool isIdle() const { return pending_.empty(); }

  /// True from when too much is pending until all of it has been written. `send` accepts more all
  /// the same: it is up to the caller to make no more.
  [[nodiscard]] bool isFull() const { return isFull_; }

  /// How many bytes are still to be written, and how many the browser's pipe has taken so far.
  [[nodiscard]] std::size_t pendingBytes() const { return pendingBytes_; }
  [[nodiscard]] std::uint64_t writtenBytes() const { return writtenBytes_; }

 private:
  /// A frame that has not been written in full.
  struct Frame {
    std::uint32_t length;
    std::string body = {};
    std::size_t written = 0;  // of the length's 4 bytes and the body
  };

  void add(std::string_view body);
  bool write(Frame& frame, std::string_view body);
  bool writePiece(Frame& frame, ByteView piece);
  void writePending();
  void awaitRoom();
  void browserIsGone(const Failure& failure);

  Platform::EventLoop& loop_;
  Platform::NonBlockingOutput output_;
  const std::function<void()> onIdle_;
  std::deque<Frame> pending_;
  std::size_t pendingBytes_ = 0;
  std::uint64_t writtenBytes_ = 0;
  bool isFull_ = false;
  bool isGone_ = false;
  Platform::EventLoop::Registration writable_;
};

}  // namespace corvane
