#pragma once

#include <string>

namespace corvane::RequestProcessing {

/// The name of the browser that started this process, as the main application knows it: the file
/// name of the parent's executable. Found once, on first use, and kept; the process stops when it
/// can't be found. Safe from any thread.
const std::string& callerApplicationName();

}  // namespace corvane::RequestProcessing
