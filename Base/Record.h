#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "Base/Value.h"

namespace corvane {

/// One field of a class of records.
struct RecordField {
  /// The type of the content; a missing field is null whatever its kind.
  enum class Kind { boolean, integer, text };

  std::string_view key;  ///< its name in archives; must be a constant of the process
  Kind kind;
};

/// Describes a class of records: what the main application's archives call it and which fields its
/// objects have. Each description is a constant of the process and is compared by its address:
/// records are of the same class if they point to the same description.
struct RecordClass {
  std::string_view name;                ///< of the class, as archives name it
  std::span<const RecordField> fields;  ///< in the order in which they are encoded
  /// The order in which an archive lists the fields, as positions in `fields`. The position behind
  /// the last field stands for the entry "$class".
  std::span<const std::size_t> storedOrder;
};

/// An object of the main application with a fixed set of fields, such as its state: a row of values
/// and a pointer to the description of its columns. A plain value, as thread-safe as one. A `Value`
/// that holds a record shares it with its copies and never changes it.
struct Record {
  const RecordClass* recordClass;  ///< never null
  std::vector<Value> fields;       ///< in the order of the class; null for a missing field

  /// The value of the field `key`, which is the null object if the field is missing, or nullptr if
  /// the class has no field of that name. Points into this record.
  [[nodiscard]] const Value* find(std::string_view key) const;

  /// The content of the field `key` if it is a `T` (see `Value::as`), or nullptr. Points into this
  /// record.
  template <class T>
  [[nodiscard]] const T* find(std::string_view key) const {
    const Value* field = find(key);
    return field == nullptr ? nullptr : field->as<T>();
  }

  /// A copy of the content of the field `key`, or `otherwise` if that is missing or not a `T`.
  template <class T>
  [[nodiscard]] T valueOr(std::string_view key, T otherwise) const {
    const T* content = find<T>(key);
    return content == nullptr ? otherwise : *content;
  }

  bool operator==(const Record&) const = default;
};

}  // namespace corvane
