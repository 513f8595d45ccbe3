#include "tools/corvane-main-app/Output.h"

#include <string>

#include "Base/ErrorObject.h"
#include "Base/Record.h"
#include "Platform/Descriptor.h"

namespace corvane::MainApp {
namespace {

JsonValue jsonOf(const Value& value);

JsonObject jsonOf(const Dictionary& dictionary) {
  JsonObject object;
  for (const auto& [key, value] : dictionary) object[key] = jsonOf(value);
  return object;
}

JsonObject jsonOf(const Record& record) {
  JsonObject object;
  for (std::size_t i = 0; i < record.fields.size(); ++i)
    object[std::string(record.recordClass->fields[i].key)] = jsonOf(record.fields[i]);
  return object;
}

JsonObject jsonOf(const ErrorObject& error) {
  return {{"domain", error.domain},
          {"code", error.code},
          {"userInfo", error.userInfo ? JsonValue(jsonOf(*error.userInfo)) : JsonValue()}};
}

JsonValue jsonOf(const Value& value) {
  if (const auto* boolean = value.as<bool>()) return *boolean;
  if (const auto* integer = value.as<std::int64_t>()) return *integer;
  if (const auto* integer = value.as<std::uint64_t>()) return *integer;
  if (const auto* real = value.as<double>()) return *real;
  if (const auto* text = value.as<std::string>()) return JsonValue(*text);
  if (const auto* dictionary = value.as<Dictionary>()) return jsonOf(*dictionary);
  if (const auto* record = value.as<Record>()) return jsonOf(*record);
  if (const auto* error = value.as<ErrorObject>()) return jsonOf(*error);
  return nullptr;
}

}  // namespace

void Output::line(std::string_view text) const {
  (void)Platform::Descriptor::writeAll(descriptor_, bytesOf(std::string(text) + "\n"));
}

void Output::json(const JsonObject& object) const {
  const auto text = serializeJson(object);
  line(text.value_or("{}"));  // what was decoded is well formed
}

void Output::exchanged(const char* kind, const ExchangeRecord& record) const {
  if (!prints_) return;
  json({{kind,
         {{"id", record.id},
          {"name", record.name},
          {"body", record.body ? JsonValue(jsonOf(*record.body)) : JsonValue()}}}});
}

}  // namespace corvane::MainApp
