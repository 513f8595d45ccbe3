#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "Base/Result.h"
#include "corvane-nm/RequestProcessing/RequestParser.h"

namespace corvane {

/// Reads the browser's frames from a descriptor: a length of 4 bytes in host byte order, then that
/// many bytes of JSON text whose top level is an object
/// (https://developer.chrome.com/docs/extensions/develop/concepts/native-messaging). Accepts
/// lengths up to 4 GB. A body is parsed as it arrives and never stored: a frame takes the memory of
/// its request, and each call handles at most 64 KiB of input, so the caller's thread is never busy
/// for long.
///
/// Every frame leaves the same log lines in the same order, however its bytes arrive. A body that
/// is not JSON is logged and dropped; JSON that is not a request is dropped silently. Neither ends
/// the conversation. Not thread-safe.
class FrameReader {
 public:
  using OnRequest = std::function<void(RequestProcessing::Request&&)>;

  /// The caller owns `descriptor` and must keep it open. `onRequest` is called inside `read` and
  /// `resume`, once per request and in order; it may call `pause`, but neither of these two.
  FrameReader(int descriptor, OnRequest onRequest);

  /// Makes one read call and handles the frames that this completes. Blocks if there is nothing to
  /// read, so call it when `descriptor` is readable. Returns false at the end of input; do not call
  /// it again then. A read error is logged and counts as the end of input. An incomplete frame
  /// before the end is dropped.
  bool read();

  /// Stops delivering requests until `resume`, even those already read. Do not call `read` in
  /// between.
  void pause() { isPaused_ = true; }
  /// Ends a pause and delivers requests already read, until one of them pauses the reader again.
  /// Must not be called by `onRequest`.
  void resume();

 private:
  [[nodiscard]] std::size_t available() const { return bufferEnd_ - bufferStart_; }
  std::string_view consume(std::size_t count);
  Result<std::size_t> fill();
  void handleFrames();
  void beginFrame();
  bool readLength();
  bool readBody();
  void frameEnded();
  void inputEnded();

  const int descriptor_;
  const OnRequest onRequest_;
  bool isPaused_ = false;

  // Progress of the present frame.
  bool hasBegun_ = false;   // its first byte has arrived
  bool hasLength_ = false;  // its length is known, and `received_` bytes of its body are parsed
  std::uint32_t length_ = 0;
  std::uint32_t received_ = 0;
  RequestProcessing::RequestParser parser_;

  // Bytes read and not handled yet. A frame that fits costs one system call, length included.
  std::array<char, std::size_t{64} * 1024> buffer_;
  std::size_t bufferStart_ = 0;
  std::size_t bufferEnd_ = 0;
};

}  // namespace corvane
