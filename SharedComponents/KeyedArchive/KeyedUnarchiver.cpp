#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"

#include <utility>

#include "SharedComponents/KeyedArchive/ArchiveReader.h"
#include "SharedComponents/KeyedArchive/MalformedArchive.h"

namespace corvane {

Result<Value> KeyedUnarchiver::unarchive(ByteView bytes, const ArchivableClasses& classes) {
  const auto list = BinaryPropertyList::open(bytes);
  if (!list) return list.failure();
  try {
    ArchiveObjects objects(list.value(), classes, ArchiveLimits::maximumTextBytes(bytes.size()));
    Value root;
    if (!ArchiveReader(objects).read(objects.root(), {}, root)) root = Value();
    return root;
  } catch (const MalformedArchive& fault) {
    return Failure{FailureCause::malformed, fault.reason};
  }
}

}  // namespace corvane
