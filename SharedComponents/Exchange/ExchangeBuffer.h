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
#include "SharedComponents/Exchange/ExchangeFile.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"

namespace corvane {

/// The exchange files, one per key ("KEY.data"), through which the host and the main application
/// pass records to each other. A file is a stack of records without a header; a record is a keyed
/// archive followed by its length as four bytes, little-endian, so that a reader finds the newest
/// record from the end of the file.
///
/// Each operation holds the file's lock from beginning to end. If the lock is free, the operation
/// calls its continuation before it returns. If another process holds it, a helper thread waits for
/// it without limit, and the continuation runs later, on the loop. In both cases the file is
/// unlocked and closed before the continuation runs.
///
/// Files are never created here: a missing file discards records and yields none. If a file was
/// removed before its lock was taken, the operation starts over with the file that has its name
/// now, at most `maximumAttempts` times in all. A write that fails half-way is undone. Each
/// continuation is called exactly once, unless the loop ends first. On the loop's thread.
class ExchangeBuffer {
 public:
  /// A file longer than this many bytes takes no further record, so that a main application that
  /// does not read costs a bounded amount of disk.
  static constexpr std::uint64_t maximumBufferLength = 10'240'000;
  /// The longest archive, in bytes, that is written.
  static constexpr std::size_t maximumObjectLength = 1'024'000;
  /// How often an operation opens its file if each one is removed; then the file counts as missing.
  static constexpr unsigned maximumAttempts = 10;

  /// `folder` returns the directory of the files; each operation calls it. `loop` and this object
  /// must outlive every operation.
  ExchangeBuffer(Platform::EventLoop& loop, std::function<std::string()> folder);

  /// Appends a record. `done` gets false if the record is rejected: the file is full, or the
  /// archive is too long or can't be made. True otherwise, even if nothing was written because the
  /// file is missing, can't be locked or opened, or the disk is full (the file is unchanged then):
  /// the request then goes unanswered.
  void setExchange(const std::string& key, const std::string& id, const std::string& name,
                   std::optional<Dictionary> body, UniqueFunction<void(bool)> done);

  /// Removes the newest record from the file and passes it to `done`, if `id` is nothing or equals
  /// the record's id. Otherwise, and if there is no record or it can't be read, `done` gets
  /// nothing. No other record is examined: a newest record that does not match or can't be read
  /// stays and hides the others. A file whose last length exceeds the file is emptied.
  ///
  /// A newest record that can't be decoded, or is longer than any valid file can hold, is tried and
  /// logged once: callers poll, and a long record is costly to read. Further calls give nothing
  /// without reading it while a record of the same length is at the same offset. Any other newest
  /// record, a failed access and any other operation reset this.
  void getExchange(const std::string& key, const std::optional<std::string>& id,
                   UniqueFunction<void(std::optional<ExchangeRecord>)> done);

  /// Empties the file, if it exists and can be locked; then calls `done` in any case.
  void clearExchange(const std::string& key, UniqueFunction<void()> done);

  /// Sets the classes of records that archives may contain, replacing those set before; none at
  /// first. The standard classes and errors are always allowed; any other class makes a record
  /// undecodable. The classes must outlive this object.
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
  std::optional<RecordPosition> undecodable_;  // what the last getExchange failed to decode
};

}  // namespace corvane
