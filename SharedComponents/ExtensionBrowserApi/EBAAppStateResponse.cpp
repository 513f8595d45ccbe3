#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"

#include <array>
#include <cstdio>

#include "SharedComponents/ExtensionBrowserApi/RecordTable.h"

namespace corvane {
namespace {

using State = EBAAppStateResponse;

constexpr RecordTable<State, 2> table = {{{
    {"isProtectionEnabled", &State::isProtectionEnabled},
    {"locale", &State::locale},
}}};
constexpr auto fields = table.fields();
constexpr auto storedOrder = table.positions({"locale", "$class", "isProtectionEnabled"});

}  // namespace

constinit const RecordClass EBAAppStateResponse::recordClass = {"EBAAppStateResponse", fields,
                                                                storedOrder};

Record EBAAppStateResponse::record() const {
  return table.recordOf(*this);
}

std::optional<EBAAppStateResponse> EBAAppStateResponse::fromRecord(const Record& record) {
  return table.objectOf(record);
}

std::string EBAAppStateResponse::description() const {
  char address[32] = "";
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + std::string(recordClass.name) + ": " + address +
         "> isProtectionEnabled: " + (isProtectionEnabled ? "true" : "false") +
         ", locale: " + locale;
}

}  // namespace corvane
