#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Base/Record.h"
#include "Platform/SystemCalls.h"
#include "SharedComponents/AppendGate.h"
#include "SharedComponents/ExchangeFile.h"
#include "SharedComponents/ExchangeRecord.h"
#include "VCommons/VCommonsKit/DispatchQueue.h"

namespace corvane {

/// The exchange files, one for each key ("KEY.data"), through which host and main application hand
/// records to each other. A file is a stack of records without a header; a record is a keyed
/// archive followed by its length as four bytes, the lowest first, so that the newest is found from
/// the end.
///
/// Each operation holds the file's lock from beginning to end and waits for it without limit. Files
/// are never made here: one that is missing takes nothing and gives nothing. What an operation did
/// not finish it undoes. Safe from any thread.
class ExchangeBuffer {
 public:
  /// A file longer than this many bytes takes no further record.
  static constexpr std::uint64_t maximumBufferLength = 10'240'000;
  /// The longest archive, in bytes, that is written.
  static constexpr std::size_t maximumObjectLength = 1'024'000;

  /// The files lie in the folder that `folder` gives; each operation asks it, on its own thread.
  /// `queue` orders changes of the registered classes and must outlive this object.
  ExchangeBuffer(std::function<std::string()> folder, DispatchQueue& queue,
                 Platform::SystemCalls& calls = Platform::SystemCalls::system());

  /// Appends a record. False when it is refused: the file is full, the archive too long, or the
  /// record can't be archived. True otherwise, also when nothing was written because the lock or
  /// the file could not be had, because the disk is full (the file is as before then), or after
  /// `stopAppending`.
  bool setExchange(const std::string& key, const std::string& id, const std::string& name,
                   std::optional<Dictionary> body);

  /// Takes the newest record of the file away and gives it, if `id` is nothing or its id. Nothing
  /// else is looked at: a newest record that does not match, or can't be read, stays and hides the
  /// others. A file whose last length can't be true is emptied.
  std::optional<ExchangeRecord> getExchange(const std::string& key,
                                            const std::optional<std::string>& id);

  /// Empties the file. Always true.
  bool clearExchange(const std::string& key);

  /// The classes of records that may be read, in place of those set before. Runs on the queue, so
  /// never call it from there.
  void setRegisteredClasses(std::vector<const RecordClass*> classes);

  /// For the end of the process: from now on no append begins, and what is being appended may
  /// finish within `limit`. True when nothing is being appended any more.
  bool stopAppending(std::chrono::milliseconds limit) { return appends_.close(limit); }

 private:
  using Classes = std::vector<const RecordClass*>;

  [[nodiscard]] std::string pathOf(const std::string& key) const;
  bool append(ExchangeFile& exchange, const std::string& archive);
  std::optional<ExchangeRecord> decoded(ByteView archive) const;
  [[nodiscard]] std::shared_ptr<const Classes> registeredClasses() const;

  const std::function<std::string()> folder_;
  DispatchQueue& queue_;
  Platform::SystemCalls& calls_;
  AppendGate appends_;
  mutable std::mutex
      classesMutex_;  // guards the pointer: the queue changes it, any thread reads it
  std::shared_ptr<const Classes> classes_ = std::make_shared<const Classes>();
};

}  // namespace corvane
