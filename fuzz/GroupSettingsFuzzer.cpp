#include <algorithm>
#include <cstdlib>

#include "Base/BinaryPropertyList.h"
#include "Base/BinaryPropertyListWriter.h"
#include "Platform/GroupSettings.h"
#include "fuzz/Fuzzing.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

using corvane::BinaryPropertyList;
using corvane::BinaryPropertyListWriter;
using corvane::fuzzing::require;
using corvane::Platform::GroupSettings;
using Kind = BinaryPropertyList::Kind;

const std::string group = "CVN4TEAM01.com.example.app";

corvane::Result<GroupSettings> settingsIn(std::string_view file) {
  static const corvane::testing::TemporaryFolder container;
  corvane::testing::writeFile(container.path() / ("Library/Preferences/" + group + ".plist"), file);
  constexpr std::size_t perByte =
      4 + sizeof(BinaryPropertyList::Object);  // objects have one at least
  const corvane::fuzzing::MemoryBound bound(std::size_t{32768} + perByte * file.size());
  return GroupSettings::open(container.path().string(), group);
}

/// What a setting counts, by the C library.
std::int64_t integerOf(const BinaryPropertyList::Object& value) {
  switch (value.kind) {
    case Kind::boolean:
      return value.boolean() ? 1 : 0;
    case Kind::integer:
      return value.integer().nearestSigned();
    case Kind::real: {
      const auto real = static_cast<long double>(value.real());
      if (!(real == real)) return 0;
      return static_cast<std::int64_t>(std::clamp(real, static_cast<long double>(INT64_MIN),
                                                  static_cast<long double>(INT64_MAX)));
    }
    case Kind::text:
      return std::strtoll(value.text().c_str(), nullptr, 10);
    default:
      return 0;
  }
}

/// Settings of one integer, as such and as a text.
void writeAndReadBack(std::int64_t number) {
  BinaryPropertyListWriter writer(1);
  const auto dictionary = writer.addDictionary(2);
  writer.setKey(dictionary, 0, writer.addText("number"));
  writer.setKey(dictionary, 1, writer.addText("text"));
  writer.setValue(dictionary, 0, writer.addInteger(number));
  writer.setValue(dictionary, 1, writer.addText(std::to_string(number) + ".5"));
  const auto settings = settingsIn(writer.finish());
  require(settings && settings->integer("number") == number && settings->integer("text") == number,
          "what was written reads back as the same");
}

}  // namespace

/// Settings count as the C library counts them; what is no dictionary is refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::int64_t number = 0;
  std::copy_n(data, std::min(size, sizeof number), reinterpret_cast<std::uint8_t*>(&number));
  writeAndReadBack(number);
  const auto settings = settingsIn(corvane::fuzzing::textOf(data, size));
  const auto list = BinaryPropertyList::open(corvane::fuzzing::bytesOf(data, size));
  require(static_cast<bool>(settings) == (list && list->top().kind == Kind::dictionary),
          "settings are a dictionary");
  if (!settings) {
    require(!settings.failure().text.empty(), "a failure says why");
    return 0;
  }
  constexpr std::size_t mostKeys = 64;
  const auto top = list->top();
  for (std::size_t i = 0; i < std::min<std::size_t>(top.count, mostKeys); ++i) {
    const std::string key = list->object(list->key(top, i)).text();
    require(settings->integer(key) == integerOf(list->find(top, key)),
            "a setting counts as the system has it");
  }
  require(settings->integer("DefaultsKeyLogLevel") == 0 || top.count != 0, "what is absent is 0");
  return 0;
}
