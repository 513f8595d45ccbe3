#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads desktop entries, the files that describe how an application is started; freedesktop.org
/// publishes the format. Thread-safe.
namespace corvane::Platform::DesktopEntry {

/// Returns the command line by which the entry in `text` starts its application without a file or
/// URL to open, the program first. Quotes, escapes and field codes ("%c") are resolved; `path`, the
/// file that `text` was read from, stands for "%k". Returns nothing if there is no group "Desktop
/// Entry" with a key "Exec", if its value is empty, if its quotes don't match, or if the arguments
/// are longer than 128 KiB in all.
std::optional<std::vector<std::string>> commandLine(std::string_view text, const std::string& path);

}  // namespace corvane::Platform::DesktopEntry
