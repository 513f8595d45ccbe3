#pragma once

#include "Base/ErrorObject.h"
#include "SharedComponents/ExchangeRecord.h"

namespace corvane::Nmctl::MainAppCheck {

/// The error object with which `reply` refuses; nullptr when it does not. Ends as `broken` when it
/// is neither a refusal nor a success.
const ErrorObject* refusalIn(const ExchangeRecord& reply);

/// Ends as `notShown` when `reply` is a refusal, which any request may get.
void requireDone(const ExchangeRecord& reply);

}  // namespace corvane::Nmctl::MainAppCheck
