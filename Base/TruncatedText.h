#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// Builds a string of bounded length from pieces. Bytes beyond the limit are counted but not
/// stored, so describing a value of any size takes bounded memory. Never cuts inside a UTF-8
/// character; bytes that are not UTF-8 may be cut anywhere. After the first cut nothing more is
/// stored, even if a later piece would fit. Not thread-safe.
class TruncatedText {
 public:
  /// Stores at most `limit` bytes; the note that `take` appends comes on top.
  explicit TruncatedText(std::size_t limit) : room_(limit) {}

  /// Appends as much of `piece` as there is room for, and counts the rest.
  TruncatedText& operator+=(std::string_view piece) {
    const std::size_t kept = piece.size() > room_ ? characterEnd(piece, room_) : piece.size();
    text_ += piece.substr(0, kept);
    room_ = kept == piece.size() ? room_ - kept : 0;
    dropped_ += piece.size() - kept;
    return *this;
  }

  /// Returns the string; if bytes were dropped, it ends with their number: "… (1048570 bytes
  /// more)". Call it once, last.
  [[nodiscard]] std::string take() && {
    if (dropped_ > 0) text_ += "… (" + std::to_string(dropped_) + " bytes more)";
    return std::move(text_);
  }

 private:
  /// The end of the last character of which all bytes lie before `end`.
  static std::size_t characterEnd(std::string_view text, std::size_t end) {
    constexpr std::size_t longestCharacter = 4;
    for (std::size_t back = 0; back < std::min(longestCharacter, end + 1); ++back)
      if ((static_cast<unsigned char>(text[end - back]) & 0xC0U) != 0x80) return end - back;
    return end;
  }

  std::string text_;
  std::size_t room_;         // bytes that may still be stored
  std::size_t dropped_ = 0;  // bytes that were not
};

}  // namespace corvane
