#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "Base/BinaryPropertyListWriter.h"
#include "Base/HashIndex.h"

namespace corvane {

/// The strings of an archive that is being written, each with an id; equal strings share one. The
/// names that every archive uses come first, so that finding one needs no comparison with the
/// archive's own strings. A part of `KeyedArchiver`. Refers to the strings that it is given, which
/// must outlive it. Not thread-safe.
class ArchiveTexts {
 public:
  /// A string: a `Name`, or a number from `nameCount` on.
  using Id = std::uint32_t;
  /// The number of an object in the archive.
  using Uid = std::uint32_t;

  /// The ids of the names in ArchiveNames.h, which exist from the beginning.
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

  /// Where a string is used in the archive.
  struct Use {
    Uid uid = 0;              ///< its number as an object; 0: not an object
    Uid classUid = 0;         ///< the number of the class with this name; 0: no such class
    std::uint32_t place = 0;  ///< its index in the property list; 0: not written yet
  };

  /// Returns the id of the string that equals `text`; adds it if there is none.
  Id idOf(std::string_view text);

  /// Returns the string `id`, which must exist.
  [[nodiscard]] std::string_view view(Id id) const;

  /// Returns the uses of `id`, for changing, too. Valid until a string is added.
  [[nodiscard]] Use& use(Id id) {
    return id < nameCount ? names_[id] : others_[id - nameCount].use;
  }

  /// Marks all strings as not written yet, for another pass over the same archive.
  void forgetPlaces();

 private:
  struct Other {
    std::string_view view;
    Use use = {};
  };

  std::array<Use, nameCount> names_{};
  /// The strings that are not names, by id less nameCount.
  boost::container::small_vector<Other, 24> others_;
  HashIndex index_;  // finds them by content
};

}  // namespace corvane
