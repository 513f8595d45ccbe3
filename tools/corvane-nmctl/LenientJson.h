#pragma once

#include <string_view>

#include "Base/Json.h"
#include "Base/Result.h"

namespace corvane::Nmctl {

/// Whether a final comma in a list or an object passes.
enum class FinalCommas { refused, allowed };

/// Parses a whole text as Chromium does where it is less strict than RFC 8259: comments pass.
/// Fails, with the reason, when it is not JSON even so.
Result<JsonValue> parseLeniently(std::string_view text, FinalCommas finalCommas);

}  // namespace corvane::Nmctl
