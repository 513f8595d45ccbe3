#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Writes the compact JSON text (RFC 8259, https://www.rfc-editor.org/rfc/rfc8259) of an object,
/// member by member in the order of the calls. Keys must differ and need no escape. Strings may
/// hold any bytes; unpaired surrogates stay in place (Base/Unicode.h). Reuses its buffer for the
/// next object. Not thread-safe.
class JsonWriter {
 public:
  /// Begins a new text, of an object to which `addMembers` adds the members; it gets this writer.
  template <class AddMembers>
  void write(const AddMembers& addMembers) {
    length_ = 0;
    putObject(addMembers);
  }

  /// Each adds a member to the object that is being written.
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
  template <class AddMembers>
  void object(std::string_view key, const AddMembers& addMembers) {
    beginMember(key);
    const std::size_t count = memberCount_;
    putObject(addMembers);
    memberCount_ = count;
  }

  /// How many members the outermost object has. Valid after `write`.
  [[nodiscard]] std::size_t memberCount() const { return memberCount_; }

  /// The text; not UTF-8 if a string in it is not, see `withSurrogatesEscaped`. Valid until the
  /// next one begins.
  [[nodiscard]] std::string_view view() const { return {text_.data(), length_}; }

 private:
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
  /// Appends `piece`. Inline, as the lengths of most pieces are known at compile time.
  [[gnu::always_inline]] void put(std::string_view piece) {
    if (text_.size() - length_ < piece.size()) grow(piece.size());
    if (!piece.empty()) std::memcpy(text_.data() + length_, piece.data(), piece.size());
    length_ += piece.size();
  }
  void putEscaped(std::string_view value);
  void grow(std::size_t byAtLeast);

  std::string text_;  // its length is the room; `length_` bytes are written
  std::size_t length_ = 0;
  std::size_t memberCount_ = 0;  // so far, of the object that is being written
};

/// JSON text as UTF-8: unpaired surrogates, which stand in `json` as Base/Unicode.h says, become
/// escapes such as "\ud800". Nothing if something else in it is not UTF-8.
std::optional<std::string> withSurrogatesEscaped(std::string_view json);

}  // namespace corvane
