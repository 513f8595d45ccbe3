#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"

#include <array>

#include "SharedComponents/ExtensionBrowserApi/RecordTable.h"

namespace corvane {
namespace {

using State = EBACurrentFilteringStateResponse;

constexpr RecordTable<State, 7> table = {{{
    {"isFilteringEnabled", &State::isFilteringEnabled},
    {"isHttpsFilteringEnabled", &State::isHttpsFilteringEnabled},
    {"isPageFilteredByUserFilter", &State::isPageFilteredByUserFilter},
    {"blockedAdsCount", &State::blockedAdsCount},
    {"totalBlockedCount", &State::totalBlockedCount},
    {"originalCertIssuer", &State::originalCertIssuer},
    {"originalCertStatus", &State::originalCertStatus},
}}};
constexpr auto fields = table.fields();
constexpr auto storedOrder = table.positions({
    "isHttpsFilteringEnabled",
    "totalBlockedCount",
    "$class",
    "originalCertStatus",
    "blockedAdsCount",
    "originalCertIssuer",
    "isPageFilteredByUserFilter",
    "isFilteringEnabled",
});

}  // namespace

constinit const RecordClass EBACurrentFilteringStateResponse::recordClass = {
    "EBACurrentFilteringStateResponse", fields, storedOrder};

Record EBACurrentFilteringStateResponse::record() const {
  return table.recordOf(*this);
}

std::optional<EBACurrentFilteringStateResponse> EBACurrentFilteringStateResponse::fromRecord(
    const Record& record) {
  return table.objectOf(record);
}

}  // namespace corvane
