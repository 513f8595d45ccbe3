#include "tools/corvane-main-app/RequestFile.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "Base/Bytes.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "tools/corvane-main-app/RecordLayout.h"

namespace corvane::MainApp {
namespace {

/// Requests hold no objects of a class of their own.
std::optional<ExchangeRecord> decoded(ByteView archive) {
  auto value = KeyedUnarchiver::unarchive(archive, {});
  if (!value) return std::nullopt;
  return ExchangeRecord::fromValue(std::move(value).value());
}

/// The archive of the last record in `bytes`, or nothing when its length makes no sense.
std::optional<ByteView> lastArchive(ByteView bytes) {
  if (bytes.size() <= RecordLayout::lengthSize) return std::nullopt;
  const std::size_t end = bytes.size() - RecordLayout::lengthSize;
  const std::size_t length = RecordLayout::lengthFrom(bytes.subspan(end));
  if (length > end) return std::nullopt;
  return bytes.subspan(end - length, length);
}

}  // namespace

Result<Done> RequestFile::clear() {
  auto locked = LockedFile::open(path_);
  if (!locked) return locked.failure();
  return locked->file().truncate(0);
}

Result<std::vector<ExchangeRecord>> RequestFile::takeAll() {
  bytes_.clear();
  {
    auto locked = LockedFile::open(path_);
    if (!locked) return locked.failure();
    if (locked->size() == 0) return std::vector<ExchangeRecord>();
    if (auto taken = readAndTruncate(locked.value()); !taken) return taken.failure();
  }
  return decodeBytes();
}

Result<Done> RequestFile::readAndTruncate(LockedFile& locked) {
  if (locked.size() <= RecordLayout::largestFile) {
    bytes_.resize(locked.size());
    const auto count = locked.file().readAt(bytes_, 0);
    if (!count) return count.failure();
    bytes_.resize(count.value());
  } else {
    bytesThrownAway_ += locked.size();  // nobody who keeps to the limits leaves so much
  }
  return locked.file().truncate(0);
}

/// The records in what was taken, oldest first.
std::vector<ExchangeRecord> RequestFile::decodeBytes() {
  std::vector<ExchangeRecord> records;
  ByteView left = bytes_;
  while (const auto archive = lastArchive(left)) {
    auto record = decoded(*archive);
    if (!record) break;
    records.push_back(std::move(*record));
    left = left.first(left.size() - archive->size() - RecordLayout::lengthSize);
  }
  bytesThrownAway_ += left.size();
  std::reverse(records.begin(), records.end());
  return records;
}

}  // namespace corvane::MainApp
