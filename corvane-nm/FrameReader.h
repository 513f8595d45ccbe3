#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "Base/Json.h"

namespace corvane {

/// Reads the browser's frames off a descriptor, one after the other: a length of 4 bytes in host
/// byte order, then so many bytes of JSON text whose top level is an object
/// (https://developer.chrome.com/docs/extensions/develop/concepts/native-messaging). Lengths up to
/// 4 GB are taken, but a length is a promise: memory is taken as the bytes arrive. One thread.
class FrameReader {
 public:
  /// What reading one frame came to.
  struct Frame {
    bool isEndOfInput = false;  ///< nothing more will come
    std::optional<JsonObject>
        message;  ///< nothing when the frame was dropped, with a log line where due
  };

  /// `descriptor` stays the caller's and must stay open.
  explicit FrameReader(int descriptor) : descriptor_(descriptor) {}

  [[nodiscard]] int descriptor() const { return descriptor_; }

  /// Whether something of the next frame was read already.
  [[nodiscard]] bool hasReadAhead() const { return aheadStart_ < aheadEnd_; }

  /// Whether the next frame was read already, so that `readOne` need not wait.
  [[nodiscard]] bool hasFrameAhead() const;

  /// Reads what is there of the next frames, without waiting, if nothing was read ahead yet. What
  /// fails here fails again when it is read.
  void readAhead();

  /// Waits for one whole frame, or for the end of input.
  Frame readOne();

 private:
  struct Freeing {
    void operator()(std::byte* bytes) const { std::free(bytes); }
  };

  Result<std::size_t> fillAhead();
  std::size_t readAsMuchAsComes(std::span<std::byte> bytes);
  std::size_t readIntoBody(std::uint32_t length);
  void growBody(std::size_t capacity);
  static std::optional<JsonObject> decode(std::string_view body);

  const int descriptor_;
  bool inputFailed_ = false;

  // What was read ahead of need, so that a small frame costs one system call.
  std::array<std::byte, 8192> ahead_{};
  std::size_t aheadStart_ = 0;
  std::size_t aheadEnd_ = 0;

  // The body of the present frame. From malloc, because growing must not touch what has not
  // arrived.
  std::unique_ptr<std::byte, Freeing> body_;
  std::size_t bodyCapacity_ = 0;
};

}  // namespace corvane
