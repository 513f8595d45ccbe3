#pragma once

#include <optional>
#include <string>

#include "Base/Result.h"

namespace corvane::MainApp {

/// Makes the group container, and the folder of the exchange files in it, both with mode 0700,
/// unless they are there. `folder`: where; nothing: where the user database and the group's name
/// put it. Gives its full path. Fails when it can't be made, or when it is one that no host would
/// use: somebody else's, or one that others may write to.
Result<std::string> makeContainer(const std::optional<std::string>& folder);

}  // namespace corvane::MainApp
