#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Base/ErrorObject.h"
#include "Base/Json.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::testing {

inline const std::filesystem::path archiveSamples =
    std::filesystem::path(TEST_SAMPLES) / "archives";

/// What a reader of replies allows.
inline Result<Value> unarchived(const std::string& bytes) {
  static const RecordClass* const records[] = {&EBACurrentFilteringStateResponse::recordClass,
                                               &EBAAppStateResponse::recordClass};
  return KeyedUnarchiver::unarchive(bytesOf(bytes), {records, true});
}

/// The state records in `value` as the rest of the host sees them, missing fields at their
/// defaults.
inline Value withDefaults(const Value& value) {
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
inline Dictionary dictionaryOf(const JsonObject& json) {
  Dictionary result;
  for (const auto& member : json) {
    std::string key(member.key());
    if (key.starts_with("$$")) key.erase(0, 1);
    if (auto value = valueOf(member.value())) result.append(key, *value);
  }
  return result;
}

/// What the manifest means by `json`; nothing for what no value expresses.
inline std::optional<Value> valueOf(const JsonValue& json) {
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

}  // namespace corvane::testing
