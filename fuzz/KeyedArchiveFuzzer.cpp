#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Base/ErrorObject.h"
#include "SharedComponents/ExchangeRecord.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedArchiver.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)

void require(bool condition) {
  if (!condition) std::abort();
}

Result<Value> unarchived(ByteView bytes) {
  static const RecordClass* const records[] = {&EBACurrentFilteringStateResponse::recordClass,
                                               &EBAAppStateResponse::recordClass};
  return KeyedUnarchiver::unarchive(bytes, {records, true});
}

/// Asks the objects in `value` what they are asked elsewhere.
void use(const Value& value) {
  if (const auto* error = value.as<ErrorObject>()) require(!error->description().empty());
  if (const auto* record = value.as<Record>()) {
    require(EBAAppStateResponse::fromRecord(*record).has_value() !=
            EBACurrentFilteringStateResponse::fromRecord(*record).has_value());
  }
  if (const auto* dictionary = value.as<Dictionary>()) {
    for (const auto& entry : *dictionary) use(entry.value);
  }
}

}  // namespace

/// What was read must be written without a failure and read back as the same values.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto value = unarchived(std::as_bytes(std::span(data, size)));
  if (!value) {
    require(!value.failure().text.empty());
    return 0;
  }
  use(value.value());
  const auto written = KeyedArchiver::archive(value.value());
  require(static_cast<bool>(written));
  const auto again = unarchived(bytesOf(written.value()));
  // How much text may be unfolded follows from the size, and equal texts are written once.
  if (!again && written.value().size() < size) return 0;
  require(static_cast<bool>(again));
  require(again.value() == value.value());
  static_cast<void>(ExchangeRecord::fromValue(value.value()));
  return 0;
}
