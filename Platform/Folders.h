#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/OwnedDescriptor.h"

/// What the registries in the group container need of folders. Safe from any thread.
namespace corvane::Platform::Folders {

/// Opens the folder `name` below `folder` (or from the root, when `name` is a full path), never
/// through a symbolic link in its last component; nothing, with errno set, when there is none. For
/// naming what lies in it, and for `entries`.
OwnedDescriptor open(const OwnedDescriptor& folder, const std::string& name);
OwnedDescriptor open(const std::string& path);

/// The names in `folder` without "." and "..", in no order; what can't be read is left out. One
/// thread at a time for one `folder`, as it reads at the descriptor's place.
std::vector<std::string> entries(const OwnedDescriptor& folder);

/// Returns the next entries (some dozens) from the descriptor's position on; empty at the end or on
/// a read error. For large directories.
std::vector<std::string> nextEntries(const OwnedDescriptor& folder);

/// Whether `name` can stand for one entry of a folder that is no hidden one: not empty, not above
/// 255 bytes, no "/" or zero byte, no "." in front.
bool isVisibleName(std::string_view name);

}  // namespace corvane::Platform::Folders
