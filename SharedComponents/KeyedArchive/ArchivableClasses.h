#pragma once

#include <span>

#include "Base/Record.h"

namespace corvane {

/// The classes that an archive may hold besides NSDictionary, NSString, NSNumber and NSNull, which
/// are always allowed. Names in the archive are compared with these and never looked up.
struct ArchivableClasses {
  std::span<const RecordClass* const> records;
  bool errors = false;  ///< NSError
};

}  // namespace corvane
