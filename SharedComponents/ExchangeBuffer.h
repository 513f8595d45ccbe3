#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Base/Record.h"
#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"
#include "SharedComponents/ExchangeFile.h"
#include "SharedComponents/ExchangeRecord.h"

namespace corvane {

/// The exchange files, one for each key ("KEY.data"), through which host and main application hand
/// records to each other. A file is a stack of records without a header; a record is a keyed
/// archive followed by its length as four bytes, the lowest first, so that the newest is found from
/// the end.
///
/// Each operation holds the file's lock from beginning to end. A lock that is free is taken at
/// once, and then the operation calls its continuation before it returns; one that another process
/// has is waited for without limit, on a thread that does nothing else, and the continuation runs
/// later on the loop. The lock is given back before the continuation runs. Files are never created
/// here: one that is missing takes nothing and gives nothing. If a file was removed before its lock
/// was had, the operation starts over with the file that has its name now, at most
/// `maximumAttempts` times in all. What an operation did not finish it undoes. On the loop's
/// thread.
class ExchangeBuffer {
 public:
  /// A file longer than this many bytes takes no further record.
  static constexpr std::uint64_t maximumBufferLength = 10'240'000;
  /// The longest archive, in bytes, that is written.
  static constexpr std::size_t maximumObjectLength = 1'024'000;
  /// How often an operation opens its file when each one is removed; then it counts as missing.
  static constexpr unsigned maximumAttempts = 10;

  /// The files lie in the directory that `folder` returns; each operation asks it. `loop` and this
  /// object must outlive every operation.
  ExchangeBuffer(Platform::EventLoop& loop, std::function<std::string()> folder);

  /// Appends a record. `done` gets false when it is refused: the file is full, the archive too
  /// long, or the record can't be archived. True otherwise, also when nothing was written because
  /// the lock or the file could not be had, or because the disk is full (the file is as before
  /// then).
  void setExchange(const std::string& key, const std::string& id, const std::string& name,
                   std::optional<Dictionary> body, UniqueFunction<void(bool)> done);

  /// Removes the newest record from the file and passes it to `done`, if `id` is nothing or its id.
  /// Nothing else is looked at: a newest record that does not match, or can't be read, stays and
  /// hides the others. A file whose last length can't be true is emptied.
  ///
  /// A newest record that can't be decoded, or is too long for that, is tried and logged once.
  /// Further calls return nothing without reading it while a record of the same length is at the
  /// same offset. Any other newest record, a failed access and any other operation reset this.
  void getExchange(const std::string& key, const std::optional<std::string>& id,
                   UniqueFunction<void(std::optional<ExchangeRecord>)> done);

  /// Empties the file.
  void clearExchange(const std::string& key, UniqueFunction<void()> done);

  /// The classes of records that may be read, in place of those set before.
  void setRegisteredClasses(std::vector<const RecordClass*> classes) {
    classes_ = std::move(classes);
    undecodable_.reset();
  }

 private:
  using Use = UniqueFunction<void(ExchangeFile&)>;
  struct Operation;
  struct LockWait;

  /// The position of the newest record of a key.
  struct RecordPosition {
    std::string key;
    std::uint64_t start = 0;
    std::uint32_t length = 0;

    bool operator==(const RecordPosition&) const = default;
  };

  void withFile(const std::string& key, Use use);
  void start(Operation operation);
  void run(ExchangeFile& exchange, Operation operation);
  void waitForLock(Operation operation);
  void retryLater(Operation operation);
  std::optional<ExchangeRecord> takeNewest(ExchangeFile& exchange, const std::string& key,
                                           const std::optional<std::string>& id);
  std::optional<ExchangeRecord> decoded(ByteView archive) const;

  Platform::EventLoop& loop_;
  const std::function<std::string()> folder_;
  std::vector<const RecordClass*> classes_;
  std::optional<RecordPosition> undecodable_;  // of the last call, if it found such a record
};

}  // namespace corvane
