#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "Base/Record.h"

namespace corvane {

/// One field of the record `T`: its key in archives, and the member that holds it.
template <class T>
struct RecordMember {
  std::string_view key;
  std::variant<bool T::*, std::int64_t T::*, std::string T::*> member;  // as RecordField::Kind
};

/// All fields of the record `T`, in the order in which they are encoded: the one place that names
/// them.
template <class T, std::size_t count>
struct RecordTable {
  std::array<RecordMember<T>, count> members;

  /// What archives are told of them.
  [[nodiscard]] constexpr std::array<RecordField, count> fields() const {
    std::array<RecordField, count> fields{};
    for (std::size_t i = 0; i < count; ++i)
      fields[i] = {members[i].key, static_cast<RecordField::Kind>(members[i].member.index())};
    return fields;
  }

  /// True if `order` has each key, and "$class", exactly once.
  [[nodiscard]] constexpr bool isOrder(std::span<const std::string_view> order) const {
    const auto isThereOnce = [&](std::string_view key) {
      return std::count(order.begin(), order.end(), key) == 1;
    };
    return order.size() == count + 1 && isThereOnce("$class") &&
           std::all_of(members.begin(), members.end(),
                       [&](const RecordMember<T>& field) { return isThereOnce(field.key); });
  }

  /// `object` as a value.
  [[nodiscard]] Record recordOf(const T& object) const {
    Record record{&T::recordClass, {}};
    record.fields.reserve(count);
    for (const RecordMember<T>& field : members)
      std::visit([&](auto member) { record.fields.emplace_back(object.*member); }, field.member);
    return record;
  }

  /// The object in `record`, or nothing if that is of another class. Fields that are missing or of
  /// another kind are false, 0 or empty.
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
