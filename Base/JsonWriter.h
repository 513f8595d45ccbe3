#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Writes an object as JSON text without white space (RFC 8259,
/// https://www.rfc-editor.org/rfc/rfc8259), member by member in the order of the calls, without a
/// tree in between. One writer can write several objects in turn and reuses its buffer for them.
///
/// The caller sees to it that the keys of one object differ and that no key needs an escape; the
/// writer checks neither. Strings may hold any bytes: quotes, backslashes and control characters
/// are escaped, everything else is copied, unpaired surrogates included (Base/Unicode.h). Not
/// thread-safe. May throw std::bad_alloc.
class JsonWriter {
 public:
  /// Discards the previous text and writes a new one. Calls `addMembers(*this)` once, which adds
  /// the members of the outermost object and must not call `write`.
  template <class AddMembers>
  void write(const AddMembers& addMembers) {
    length_ = 0;
    putObject(addMembers);
  }

  /// Adds the member `key` with a string, a boolean or an integer to the object being written. Only
  /// while an `addMembers` runs.
  [[gnu::always_inline]] void text(std::string_view key, std::string_view value) {
    beginMember(key);
    put("\"");
    putEscaped(value);
    put("\"");
  }
  [[gnu::always_inline]] void boolean(std::string_view key, bool value) {
    beginMember(key);
    value ? put("true") : put("false");
  }
  void integer(std::string_view key, std::int64_t value) {
    beginMember(key);
    put(std::to_string(value));
  }
  /// Adds the member `key` with an object, whose members `addMembers(*this)` adds.
  template <class AddMembers>
  void object(std::string_view key, const AddMembers& addMembers) {
    beginMember(key);
    const std::size_t count = memberCount_;
    putObject(addMembers);
    memberCount_ = count;
  }

  /// The number of members of the outermost object; nested ones do not count. Valid after `write`.
  [[nodiscard]] std::size_t memberCount() const { return memberCount_; }

  /// The text that was written last. It is UTF-8 only if every string in it was; pass it through
  /// `withSurrogatesEscaped` before it leaves the process. Valid until the next `write`.
  [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }

 private:
  // Leaves the number of its members in `memberCount_`.
  template <class AddMembers>
  void putObject(const AddMembers& addMembers) {
    put("{");
    memberCount_ = 0;
    addMembers(*this);
    put("}");
  }
  [[gnu::always_inline]] void beginMember(std::string_view key) {
    memberCount_++ == 0 ? put("\"") : put(",\"");
    put(key);
    put("\":");
  }
  // Inline, because the lengths of most pieces are known at compile time.
  [[gnu::always_inline]] void put(std::string_view piece) {
    if (text_.size() - length_ < piece.size()) grow(piece.size());
    if (!piece.empty()) std::memcpy(text_.data() + length_, piece.data(), piece.size());
    length_ += piece.size();
  }
  void putEscaped(std::string_view value);
  void grow(std::size_t byAtLeast);  // makes room for so many more bytes

  std::string text_;             // the buffer: longer than the text in it
  std::size_t length_ = 0;       // bytes of the text
  std::size_t memberCount_ = 0;  // so far, of the object that is being written
};

/// Returns `json` as UTF-8: unpaired surrogates, which inside the host are three bytes each
/// (Base/Unicode.h), become escapes such as "\ud800". Returns nothing if other bytes in it are not
/// UTF-8. Thread-safe.
std::optional<std::string> withSurrogatesEscaped(std::string_view json);

}  // namespace corvane
