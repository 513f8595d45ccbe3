#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "Base/BinaryPropertyListWriter.h"
#include "Base/HashIndex.h"

namespace corvane {

/// The texts of an archive that is being written, equal ones counted once: the names that every
/// archive may hold, then all others. A part of `KeyedArchiver`; keeps views of the texts.
class ArchiveTexts {
 public:
  using Id = std::uint32_t;
  using Uid = std::uint32_t;

  /// The names that are there from the beginning; see ArchiveNames.h.
  enum Name : Id {
    version,
    archiver,
    keyedArchiver,
    top,
    root,
    objects,
    nothing,
    objectClass,
    className,
    classes,
    keys,
    values,
    string,
    errorCode,
    errorDomain,
    errorUserInfo,
    dictionaryClass,
    stringClass,
    nullClass,
    errorClass,
    objectBaseClass,
  };

  static constexpr Id nameCount = objectBaseClass + 1;

  /// What becomes of a text in the archive.
  struct Use {
    Uid uid = 0;              ///< its number as an object; 0: it is none
    Uid classUid = 0;         ///< that of the class with this name; 0: there is none
    std::uint32_t place = 0;  ///< in the property list; 0: not written yet
  };

  /// The one that equals `text`, which is added if there was none.
  Id idOf(std::string_view text);

  [[nodiscard]] std::string_view view(Id id) const;

  /// Lives until a text is added.
  [[nodiscard]] Use& use(Id id) {
    return id < nameCount ? names_[id] : others_[id - nameCount].use;
  }

  /// Marks all texts as not yet written, for another pass.
  void forgetPlaces();

 private:
  struct Other {
    std::string_view view;
    Use use = {};
  };

  std::array<Use, nameCount> names_{};
  boost::container::small_vector<Other, 24> others_;  // the texts behind the names
  HashIndex index_;                                   // of these
};

}  // namespace corvane
