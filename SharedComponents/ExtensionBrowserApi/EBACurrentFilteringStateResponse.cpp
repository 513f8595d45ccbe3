#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"

#include <array>

namespace corvane {
namespace {

using Kind = RecordField::Kind;

constexpr std::array<RecordField, 7> fields = {{
    {"isFilteringEnabled", Kind::boolean},
    {"isHttpsFilteringEnabled", Kind::boolean},
    {"isPageFilteredByUserFilter", Kind::boolean},
    {"blockedAdsCount", Kind::integer},
    {"totalBlockedCount", Kind::integer},
    {"originalCertIssuer", Kind::text},
    {"originalCertStatus", Kind::text},
}};
constexpr std::array<std::string_view, 8> storedOrder = {
    "isHttpsFilteringEnabled",    "totalBlockedCount",  "$class",
    "originalCertStatus",         "blockedAdsCount",    "originalCertIssuer",
    "isPageFilteredByUserFilter", "isFilteringEnabled",
};

}  // namespace

constinit const RecordClass EBACurrentFilteringStateResponse::recordClass = {
    "EBACurrentFilteringStateResponse", fields, storedOrder};

Record EBACurrentFilteringStateResponse::record() const {
  return {&recordClass,
          {isFilteringEnabled, isHttpsFilteringEnabled, isPageFilteredByUserFilter, blockedAdsCount,
           totalBlockedCount, originalCertIssuer, originalCertStatus}};
}

std::optional<EBACurrentFilteringStateResponse> EBACurrentFilteringStateResponse::fromRecord(
    const Record& record) {
  if (record.recordClass != &recordClass) return std::nullopt;
  return EBACurrentFilteringStateResponse{
      .isFilteringEnabled = record.valueOr("isFilteringEnabled", false),
      .isHttpsFilteringEnabled = record.valueOr("isHttpsFilteringEnabled", false),
      .isPageFilteredByUserFilter = record.valueOr("isPageFilteredByUserFilter", false),
      .blockedAdsCount = record.valueOr("blockedAdsCount", std::int64_t{0}),
      .totalBlockedCount = record.valueOr("totalBlockedCount", std::int64_t{0}),
      .originalCertIssuer = record.valueOr("originalCertIssuer", std::string()),
      .originalCertStatus = record.valueOr("originalCertStatus", std::string()),
  };
}

}  // namespace corvane
