#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "Base/Json.h"

namespace corvane {

/// Reads the browser's frames from a descriptor, piece by piece as they arrive: a length of 4 bytes
/// in host byte order, then so many bytes of JSON text whose top level is an object
/// (https://developer.chrome.com/docs/extensions/develop/concepts/native-messaging). Lengths up to
/// 4 GB are accepted; memory follows the bytes that have arrived, whatever a length announces.
///
/// Each frame leaves the same log lines in the same order, however its bytes arrive. What is not a
/// message is logged and dropped. One thread.
class FrameReader {
 public:
  using OnMessage = std::function<void(JsonObject)>;

  /// `descriptor` stays the caller's and must stay open. `onMessage` is called by `read`, for each
  /// message in order; it may call `pause`.
  FrameReader(int descriptor, OnMessage onMessage);

  /// Reads what can be read with one call and handles the frames that this completes. Blocks when
  /// there is nothing to read, so it is called when `descriptor` is readable. False at the end of
  /// input, after which it must not be called again; a read error is logged and counts as that.
  bool read();

  /// No message is delivered from now on, not even one that has been read, until `resume`, which
  /// delivers those. `read` must not be called in between. `resume` must not be called by
  /// `onMessage`.
  void pause() { isPaused_ = true; }
  void resume();

 private:
  struct Freeing {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };

  [[nodiscard]] std::size_t available() const { return aheadEnd_ - aheadStart_; }
  Result<std::size_t> fill();
  void handleFrames();
  void beginFrame();
  bool readLength();
  bool readBody();
  std::optional<JsonObject> frameEnded(std::string_view body);
  void deliver(std::optional<JsonObject> message);
  void inputEnded();
  void growBody(std::size_t capacity);

  const int descriptor_;
  const OnMessage onMessage_;
  bool isPaused_ = false;

  // Where the present frame stands.
  bool hasBegun_ = false;   // its first byte has arrived
  bool hasLength_ = false;  // its length is known, and `body_` holds `received_` bytes
  std::uint32_t length_ = 0;
  std::size_t received_ = 0;

  // What has been read and not handled. A small frame so costs one system call, and none is copied
  // when it lies here in one piece.
  std::array<std::byte, 8192> ahead_{};
  std::size_t aheadStart_ = 0;
  std::size_t aheadEnd_ = 0;

  // The body of a frame that is larger, or that arrives in pieces. From malloc, because growing
  // must not touch what has not arrived.
  std::unique_ptr<std::byte, Freeing> body_;
  std::size_t bodyCapacity_ = 0;
};

}  // namespace corvane
