#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "Base/Value.h"

namespace corvane {

/// One field of a record.
struct RecordField {
  enum class Kind { boolean, integer, text };

  std::string_view key;
  Kind kind;
};

/// What there is to know of a class of records. Each is a constant of the process and stands for
/// itself: records are of the same class when they point at the same one.
struct RecordClass {
  std::string_view name;
  std::span<const RecordField> fields;  ///< in the order in which they are encoded
  /// The positions of the fields in the order in which an archive lists them; the position behind
  /// the last field stands for "$class".
  std::span<const std::size_t> storedOrder;
};

/// An object with fixed fields, as a value.
struct Record {
  const RecordClass* recordClass;
  std::vector<Value> fields;  ///< one for each of the class; null where the field is missing

  /// The field `key` of the class, or nullptr when the class has none of that name.
  [[nodiscard]] const Value* find(std::string_view key) const;

  /// The field `key` if it is there and a `T` (see `Value::as`), or nullptr.
  template <class T>
  [[nodiscard]] const T* find(std::string_view key) const {
    const Value* field = find(key);
    return field == nullptr ? nullptr : field->as<T>();
  }

  /// The content of the field `key`, or `otherwise` where that is missing or no `T`.
  template <class T>
  [[nodiscard]] T valueOr(std::string_view key, T otherwise) const {
    const T* content = find<T>(key);
    return content == nullptr ? otherwise : *content;
  }

  bool operator==(const Record&) const = default;
};

}  // namespace corvane
