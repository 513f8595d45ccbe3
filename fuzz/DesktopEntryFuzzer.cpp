#include <string>
#include <vector>

#include "Platform/Container/DesktopEntry.h"
#include "fuzz/Fuzzing.h"

namespace {

using corvane::fuzzing::require;
using Arguments = std::vector<std::string>;

const std::string path = "/usr/share/applications/com.example.app.desktop";

/// Arguments may have 128 KiB; while one grows, it is there twice.
std::optional<Arguments> commandLine(std::string_view text) {
  const corvane::fuzzing::MemoryBound bound((std::size_t{512} << 10) + 64 * text.size());
  return corvane::Platform::DesktopEntry::commandLine(text, path);
}

/// The parts of `text` between bytes 0, which no argument can hold.
Arguments argumentsIn(std::string_view text) {
  Arguments arguments;
  for (;;) {
    const std::size_t end = text.find('\0');
    arguments.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return arguments;
    text.remove_prefix(end + 1);
  }
}

/// An entry that starts `arguments`, each in quotes, as the standard has it
/// (desktop entries, the key Exec, https://www.freedesktop.org).
std::string entryOf(const Arguments& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += '"';
    for (const char character : argument) {
      if (std::string_view("\"`$\\").find(character) != std::string_view::npos) line += '\\';
      if (character == '%') line += '%';
      line += character;
    }
    line += "\" ";
  }
  std::string value;
  for (const char character : line) {
    constexpr std::string_view special = "\\\n\r\t";
    constexpr std::string_view letters = "\\nrt";
    const std::size_t at = special.find(character);
    value +=
        at == std::string_view::npos ? std::string(1, character) : std::string{'\\', letters[at]};
  }
  return "[Desktop Entry]\nType=Application\nName=A\nExec=" + value + "\n";
}

}  // namespace

/// An entry gives a program or nothing, and arguments that were written as the standard says read
/// back as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = corvane::fuzzing::textOf(data, size);
  const auto read = commandLine(text);
  require(!read || (!read->empty() && !read->front().empty()), "there is a program to start");
  const Arguments arguments = argumentsIn(text);
  const auto again = commandLine(entryOf(arguments));
  if (arguments.front().empty())
    require(!again, "a program without a name is none");
  else
    require(again == arguments, "what was written reads back as the same");
  return 0;
}
