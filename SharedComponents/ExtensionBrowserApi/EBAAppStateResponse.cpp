#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"

#include <array>
#include <cstdio>

namespace corvane {
namespace {

constexpr std::array<RecordField, 2> fields = {{
    {"isProtectionEnabled", RecordField::Kind::boolean},
    {"locale", RecordField::Kind::text},
}};
constexpr std::array<std::string_view, 3> storedOrder = {"locale", "$class", "isProtectionEnabled"};

}  // namespace

constinit const RecordClass EBAAppStateResponse::recordClass = {"EBAAppStateResponse", fields,
                                                                storedOrder};

Record EBAAppStateResponse::record() const {
  return {&recordClass, {isProtectionEnabled, locale}};
}

std::optional<EBAAppStateResponse> EBAAppStateResponse::fromRecord(const Record& record) {
  if (record.recordClass != &recordClass) return std::nullopt;
  return EBAAppStateResponse{record.valueOr("isProtectionEnabled", false),
                             record.valueOr("locale", std::string())};
}

std::string EBAAppStateResponse::description() const {
  char address[32] = "";
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + std::string(recordClass.name) + ": " + address +
         "> isProtectionEnabled: " + (isProtectionEnabled ? "true" : "false") +
         ", locale: " + locale;
}

}  // namespace corvane
