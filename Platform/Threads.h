#pragma once

#include <string>

namespace corvane::Platform {

/// Names the calling thread for debuggers and process listings; what the system finds too long is
/// cut.
void nameThisThread(const std::string& name);

}  // namespace corvane::Platform
