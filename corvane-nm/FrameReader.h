#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "Base/Result.h"
#include "corvane-nm/RequestProcessing/RequestParser.h"

namespace corvane {

/// Reads the browser's frames from a descriptor, piece by piece as they arrive: a length of 4 bytes
/// in host byte order, then so many bytes of JSON text whose top level is an object
/// (https://developer.chrome.com/docs/extensions/develop/concepts/native-messaging). Lengths up to
/// 4 GB are accepted. A body is parsed as it arrives and never kept: a frame takes the memory of
/// its request, and each call works on one piece of 64 KiB at the most, whatever the lengths are.
///
/// Each frame leaves the same log lines in the same order, however its bytes arrive. What is no
/// JSON is logged and dropped, what is JSON but no request is dropped. One thread.
class FrameReader {
 public:
  using OnRequest = std::function<void(RequestProcessing::Request&&)>;

  /// `descriptor` stays the caller's and must stay open. `onRequest` is called by `read`, for each
  /// request in order; it may call `pause`.
  FrameReader(int descriptor, OnRequest onRequest);

  /// Reads what can be read with one call and handles the frames that this completes. Blocks when
  /// there is nothing to read, so it is called when `descriptor` is readable. False at the end of
  /// input, after which it must not be called again; a read error is logged and counts as that.
  bool read();

  /// Delivers no request from now on, not even one that has been read, until `resume`. `read` must
  /// not be called in between.
  void pause() { isPaused_ = true; }
  /// Delivers what was read before, unless that pauses the reader again. Not from `onRequest`.
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

  // Where the present frame stands.
  bool hasBegun_ = false;   // its first byte has arrived
  bool hasLength_ = false;  // its length is known, and `received_` bytes of its body are parsed
  std::uint32_t length_ = 0;
  std::uint32_t received_ = 0;
  RequestProcessing::RequestParser parser_;

  // What has been read and not handled. A small frame so costs one system call.
  std::array<char, std::size_t{64} * 1024> buffer_;
  std::size_t bufferStart_ = 0;
  std::size_t bufferEnd_ = 0;
};

}  // namespace corvane
