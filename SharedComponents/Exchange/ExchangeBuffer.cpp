#include "SharedComponents/Exchange/ExchangeBuffer.h"

#include <array>
#include <chrono>
#include <memory>
#include <utility>

#include "Platform/Threads.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

constexpr char file[] = "SharedComponents/SharedResources";
constexpr char setFunction[] = "setExchange(key:id:name:body:)";
constexpr char getFunction[] = "getExchange(key:with:)";
constexpr char clearFunction[] = "clearExchange(key:)";

constexpr std::size_t lengthSize = 4;
using LengthBytes = std::array<std::byte, lengthSize>;

LengthBytes bytesOfLength(std::size_t length) {
  LengthBytes bytes{};
  for (std::size_t i = 0; i < lengthSize; ++i) bytes[i] = static_cast<std::byte>(length >> (8 * i));
  return bytes;
}

std::uint32_t lengthOf(const LengthBytes& bytes) {
  std::uint32_t length = 0;
  for (std::size_t i = lengthSize; i-- > 0;)
    length = length << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return length;
}

/// Truncates the file. Returns false, after an error line, if that fails.
bool truncate(ExchangeFile& exchange, std::uint64_t length, const char* function) {
  const auto outcome = exchange.file().truncate(length);
  if (!outcome)
    VCLogCError({file, function}, "Can't truncate \"%@\": %@", exchange.url(), outcome.failure());
  return static_cast<bool>(outcome);
}

/// Where a record is in its file, without the length that follows it; in bytes.
struct Extent {
  std::uint64_t start = 0;
  std::uint32_t length = 0;
};

/// Finds the newest record. Nothing if there is none or its length can't be read; a file that can't
/// be valid has been emptied then.
std::optional<Extent> newestRecord(ExchangeFile& exchange) {
  const std::uint64_t size = exchange.length();
  if (size <= lengthSize) {
    if (truncate(exchange, 0, getFunction)) VCLogCDebug({file, getFunction}, "buffer is epmty");
    return std::nullopt;
  }
  LengthBytes bytes{};
  const auto count = exchange.file().readAt(bytes, size - lengthSize);
  const std::size_t received = count ? count.value() : 0;
  VCLogCDebug({file, getFunction}, "Exchange object lenData: %@bytes", received);
  if (received < lengthSize) return std::nullopt;
  const std::uint32_t length = lengthOf(bytes);
  VCLogCDebug({file, getFunction}, "Exchange object len: %@bytes", length);
  if (size - lengthSize < length) {
    truncate(exchange, 0, getFunction);
    VCLogCWarn({file, getFunction}, "buffer is corrupted");
    return std::nullopt;
  }
  return Extent{size - lengthSize - length, length};
}

/// The longest record, in bytes, that a file within its limits can hold.
constexpr std::uint64_t longestRecord =
    ExchangeBuffer::maximumBufferLength + ExchangeBuffer::maximumObjectLength;

/// Reads the bytes at `extent`. Returns nothing if they can't all be read, or if there are more
/// than a file within its limits can hold; an error line says which.
std::optional<std::vector<std::byte>> bytesAt(ExchangeFile& exchange, const Extent& extent) {
  if (extent.length > longestRecord) {
    VCLogCError({file, getFunction}, "Can't read exchange object of %@bytes, above %@bytes",
                extent.length, longestRecord);
    return std::nullopt;
  }
  std::vector<std::byte> bytes(extent.length);
  const auto count = exchange.file().readAt(bytes, extent.start);
  const std::size_t received = count ? count.value() : 0;
  VCLogCDebug({file, getFunction}, "Data readed %@bytes length.", received);
  if (received != extent.length) {
    VCLogCError({file, getFunction},
                "Exchange object invalid. Must be %@bytes length, but received %@bytes.",
                extent.length, received);
    return std::nullopt;
  }
  VCLogCDebug({file, getFunction}, "Exchange object received %@bytes length.", extent.length);
  return bytes;
}

/// Appends the record completely or not at all. Returns false, after an error line, if it fails.
bool append(ExchangeFile& exchange, const std::string& archive) {
  const LengthBytes length = bytesOfLength(archive.size());
  const auto written = exchange.file().writeAt(bytesOf(archive), length, exchange.length());
  if (written && written.value() == archive.size() + length.size()) return true;
  if (!written) {
    VCLogCError({file, setFunction}, "Can't append to \"%@\": %@", exchange.url(),
                written.failure());
  } else {
    VCLogCError({file, setFunction}, "Can't append to \"%@\": only %@ of %@ bytes were written",
                exchange.url(), written.value(), archive.size() + length.size());
  }
  truncate(exchange, exchange.length(), setFunction);
  return false;
}

/// What setExchange does with the file; returns what its continuation gets.
bool appendRecord(ExchangeFile& exchange, const std::string& key, ExchangeRecord record) {
  if (exchange.state() != ExchangeFile::State::ready) return true;
  if (exchange.length() > ExchangeBuffer::maximumBufferLength) {
    VCLogCWarn({file, setFunction}, "Exchange buffer for \"%@\" reached maximum length", key);
    return false;
  }
  const std::string id = record.id;
  const std::string name = record.name;
  const auto archive =
      ExchangeRecord::archive(std::move(record), ExchangeBuffer::maximumObjectLength);
  if (!archive && archive.failure().cause == FailureCause::noSpace) {
    VCLogCWarn({file, setFunction}, "Exchange object for \"%@\" reacged maximum length", key);
    return false;
  }
  if (!archive) {
    VCLogCError({file, setFunction}, "Can't open file \"%@\" for writing: %@", exchange.url(),
                archive.failure());
    return false;
  }
  if (append(exchange, archive.value())) {
    VCLogCDebug({file, setFunction}, "Writen data (%@) for key: %@, id: %@, name: %@",
                archive->size(), key, id, name);
  }
  return true;
}

/// How soon a contended lock is tried again if the system starts no thread to wait for it.
constexpr std::chrono::milliseconds retryPause{10};

}  // namespace

ExchangeBuffer::ExchangeBuffer(Platform::EventLoop& loop, std::function<std::string()> folder)
    : loop_(loop), folder_(std::move(folder)) {}

/// What to do with the file once it is locked, and how often it may still be opened.
struct ExchangeBuffer::Operation {
  std::string path;
  Use use;
  unsigned attemptsLeft = maximumAttempts;
};

/// Calls `use` with the file of `key`, locked unless that is impossible; see ExchangeFile::state.
void ExchangeBuffer::withFile(const std::string& key, Use use) {
  start({folder_() + "/" + key + ".data", std::move(use)});
}

void ExchangeBuffer::start(Operation operation) {
  ExchangeFile exchange(operation.path);
  if (exchange.state() != ExchangeFile::State::contended)
    return run(exchange, std::move(operation));
  exchange.close();
  waitForLock(std::move(operation));
}

/// Uses the file, which is not contended, or starts over if it was removed.
void ExchangeBuffer::run(ExchangeFile& exchange, Operation operation) {
  if (exchange.state() != ExchangeFile::State::removed || --operation.attemptsLeft == 0)
    return operation.use(exchange);
  exchange.close();
  start(std::move(operation));
}

/// An operation that waits for a lock that another process holds. Shared between the loop and the
/// helper thread, which use it one after the other.
struct ExchangeBuffer::LockWait {
  explicit LockWait(Operation pending) : operation(std::move(pending)), exchange(operation.path) {}

  Operation operation;
  ExchangeFile exchange;
};

/// Waits on a thread of its own; if the system starts none, tries again every `retryPause`.
void ExchangeBuffer::waitForLock(Operation operation) {
  const auto wait = std::make_shared<LockWait>(std::move(operation));
  if (wait->exchange.state() != ExchangeFile::State::contended)
    return run(wait->exchange, std::move(wait->operation));
  const auto started = Platform::startThread("exchange lock", [this, wait = wait]() mutable {
    wait->exchange.waitForLock();
    loop_.post([this, wait = std::move(wait)] { run(wait->exchange, std::move(wait->operation)); });
  });
  if (started) return;
  wait->exchange.close();
  retryLater(std::move(wait->operation));
}

void ExchangeBuffer::retryLater(Operation operation) {
  auto retry = std::make_shared<Platform::EventLoop::Registration>();
  *retry = loop_.at(Platform::EventLoop::now() + retryPause,
                    [this, operation = std::move(operation), retry]() mutable {
                      waitForLock(std::move(operation));
                    });
}

void ExchangeBuffer::setExchange(const std::string& key, const std::string& id,
                                 const std::string& name, std::optional<Dictionary> body,
                                 UniqueFunction<void(bool)> done) {
  VCLogCDebug({file, setFunction}, "key: %@, id: %@, name: %@", key, id, name);
  undecodable_.reset();
  withFile(key, [key, record = ExchangeRecord{id, name, std::move(body)},
                 done = std::move(done)](ExchangeFile& exchange) mutable {
    const bool isTaken = appendRecord(exchange, key, std::move(record));
    exchange.close();
    done(isTaken);
  });
}

void ExchangeBuffer::getExchange(const std::string& key, const std::optional<std::string>& id,
                                 UniqueFunction<void(std::optional<ExchangeRecord>)> done) {
  withFile(key, [this, key, id, done = std::move(done)](ExchangeFile& exchange) mutable {
    auto record = takeNewest(exchange, key, id);
    exchange.close();
    done(std::move(record));
  });
}

std::optional<ExchangeRecord> ExchangeBuffer::takeNewest(ExchangeFile& exchange,
                                                         const std::string& key,
                                                         const std::optional<std::string>& id) {
  const auto undecodable = std::exchange(undecodable_, std::nullopt);
  if (exchange.state() == ExchangeFile::State::notLocked) return std::nullopt;
  if (exchange.state() != ExchangeFile::State::ready) {
    VCLogCError({file, getFunction}, "Can't get file handle for: %@", exchange.url());
    return std::nullopt;
  }
  const auto extent = newestRecord(exchange);
  if (!extent) return std::nullopt;
  const RecordPosition newest{key, extent->start, extent->length};
  std::optional<ExchangeRecord> record;
  if (newest != undecodable) {
    const auto bytes = bytesAt(exchange, *extent);
    if (!bytes && extent->length <= longestRecord)
      return std::nullopt;  // the next read may succeed
    if (bytes) record = decoded(*bytes);
  }
  if (!record) {
    undecodable_ = newest;
    return std::nullopt;
  }
  const bool isMatch = !id || *id == record->id;
  VCLogCDebug({file, getFunction}, "key: %@, id: %@, name: %@, goToNext: %@", key, record->id,
              record->name, isMatch ? "true" : "false");
  if (!isMatch || !truncate(exchange, extent->start, getFunction)) return std::nullopt;
  return record;
}

std::optional<ExchangeRecord> ExchangeBuffer::decoded(ByteView archive) const {
  // Errors are always allowed, because a main application may answer any request with one.
  auto root = KeyedUnarchiver::unarchive(archive, {classes_, true});
  if (!root) {
    VCLogCError({file, getFunction}, "Can't convert exchange object to dictionary: %@",
                root.failure());
    return std::nullopt;
  }
  return ExchangeRecord::fromValue(std::move(root).value());
}

void ExchangeBuffer::clearExchange(const std::string& key, UniqueFunction<void()> done) {
  VCLogCDebugTrace({file, clearFunction});
  undecodable_.reset();
  withFile(key, [done = std::move(done)](ExchangeFile& exchange) mutable {
    if (exchange.state() == ExchangeFile::State::ready && truncate(exchange, 0, clearFunction))
      VCLogCInfo({file, clearFunction}, "Cleared file on '%@'", exchange.url());
    exchange.close();
    done();
  });
}

}  // namespace corvane
