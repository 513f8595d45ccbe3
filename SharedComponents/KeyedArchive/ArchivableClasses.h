#pragma once

#include <span>

#include "Base/Record.h"

namespace corvane {

/// The classes that an archive may contain besides NSDictionary, NSString, NSNumber and NSNull,
/// which are always allowed. Class names in an archive are only compared with these, so an archive
/// can't make its reader create anything else.
struct ArchivableClasses {
  std::span<const RecordClass* const> records;  ///< borrowed; at most a few, searched linearly
  bool errors = false;  ///< whether NSError is allowed; inside an error's user info it always is
};

}  // namespace corvane
