#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// A text that keeps its first bytes only, whatever is appended to it. The others are counted and
/// not stored, so a description of any length costs no more memory than what is kept of it:
/// "What is kept… (1048570 bytes more)". Nothing is said of a text within its limit.
class CutText {
 public:
  /// Keeps at most `limit` bytes, and no part of a character (Base/Unicode.h).
  explicit CutText(std::size_t limit) : room_(limit) {}

  CutText& operator+=(std::string_view piece) {
    const std::size_t kept = piece.size() > room_ ? characterEnd(piece, room_) : piece.size();
    text_ += piece.substr(0, kept);
    room_ = kept == piece.size() ? room_ - kept : 0;
    left_ += piece.size() - kept;
    return *this;
  }

  /// The bytes that were kept, and how many were not.
  [[nodiscard]] std::string take() && {
    if (left_ > 0) text_ += "… (" + std::to_string(left_) + " bytes more)";
    return std::move(text_);
  }

 private:
  /// Where the last character ends that has no byte at `end` or behind. What is no character is cut
  /// anywhere.
  static std::size_t characterEnd(std::string_view text, std::size_t end) {
    constexpr std::size_t longestCharacter = 4;
    for (std::size_t back = 0; back < std::min(longestCharacter, end + 1); ++back)
      if ((static_cast<unsigned char>(text[end - back]) & 0xC0U) != 0x80) return end - back;
    return end;
  }

  std::string text_;
  std::size_t room_;      // bytes that may still be kept
  std::size_t left_ = 0;  // bytes that were not
};

}  // namespace corvane
