#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// Accumulates a string up to a limit. Bytes beyond it are counted and not stored, so a description
/// of any length takes no more memory than what is kept. `take` appends "… (1048570 bytes more)" if
/// there were any. Splits no UTF-8 character; invalid bytes may be split anywhere.
class TruncatedText {
 public:
  /// Keeps at most `limit` bytes; what `take` appends comes on top.
  explicit TruncatedText(std::size_t limit) : room_(limit) {}

  TruncatedText& operator+=(std::string_view piece) {
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
  /// The end of the last character that lies before `end` with all of its bytes.
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
