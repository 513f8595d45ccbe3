#pragma once

#include <string>
#include <string_view>

#include "Base/Json.h"
#include "Base/Result.h"

namespace corvane::Nmctl {

/// The message that a line typed by hand stands for, in one of two forms.
///
/// `addRule ruleText=||ads.example^` is the type of a request and its parameters. A value without
/// quotes ends at a blank; `true`, `false` and whole numbers become such values, unless the
/// parameter is known to be a text; all else is text. A value in quotes is text: as it is in '…',
/// with \" and \\ in "…". Quotes further inside a value are part of it. `key:=` takes any JSON.
/// `init` without parameters asks for the version that this host speaks. The message gets `id` as
/// its "id".
///
/// `{"type": "init", …}` is the message itself.
///
/// Fails, with a reason for people, when the line is neither, or when the host answers no such
/// type; only the second form can ask for that.
Result<JsonObject> typedRequest(std::string_view line, const std::string& id);

}  // namespace corvane::Nmctl
