#pragma once

#include "Base/ErrorObject.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"

namespace corvane::Nmctl::MainAppCheck {

/// The error object with which `reply` refuses; nullptr when it does not. Ends as `broken` when it
/// is neither a refusal nor a success.
const ErrorObject* refusalIn(const ExchangeRecord& reply);

/// Ends as `notShown` when `reply` is a refusal, which any request may get but one for the state of
/// the application: with that it is `broken`.
void requireDone(const ExchangeRecord& reply);

/// Likewise, and as `broken` when the reply has a result.
void requireNoResult(const ExchangeRecord& reply);

/// Whether the user is protected, and switching that. Both end the examination when the application
/// does not say it or do it.
bool protectionOf(PlayedHost& host);
void setProtection(PlayedHost& host, bool isEnabled);

}  // namespace corvane::Nmctl::MainAppCheck
