#include "SharedComponents/ExchangeBuffer.h"

#include <array>
#include <utility>

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

/// True when the file has been cut off; otherwise there is an error line.
bool truncate(ExchangeFile& exchange, std::uint64_t length, const char* function) {
  const auto outcome = exchange.file().truncate(length);
  if (!outcome)
    VCLogCError({file, function}, "Can't truncate \"%@\": %@", exchange.url(), outcome.failure());
  return static_cast<bool>(outcome);
}

/// A record where it lies in its file.
struct Place {
  std::uint64_t start = 0;
  std::uint32_t length = 0;
};

/// Where the newest record lies, or nothing: then there is none, and a file that can't be right has
/// been emptied.
std::optional<Place> newestRecord(ExchangeFile& exchange) {
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
  return Place{size - lengthSize - length, length};
}

/// The bytes of the record at `place`; nothing when they are not all to be had, or are more than
/// any file holds that keeps the limits.
std::optional<std::vector<std::byte>> bytesAt(ExchangeFile& exchange, const Place& place) {
  constexpr std::uint64_t largest =
      ExchangeBuffer::maximumBufferLength + ExchangeBuffer::maximumObjectLength;
  std::vector<std::byte> bytes(place.length <= largest ? place.length : 0);
  const auto count = exchange.file().readAt(bytes, place.start);
  const std::size_t received = count ? count.value() : 0;
  VCLogCDebug({file, getFunction}, "Data readed %@bytes length.", received);
  if (received != place.length) {
    VCLogCError({file, getFunction},
                "Exchange object invalid. Must be %@bytes length, but received %@bytes.",
                place.length, received);
    return std::nullopt;
  }
  VCLogCDebug({file, getFunction}, "Exchange object received %@bytes length.", place.length);
  return bytes;
}

}  // namespace

ExchangeBuffer::ExchangeBuffer(std::function<std::string()> folder, DispatchQueue& queue,
                               Platform::SystemCalls& calls)
    : folder_(std::move(folder)), queue_(queue), calls_(calls) {}

std::string ExchangeBuffer::pathOf(const std::string& key) const {
  return folder_() + "/" + key + ".data";
}

bool ExchangeBuffer::setExchange(const std::string& key, const std::string& id,
                                 const std::string& name, std::optional<Dictionary> body) {
  VCLogCDebug({file, setFunction}, "key: %@, id: %@, name: %@", key, id, name);
  ExchangeFile exchange(pathOf(key), calls_);
  if (exchange.state() != ExchangeFile::State::ready) return true;
  if (exchange.length() > maximumBufferLength) {
    VCLogCWarn({file, setFunction}, "Exchange buffer for \"%@\" reached maximum length", key);
    return false;
  }
  const auto archive = ExchangeRecord::archive({id, name, std::move(body)});
  if (!archive) {
    VCLogCError({file, setFunction}, "Can't open file \"%@\" for writing: %@", exchange.url(),
                archive.failure());
    return false;
  }
  if (archive->size() > maximumObjectLength) {
    VCLogCWarn({file, setFunction}, "Exchange object for \"%@\" reacged maximum length", key);
    return false;
  }
  if (append(exchange, archive.value())) {
    VCLogCDebug({file, setFunction}, "Writen data (%@) for key: %@, id: %@, name: %@",
                archive->size(), key, id, name);
  }
  return true;
}

/// Appends all or nothing. True when it is all; otherwise an error line says why.
bool ExchangeBuffer::append(ExchangeFile& exchange, const std::string& archive) {
  const AppendGate::Pass pass(appends_);
  if (!pass) return false;
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

std::optional<ExchangeRecord> ExchangeBuffer::getExchange(const std::string& key,
                                                          const std::optional<std::string>& id) {
  ExchangeFile exchange(pathOf(key), calls_);
  if (exchange.state() == ExchangeFile::State::notLocked) return std::nullopt;
  if (exchange.state() == ExchangeFile::State::notOpened) {
    VCLogCError({file, getFunction}, "Can't get file handle for: %@", exchange.url());
    return std::nullopt;
  }
  const auto place = newestRecord(exchange);
  if (!place) return std::nullopt;
  const auto bytes = bytesAt(exchange, *place);
  if (!bytes) return std::nullopt;
  auto record = decoded(*bytes);
  if (!record) return std::nullopt;
  const bool isMatch = !id || *id == record->id;
  VCLogCDebug({file, getFunction}, "key: %@, id: %@, name: %@, goToNext: %@", key, record->id,
              record->name, isMatch ? "true" : "false");
  if (!isMatch || !truncate(exchange, place->start, getFunction)) return std::nullopt;
  return record;
}

std::optional<ExchangeRecord> ExchangeBuffer::decoded(ByteView archive) const {
  const auto records = registeredClasses();
  // Errors always: a main application may answer any request with one.
  auto root = KeyedUnarchiver::unarchive(archive, {*records, true});
  if (!root) {
    VCLogCError({file, getFunction}, "Can't convert exchange object to dictionary: %@",
                root.failure());
    return std::nullopt;
  }
  return ExchangeRecord::fromValue(std::move(root).value());
}

bool ExchangeBuffer::clearExchange(const std::string& key) {
  VCLogCDebugTrace({file, clearFunction});
  ExchangeFile exchange(pathOf(key), calls_);
  if (exchange.state() != ExchangeFile::State::ready) return true;
  if (truncate(exchange, 0, clearFunction)) {
    VCLogCInfo({file, clearFunction}, "Cleared file on '%@'", exchange.url());
  }
  return true;
}

void ExchangeBuffer::setRegisteredClasses(std::vector<const RecordClass*> classes) {
  queue_.sync([&] {
    auto registered = std::make_shared<const Classes>(std::move(classes));
    const std::lock_guard lock(classesMutex_);
    classes_ = std::move(registered);
  });
}

std::shared_ptr<const ExchangeBuffer::Classes> ExchangeBuffer::registeredClasses() const {
  const std::lock_guard lock(classesMutex_);
  return classes_;
}

}  // namespace corvane
