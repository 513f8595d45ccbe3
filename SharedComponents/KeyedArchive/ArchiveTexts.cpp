#include "SharedComponents/KeyedArchive/ArchiveTexts.h"

#include <array>
#include <iterator>

#include "SharedComponents/KeyedArchive/ArchiveNames.h"

namespace corvane {
namespace {

/// In the order of `ArchiveTexts::Name`.
constexpr std::string_view names[] = {
    ArchiveNames::version,
    ArchiveNames::archiver,
    ArchiveNames::keyedArchiver,
    ArchiveNames::top,
    ArchiveNames::root,
    ArchiveNames::objects,
    ArchiveNames::nothing,
    ArchiveNames::objectClass,
    ArchiveNames::className,
    ArchiveNames::classes,
    ArchiveNames::keys,
    ArchiveNames::values,
    ArchiveNames::string,
    ArchiveNames::errorCode,
    ArchiveNames::errorDomain,
    ArchiveNames::errorUserInfo,
    ArchiveNames::dictionaryClass,
    ArchiveNames::stringClass,
    ArchiveNames::nullClass,
    ArchiveNames::errorClass,
    ArchiveNames::objectBaseClass,
};
static_assert(std::size(names) == ArchiveTexts::nameCount);
static_assert(names[ArchiveTexts::nothing] == ArchiveNames::nothing);

/// A hash table of the names with linear probing, made at compile time. A slot holds the id plus 1;
/// 0 is an empty slot, which ends the search.
constexpr std::array<std::uint8_t, 64> nameSlots = [] {
  std::array<std::uint8_t, 64> slots{};
  for (ArchiveTexts::Id id = 0; id < ArchiveTexts::nameCount; ++id) {
    std::size_t at = quickHash(names[id]) % slots.size();
    while (slots[at] != 0) at = (at + 1) % slots.size();
    slots[at] = static_cast<std::uint8_t>(id + 1);
  }
  return slots;
}();

}  // namespace

ArchiveTexts::Id ArchiveTexts::idOf(std::string_view text) {
  const auto hash = quickHash(text);
  for (auto at = hash % nameSlots.size(); nameSlots[at] != 0; at = (at + 1) % nameSlots.size()) {
    const Id name = nameSlots[at] - 1U;
    if (names[name] == text) return name;
  }
  const auto known = index_.find(hash, [&](Id id) { return others_[id - nameCount].view == text; });
  if (known != HashIndex::none) return known;
  const auto id = nameCount + static_cast<Id>(others_.size());
  others_.emplace_back().view = text;  // in place, see ArchiveNumbering::add
  index_.insert(hash, id);
  return id;
}

std::string_view ArchiveTexts::view(Id id) const {
  return id < nameCount ? names[id] : others_[id - nameCount].view;
}

void ArchiveTexts::forgetPlaces() {
  for (Use& use : names_) use.place = 0;
  for (Other& other : others_) other.use.place = 0;
}

}  // namespace corvane
