#pragma once

#include <optional>
#include <string>

#include "tools/corvane-nmctl/Finding.h"

namespace corvane::Nmctl {

/// Why no file can be written in the folder `path`, or in the lowest one above it that exists: its
/// file system is full, has no inodes left, is mounted read-only or fails. Writes a hidden file of
/// 16 KiB there and removes it. Nothing if a file can be written.
std::optional<Fault> storageFault(std::string path);

}  // namespace corvane::Nmctl
