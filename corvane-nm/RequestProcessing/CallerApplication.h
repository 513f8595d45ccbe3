#pragma once

#include <string>

#include "Platform/RunningApplications.h"

namespace corvane::RequestProcessing {

/// The name of the browser that started this process, as the main application knows it: its bundle
/// identifier, or else the file name of its executable. Found once, on first use, and kept; the
/// process stops when it can't be found. `applications` is only asked the first time. Safe from any
/// thread.
const std::string& callerApplicationName(const Platform::RunningApplications& applications);

}  // namespace corvane::RequestProcessing
