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

/// Writes frames to the browser, in the order of the calls: the length with one system call, the
/// body with a second, or with more if the pipe takes less at a time. Never blocks: what the pipe
/// does not take is stored and written when it has room. On the loop's thread.
class FrameWriter {
 public:
  /// The writer counts as full once more bytes than this are pending; a log line says so. Room for
  /// sixteen of the longest replies that browsers accept.
  static constexpr std::size_t maximumPendingBytes = std::size_t{16} << 20;

  /// The caller owns `descriptor` and must keep it open. `loop` must outlive this object. `onIdle`
  /// is called, on the loop, when stored frames have all been written, or dropped because the
  /// browser is gone; not if `send` could write everything itself.
  FrameWriter(Platform::EventLoop& loop, int descriptor, std::function<void()> onIdle);

  /// Writes `json`, the text of an object made by JsonWriter, as one frame, or stores what the pipe
  /// does not take now. Refers to `json` only during the call. Returns false, after an error line,
  /// if a string in it is not well formed (Base/Unicode.h); nothing is written then.
  ///
  /// If the browser is gone, one error line says so, and this and all later frames are dropped. A
  /// body above 1,048,576 bytes is written after a warning line, because browsers end the
  /// connection over it. One above 4,294,967,295 bytes, which the length can't express, ends the
  /// process.
  bool send(std::string_view json);

  /// Whether nothing is pending: everything was written, or dropped.
  [[nodiscard]] bool isIdle() const { return pending_.empty(); }

  /// True from the moment when too much is pending until all of it has been written. `send` still
  /// accepts frames; callers check this before they make more.
  [[nodiscard]] bool isFull() const { return isFull_; }

  /// The number of bytes, lengths included, that are pending, and that the pipe has taken so far.
  [[nodiscard]] std::size_t pendingBytes() const { return pendingBytes_; }
  [[nodiscard]] std::uint64_t writtenBytes() const { return writtenBytes_; }

 private:
  /// A frame that has not been written in full.
  struct Frame {
    std::uint32_t length;
    std::string body = {};
    std::size_t written = 0;  // bytes, of the length's 4 and then of the body
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
