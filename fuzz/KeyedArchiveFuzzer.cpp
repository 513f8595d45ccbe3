#include <algorithm>

#include "Base/ErrorObject.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedArchiver.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "fuzz/Archives.h"
#include "fuzz/Fuzzing.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)
using fuzzing::allClasses;
using fuzzing::records;
using fuzzing::require;

/// Asks the objects in `value` what they are asked elsewhere, and looks that they may be there.
void use(const Value& value, const ArchivableClasses& classes) {
  if (const auto* error = value.as<ErrorObject>()) {
    require(classes.errors, "an error is read only where errors are allowed");
    require(!error->description().empty(), "an error says what it is");
  }
  if (const auto* record = value.as<Record>()) {
    require(std::count(classes.records.begin(), classes.records.end(), record->recordClass) == 1,
            "only records of allowed classes are read");
    require(EBAAppStateResponse::fromRecord(*record).has_value() !=
                EBACurrentFilteringStateResponse::fromRecord(*record).has_value(),
            "a record is of one class");
  }
  if (const auto* dictionary = value.as<Dictionary>()) {
    for (const auto& entry : *dictionary) use(entry.value, classes);
  }
}

Result<Value> unarchived(ByteView bytes, const ArchivableClasses& classes) {
  const fuzzing::MemoryBound bound(fuzzing::mostMemoryOfArchive(bytes.size()));
  auto value = KeyedUnarchiver::unarchive(bytes, classes);
  if (value)
    use(value.value(), classes);
  else
    require(!value.failure().text.empty(), "a failure says why");
  return value;
}

/// Whether there is a record or an error in `value`.
bool holdsClass(const Value& value) {
  const auto* dictionary = value.as<Dictionary>();
  if (dictionary == nullptr)
    return value.as<Record>() != nullptr || value.as<ErrorObject>() != nullptr;
  return std::any_of(dictionary->begin(), dictionary->end(),
                     [](const DictionaryEntry& entry) { return holdsClass(entry.value); });
}

/// What is read with fewer classes is the same with all of them, unless it is of one of those: if a
/// class is not allowed, its objects may pass as those of a class that it names above itself.
void restrict(ByteView bytes, const Result<Value>& withAll, const ArchivableClasses& fewer) {
  const auto value = unarchived(bytes, fewer);
  if (value && withAll && !holdsClass(withAll.value()))
    require(withAll.value() == value.value(), "another class allowed changes nothing");
}

}  // namespace

/// What was read must be written without a failure and read back as the same values, and hold only
/// what is allowed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView bytes = fuzzing::bytesOf(data, size);
  const auto value = unarchived(bytes, allClasses);
  restrict(bytes, value, {});
  restrict(bytes, value, {{records, 1}, false});
  if (!value) return 0;
  const auto written = KeyedArchiver::archive(value.value());
  require(static_cast<bool>(written), "what was read can be written");
  const auto again = unarchived(bytesOf(written.value()), allClasses);
  // How much text may be unfolded follows from the size, and equal texts are written once.
  if (!again && written.value().size() < size) return 0;
  require(static_cast<bool>(again), "what was written can be read");
  require(again.value() == value.value(), "what was written reads back as the same");
  static_cast<void>(ExchangeRecord::fromValue(value.value()));
  return 0;
}
