#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <set>

#include "Base/ErrorObject.h"
#include "Base/Json.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedArchiver.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

using testing::contentOf;
using namespace std::string_literals;
namespace fs = std::filesystem;

const fs::path samples = fs::path(TEST_SAMPLES) / "archives";

/// What a reader of replies allows.
Result<Value> unarchived(const std::string& bytes) {
  static const RecordClass* const records[] = {&EBACurrentFilteringStateResponse::recordClass,
                                               &EBAAppStateResponse::recordClass};
  return KeyedUnarchiver::unarchive(bytesOf(bytes), {records, true});
}

/// The state records in `value` as the rest of the host sees them, missing fields at their
/// defaults.
Value withDefaults(const Value& value) {
  if (const auto* record = value.as<Record>()) {
    if (const auto state = EBAAppStateResponse::fromRecord(*record)) return state->record();
    return EBACurrentFilteringStateResponse::fromRecord(*record)->record();
  }
  const auto* dictionary = value.as<Dictionary>();
  if (dictionary == nullptr) return value;
  Dictionary result;
  for (const auto& [key, content] : *dictionary) result.set(key, withDefaults(content));
  return result;
}

std::optional<Value> valueOf(const JsonValue& json);

/// A dictionary as the manifest writes it: a key that begins with "$" has a second one in front.
Dictionary dictionaryOf(const JsonObject& json) {
  Dictionary result;
  for (const auto& member : json) {
    std::string key(member.key());
    if (key.starts_with("$$")) key.erase(0, 1);
    if (auto value = valueOf(member.value())) result.append(key, *value);
  }
  return result;
}

/// What the manifest means by `json`; nothing for what no value expresses.
std::optional<Value> valueOf(const JsonValue& json) {
  if (json.is_null()) return Value();
  if (json.is_bool()) return Value(json.get_bool());
  if (json.is_int64()) return Value(json.get_int64());
  if (json.is_uint64()) return Value(json.get_uint64());
  if (json.is_double()) return Value(json.get_double());
  if (json.is_string()) return Value(std::string(json.get_string()));
  if (json.is_array() || json.get_object().contains("$url")) return std::nullopt;
  const JsonObject& object = json.get_object();
  if (const auto* error = findObject(object, "$error")) {
    ErrorObject result{
        std::string(*findString(*error, "domain")), *findInteger(*error, "code"), {}};
    if (const auto* userInfo = findObject(*error, "userInfo"))
      result.userInfo = dictionaryOf(*userInfo);
    return Value(result);
  }
  if (!object.contains("$record")) return Value(dictionaryOf(object));
  const JsonObject& fields = object.at("fields").as_object();
  const RecordClass* recordClass = *findString(object, "$record") == "EBAAppStateResponse"
                                       ? &EBAAppStateResponse::recordClass
                                       : &EBACurrentFilteringStateResponse::recordClass;
  Record record{recordClass, {}};
  for (const auto& field : recordClass->fields)
    record.fields.push_back(*valueOf(fields.at(field.key)));
  return Value(record);
}

/// Why `bytes` are refused as an exchange record; "" when they are not.
std::string refusal(const std::string& bytes) {
  auto root = unarchived(bytes);
  if (!root) return root.failure().text;
  return ExchangeRecord::fromValue(std::move(root).value()) ? "" : "no exchange record";
}

std::string archiveOf(const Value& value) {
  return KeyedArchiver::archive(value).value();
}

/// The bytes of a sample archive, or of the newest record in a sample exchange file.
std::string sample(const std::string& name) {
  std::string bytes = contentOf(samples / "golden" / name);
  if (!name.ends_with(".data")) return bytes;
  std::uint32_t length = 0;
  std::memcpy(&length, bytes.data() + bytes.size() - sizeof length, sizeof length);
  return bytes.substr(bytes.size() - 4 - length, length);
}

/// What the manifest says of the sound archives.
const boost::json::array& soundArchives() {
  static const JsonValue manifest = parseJson(contentOf(samples / "golden/manifest.json")).value();
  return manifest.at("archives").as_array();
}

TEST(KeyedArchive, SoundArchivesSayWhatTheyShouldAndAreWrittenAlike) {
  // Older systems, mutable classes, wider integers and kinds that are skipped:
  // read, but never written.
  const std::set<std::string> writtenOtherwise = {"macos-legacy-order.archive",
                                                  "macos-mutable.archive", "macos-unsigned.archive",
                                                  "macos-reply-updateApp-error-underlying.archive"};
  int identical = 0;
  for (const JsonValue& entry : soundArchives()) {
    const std::string file(entry.at("file").as_string());
    const std::string bytes = sample(file);
    const auto root = unarchived(bytes);
    ASSERT_TRUE(root) << file << ": " << root.failure().text;
    const JsonObject& expected = entry.at("expected").as_object();
    EXPECT_EQ(ExchangeRecord::fromValue(withDefaults(root.value())),
              ExchangeRecord::fromValue(dictionaryOf(expected)))
        << file;
    const std::string written = archiveOf(root.value());
    if (entry.at("layout") != "gnustep" && !writtenOtherwise.contains(file)) {
      EXPECT_TRUE(written == bytes) << file;
      ++identical;
    } else {
      EXPECT_TRUE(written != bytes) << file;
      EXPECT_EQ(unarchived(written).value(), root.value()) << file;
    }
  }
  EXPECT_EQ(identical, 30);
}

TEST(KeyedArchive, MalformedArchivesAreRefused) {
  int count = 0;
  for (const auto& file : fs::directory_iterator(samples / "malformed")) {
    if (file.path().extension() != ".archive") continue;
    EXPECT_NE(refusal(contentOf(file.path())), "") << file.path();
    ++count;
  }
  EXPECT_GE(count, 18);
}

TEST(KeyedArchive, OneWrongPieceIsRefusedOrForgiven) {
  const char error[] = "macos-reply-removeRule-error.archive";
  const char state[] = "macos-reply-appState.archive";
  const char bare[] = "macos-reply-openSettings-error-bare.archive";
  const std::string uids = "\x80\0\x80\x0A"s;  // no user info, and the domain
  const struct {
    const char* file;
    std::string piece, instead;
    const char* reason;  // "" when it is forgiven
  } cases[] = {
      // An unknown class below one of Foundation's, and one below a record's.
      {"macos-mutable.archive", "NSMutableDictionary", "NSUnknownDictionary", ""},
      {state, "EBAAppStateResponse", "EBAAppStateResponsX", "not allowed"},
      {state, "$classname", "$classnamX", "no name"},
      {state, "$class", "$clasX", "no class"},
      {state, "isProtectionEnabled", "isProtectionEnableX", ""},
      {error, "NSDomain", "NSDomaiX", "no domain"},
      {error, "NSCode", "NSCodX", ""},
      {error, "NS.keys", "NS.keyX", "lacks"},
      {error, "NSError", "NSErroX", "not allowed"},
      {"macos-reply-updateApp-error-underlying.archive", "NSURL", "NSURX", ""},
      {"macos-null-text.archive", "NS.string", "NS.strinX", "no text"},
      {"macos-one.data", "NSKeyedArchiver", "XXKeyedArchiver", "keyed archiver"},
      {"macos-one.data", "Tname", "Tnamx", "no exchange record"},
      {"macos-one.data", "Tbody", "Tbodx", ""},
      // In their place: the error itself, the body, a text; no domain, no object, no UID.
      {bare, uids, "\x80\x09\x80\x0A", "themselves"},
      {bare, uids, "\x80\x07\x80\x0A", "themselves"},
      {bare, uids, "\x80\x0A\x80\x0A", ""},
      {bare, uids, "\x80\0\x80\0"s, "no text"},
      {bare, uids, "\x80\xFF\x80\x0A", "no object"},
      {bare, uids, "\x09\x09\x80\x0A", "user info"},
  };
  for (const auto& c : cases) {
    std::string bytes = sample(c.file);
    const std::size_t at = bytes.find(c.piece);
    ASSERT_NE(at, std::string::npos) << c.file << " " << c.piece;
    bytes.replace(at, c.piece.size(), c.instead);
    const std::string reason = refusal(bytes);
    EXPECT_TRUE(*c.reason == '\0' ? reason.empty() : reason.find(c.reason) != std::string::npos)
        << c.file << " " << ::testing::PrintToString(c.instead) << ": " << reason;
  }
}

TEST(KeyedArchive, AllowedObjectsThatNoValueExpressesAreLeftOut) {
  std::string bytes = sample("macos-reply-appState.archive");
  const std::string original = bytes;
  for (std::size_t at = 0; (at = bytes.find("EBAAppState", at)) != std::string::npos; ++at)
    bytes[at] = 'X';
  bytes.replace(bytes.find("NSObject"), 8, "NSNumber");
  EXPECT_EQ(ExchangeRecord::fromValue(unarchived(bytes).value())->body, Dictionary());
  bytes = original;
  bytes.replace(bytes.find("Vresult"), 2, "\x10\x07");
  EXPECT_EQ(ExchangeRecord::fromValue(unarchived(bytes).value())->body, std::nullopt);
  bytes.replace(bytes.find("Rid"), 2, "\x10\x07");
  EXPECT_NE(refusal(bytes), "");
}

Value nested(unsigned levels) {
  Value value = "end";
  for (unsigned i = 0; i < levels; ++i) value = Dictionary{{"in", std::move(value)}};
  return value;
}

TEST(KeyedArchive, AllKindsComeBackAsTheyWere) {
  const ErrorObject inner{"Inner", INT64_MIN, Dictionary{}};
  Dictionary values = {
      {"$null", "$null"},
      {"NS.keys", "NSDictionary"},
      {"", Value()},
      {"one", 1},
      {"true", true},
      {"one real", 1.0},
      {"negative zero", -0.0},
      {"nan", std::numeric_limits<double>::quiet_NaN()},
      {"2^63", std::uint64_t{1} << 63},
      {"fits", std::uint64_t{INT64_MAX}},
      {"text", "\xED\xB0\x80\xED\xA0\x80\xF0\x9F\x98\x80\xED\xAF\xBF"s + '\0'},
      {"empty", Dictionary{}},
      {"error", ErrorObject{"$null", -1, Dictionary{{"NSUnderlyingError", inner}, {"n", 7}}}},
      {"state", EBAAppStateResponse{true, "$null"}.record()},
      {"page",
       EBACurrentFilteringStateResponse{true, false, true, -1, INT64_MAX, "", "valid"}.record()},
  };
  EXPECT_EQ(unarchived(archiveOf(values)).value(), Value(values));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value(1), Value(1.0));

  // Every border of the widths: 256 objects, 256 UIDs, offsets of two and three bytes.
  Dictionary growing;
  for (int i = 0; i < 140; ++i) {
    growing.append(std::to_string(i), "\xC3\xA9"s + std::to_string(i));
    ASSERT_EQ(unarchived(archiveOf(growing)).value(), Value(growing)) << i;
  }
  growing.append("long", std::string(70000, 'x'));
  EXPECT_EQ(unarchived(archiveOf(growing)).value(), Value(growing));
}

TEST(KeyedArchive, LimitsHoldForWriterAndReader) {
  EXPECT_EQ(unarchived(archiveOf(nested(64))).value(), nested(64));
  EXPECT_FALSE(KeyedArchiver::archive(nested(65)));
  EXPECT_FALSE(KeyedArchiver::archive("\xC0\x80"));
  EXPECT_FALSE(KeyedArchiver::archive(Record{&EBAAppStateResponse::recordClass, {true, 1.0}}));

  Dictionary sharing;  // 100,000 bytes in the archive, 100 million when unfolded
  for (int i = 0; i < 1000; ++i) sharing.append(std::to_string(i), std::string(100000, 'x'));
  EXPECT_NE(refusal(archiveOf(sharing)).find("too long"), std::string::npos);
}

}  // namespace
}  // namespace corvane
