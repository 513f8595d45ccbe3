#pragma once

#include <algorithm>
#include <cmath>

#include "Base/Json.h"

namespace corvane::fuzzing {

/// Equal, except that reals may differ in their last places, as the parser does not round them
/// exactly, and that what is not a number (0e400, see parseJson) is the same as itself.
inline bool isSame(const JsonValue& left, const JsonValue& right) {
  if (left.is_double() && right.is_double()) {
    if (std::isnan(left.get_double())) return std::isnan(right.get_double());
    if (left == right) return true;  // infinite ones, too
    const double difference = std::abs(left.get_double() - right.get_double());
    return difference <= 1e-14 * std::abs(left.get_double()) || difference < 1e-300;
  }
  if (left.is_array() && right.is_array()) {
    const auto& elements = left.get_array();
    return std::equal(elements.begin(), elements.end(), right.get_array().begin(),
                      right.get_array().end(), isSame);
  }
  if (!left.is_object() || !right.is_object()) return left == right;
  const auto& members = left.get_object();
  return members.size() == right.get_object().size() &&
         std::all_of(members.begin(), members.end(), [&](const auto& member) {
           const auto* other = right.get_object().if_contains(member.key());
           return other != nullptr && isSame(member.value(), *other);
         });
}

/// Whether it has a JSON text: no number in it is infinite or not a number.
inline bool isFinite(const JsonValue& value) {
  if (const double* number = value.if_double()) return std::isfinite(*number);
  if (const auto* array = value.if_array())
    return std::all_of(array->begin(), array->end(), isFinite);
  const auto* object = value.if_object();
  return object == nullptr || std::all_of(object->begin(), object->end(), [](const auto& member) {
           return isFinite(member.value());
         });
}

}  // namespace corvane::fuzzing
