#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"

#include <utility>

#include "SharedComponents/KeyedArchive/ArchiveReading.h"

namespace corvane {

Result<Value> KeyedUnarchiver::unarchive(ByteView bytes, const ArchivableClasses& classes) {
  auto objects = ArchiveObjects::open(bytes, classes);
  if (!objects) return objects.failure();
  auto root = ArchiveReading(objects.value()).value(objects->root(), {});
  if (!root) return root.failure();
  return std::move(root.value()).value_or(Value());
}

}  // namespace corvane
