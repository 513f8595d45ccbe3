#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "Base/Record.h"

namespace corvane {

/// One field of the record `T`: its key in archives and the member that holds it. The order of the
/// alternatives is that of RecordField::Kind.
template <class T>
struct RecordMember {
  std::string_view key;
  std::variant<bool T::*, std::int64_t T::*, std::string T::*> member;
};

/// All fields of the record struct `T`, in the order in which they are encoded: the one place that
/// names them. Converts between `T` and the value `Record`. `T` must have a static
/// `recordClass`. Tables are compile-time constants.
template <class T, std::size_t count>
struct RecordTable {
  std::array<RecordMember<T>, count> members;

  /// The fields as RecordClass::fields has them.
  [[nodiscard]] constexpr std::array<RecordField, count> fields() const {
    std::array<RecordField, count> fields{};
    for (std::size_t i = 0; i < count; ++i)
      fields[i] = {members[i].key, static_cast<RecordField::Kind>(members[i].member.index())};
    return fields;
  }

  /// The positions of the keys in `order`, for RecordClass::storedOrder. `order` must have each key
  /// and "$class" exactly once; anything else does not compile.
  [[nodiscard]] consteval std::array<std::size_t, count + 1> positions(
      const std::array<std::string_view, count + 1>& order) const {
    std::array<std::size_t, count + 1> positions{};
    std::array<bool, count + 1> isThere{};
    for (std::size_t i = 0; i <= count; ++i) {
      const auto isKey = [&](const RecordMember<T>& field) { return field.key == order[i]; };
      positions[i] = static_cast<std::size_t>(std::find_if(members.begin(), members.end(), isKey) -
                                              members.begin());
      const bool isKnown = positions[i] < count || order[i] == "$class";
      if (!isKnown || isThere[positions[i]]) throw order[i];
      isThere[positions[i]] = true;
    }
    return positions;
  }

  /// Returns `object` as a value, with all fields.
  [[nodiscard]] Record recordOf(const T& object) const {
    Record record{&T::recordClass, {}};
    record.fields.reserve(count);
    for (const RecordMember<T>& field : members)
      std::visit([&](auto member) { record.fields.emplace_back(object.*member); }, field.member);
    return record;
  }

  /// Returns the object in `record`, or nothing if the record is of another class. A field that is
  /// missing or of another kind becomes false, 0 or empty.
  [[nodiscard]] std::optional<T> objectOf(const Record& record) const {
    if (record.recordClass != &T::recordClass) return std::nullopt;
    T object;
    for (const RecordMember<T>& field : members) {
      const auto set = [&](auto member) {
        using Content = std::remove_cvref_t<decltype(object.*member)>;
        object.*member = record.valueOr(field.key, Content());
      };
      std::visit(set, field.member);
    }
    return object;
  }
};

}  // namespace corvane
