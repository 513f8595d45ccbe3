#pragma once

#include <optional>
#include <string>

#include "Base/Json.h"

namespace corvane {

/// Writes frames to the browser. Main queue only: that is what keeps frames whole.
class FrameWriter {
 public:
  /// `descriptor` stays the caller's and must stay open.
  explicit FrameWriter(int descriptor);

  /// Writes `response` as one frame, the length with one call and the body with a second; waits for
  /// a browser that reads slowly. False, with an error line, only when the JSON text can't be made;
  /// what is no valid JSON object is dropped without a word and true. A browser that is gone costs
  /// one error line, and nothing is written after it. A body beyond 1,048,576 bytes is written
  /// after a warning line, as browsers end the conversation over it; one beyond 4,294,967,295 bytes
  /// ends the process.
  bool send(const JsonObject& response);

  // The two halves of it, for who does not do both on the same thread:

  /// A frame's body, or nothing for what is no valid JSON object and for what has no text.
  struct Encoded {
    bool isSound = true;  ///< what `send` gives
    std::optional<std::string> body;
  };
  /// Safe from any thread.
  static Encoded encode(const JsonObject& response);
  void write(const std::string& body);

  /// Whether a frame with a body of `size` bytes can be written without waiting for the browser.
  [[nodiscard]] bool takesAtOnce(std::size_t size) const;

 private:
  const int descriptor_;
  const bool isPipe_;
  bool browserIsGone_ = false;
};

}  // namespace corvane
