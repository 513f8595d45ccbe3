#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Desktop entries, as freedesktop.org describes them: the file that says how an application is
/// started.
namespace corvane::Platform::DesktopEntry {

/// The arguments, the program first, by which the entry in `text` starts its application without a
/// file or address to open. `path` is the file that `text` comes from. Nothing when there is no
/// group "Desktop Entry" with a key "Exec", when that line is empty, when its quotes do not pair,
/// or when its field codes stand for more bytes than any program can be started with.
std::optional<std::vector<std::string>> commandLine(std::string_view text, const std::string& path);

}  // namespace corvane::Platform::DesktopEntry
