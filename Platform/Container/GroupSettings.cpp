#include "Platform/GroupSettings.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "Base/BinaryPropertyList.h"
#include "Platform/File.h"

namespace corvane::Platform {
namespace {

constexpr std::size_t largestSettings = std::size_t{16} << 20;

using Limits = std::numeric_limits<std::int64_t>;

std::int64_t integerOf(double real) {
  constexpr double firstTooLarge = 9223372036854775808.0;  // 2^63
  if (std::isnan(real)) return 0;
  if (real >= firstTooLarge) return Limits::max();
  if (real < -firstTooLarge) return Limits::min();
  return static_cast<std::int64_t>(real);
}

/// The decimal number at the beginning of `text`, after white space.
std::int64_t integerOf(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string_view::npos) return 0;
  text.remove_prefix(start);
  const bool isNegative = text.front() == '-';
  if (isNegative || text.front() == '+') text.remove_prefix(1);
  std::int64_t value = 0;  // negative while it is read: the range is larger by one there
  for (const char character : text) {
    if (character < '0' || character > '9') break;
    const std::int64_t digit = character - '0';
    if (value < (Limits::min() + digit) / 10) return isNegative ? Limits::min() : Limits::max();
    value = 10 * value - digit;
  }
  if (isNegative) return value;
  return value == Limits::min() ? Limits::max() : -value;
}

}  // namespace

struct GroupSettings::Store {
  std::vector<std::byte> bytes;            // empty if nothing was ever set
  std::optional<BinaryPropertyList> list;  // refers to `bytes`; its top is a dictionary
};

Result<GroupSettings> GroupSettings::open(const std::string& containerDirectory,
                                          const std::string& groupIdentifier) {
  auto store = std::make_shared<Store>();
  auto file = File::open(containerDirectory + "/Library/Preferences/" + groupIdentifier + ".plist",
                         File::Access::read);
  if (!file) {
    if (file.failure().cause == FailureCause::notFound) return GroupSettings(std::move(store));
    return file.failure();
  }
  auto bytes = file->readAll(largestSettings);
  if (!bytes) return bytes.failure();
  store->bytes = std::move(bytes).value();
  auto list = BinaryPropertyList::open(store->bytes);
  if (!list) return list.failure();
  if (list->top().kind != BinaryPropertyList::Kind::dictionary) {
    return Failure{FailureCause::malformed, "the settings are not a dictionary"};
  }
  store->list = std::move(list).value();
  return GroupSettings(std::move(store));
}

std::int64_t GroupSettings::integer(const std::string& key) const {
  using Kind = BinaryPropertyList::Kind;
  if (!store_->list) return 0;
  const auto value = store_->list->find(store_->list->top(), key);
  if (!value) return 0;
  switch (value.kind) {
    case Kind::boolean:
      return value.boolean() ? 1 : 0;
    case Kind::integer:
      return value.integer().nearestSigned();
    case Kind::real:
      return integerOf(value.real());
    case Kind::text:
      return integerOf(value.text());
    default:
      return 0;
  }
}

}  // namespace corvane::Platform
