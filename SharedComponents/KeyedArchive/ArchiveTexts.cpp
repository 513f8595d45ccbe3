#include "SharedComponents/KeyedArchive/ArchiveTexts.h"

#include <algorithm>
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

/// How many texts an ordinary archive holds beside the names.
constexpr std::size_t ordinaryCount = 24;

/// Whether `text` begins as one of the names does.
bool mayBeName(std::string_view text) {
  return !text.empty() && (text[0] == '$' || text[0] == 'N' || text[0] == 'r');
}

}  // namespace

ArchiveTexts::ArchiveTexts() {
  others_.reserve(ordinaryCount);
}

ArchiveTexts::Id ArchiveTexts::idOf(std::string_view text) {
  if (mayBeName(text)) {
    const auto* const name = std::find(std::begin(names), std::end(names), text);
    if (name != std::end(names)) return static_cast<Id>(name - names);
  }
  const auto hash = quickHash(text);
  const auto known = index_.find(hash, [&](Id id) { return others_[id - nameCount].view == text; });
  if (known != HashIndex::none) return known;
  const auto id = nameCount + static_cast<Id>(others_.size());
  others_.push_back({text});
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
