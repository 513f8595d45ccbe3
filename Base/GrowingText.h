#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace corvane {

/// A text that is made by appending to it, for long ones: as it grows it is moved and not copied
/// where the system can do that with memory (realloc), and room not used yet is never touched. It
/// so takes about its length of memory at any time. The first piece gets just the room it needs.
/// What has been moved from can only be assigned to or destroyed.
class GrowingText {
 public:
  /// Throws std::bad_alloc when there is no memory, as std::string does.
  GrowingText& operator+=(std::string_view piece) {
    if (piece.size() > room_ - length_) grow(piece.size());
    if (!piece.empty()) std::memcpy(bytes_.get() + length_, piece.data(), piece.size());
    length_ += piece.size();
    return *this;
  }

  /// Lives until the text grows or ends.
  [[nodiscard]] std::string_view view() const { return {bytes_.get(), length_}; }
  [[nodiscard]] std::size_t size() const { return length_; }

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  void grow(std::size_t byAtLeast) {
    const std::size_t room = std::max(length_ + byAtLeast, 2 * room_);
    char* const bytes = static_cast<char*>(std::realloc(bytes_.get(), room));
    if (bytes == nullptr) throw std::bad_alloc();
    static_cast<void>(bytes_.release());  // realloc has freed it
    bytes_.reset(bytes);
    room_ = room;
  }

  std::unique_ptr<char, Free> bytes_;
  std::size_t length_ = 0;
  std::size_t room_ = 0;
};

}  // namespace corvane
