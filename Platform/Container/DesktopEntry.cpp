#include "Platform/Container/DesktopEntry.h"

#include <algorithm>

namespace corvane::Platform::DesktopEntry {
namespace {

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t\r"), text.size());
  const std::size_t end = text.find_last_not_of(" \t\r") + 1;
  return text.substr(begin, std::max(begin, end) - begin);
}

/// The first value of `key` in the group "Desktop Entry".
std::optional<std::string_view> valueOf(std::string_view key, std::string_view text) {
  bool isInGroup = false;
  while (!text.empty()) {
    const std::size_t lineEnd = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, lineEnd));
    text.remove_prefix(std::min(lineEnd + 1, text.size()));
    if (line.starts_with('[')) {
      isInGroup = line == "[Desktop Entry]";
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!isInGroup || equals == std::string_view::npos) continue;
    if (trimmed(line.substr(0, equals)) == key) return trimmed(line.substr(equals + 1));
  }
  return std::nullopt;
}

/// Resolves the escapes that any value of an entry may hold: "\s", "\n", "\t", "\r" and "\\". A
/// backslash before another character is kept, because it may belong to a quoted argument.
std::string unescaped(std::string_view value) {
  constexpr std::string_view letters = "sntr\\";
  constexpr std::string_view meanings = " \n\t\r\\";
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::size_t letter = value[i] == '\\' && i + 1 < value.size() ? letters.find(value[i + 1])
                                                                        : std::string_view::npos;
    if (letter == std::string_view::npos) {
      result += value[i];
    } else {
      result += meanings[letter];
      ++i;
    }
  }
  return result;
}

/// The limit for all arguments together, in bytes; no longer ones are needed to start an
/// application. Without it, repeated field codes could make them far longer than the entry.
constexpr std::size_t mostArgumentBytes = std::size_t{128} << 10;

/// Splits the value of "Exec" into arguments.
class CommandLine {
 public:
  CommandLine(std::string line, std::string name, std::string path)
      : line_(std::move(line)), name_(std::move(name)), path_(std::move(path)) {}

  std::optional<std::vector<std::string>> arguments() {
    std::vector<std::string> result;
    for (;;) {
      at_ = std::min(line_.find_first_not_of(" \t\n", at_), line_.size());
      if (at_ == line_.size()) break;
      std::string argument;
      const bool isQuoted = line_[at_] == '"';
      if (!(isQuoted ? readQuoted(argument) : readPlain(argument))) return std::nullopt;
      if (argument.size() > bytesLeft_) return std::nullopt;
      bytesLeft_ -= argument.size();
      if (isQuoted || !argument.empty()) result.push_back(std::move(argument));
    }
    if (result.empty() || result.front().empty()) return std::nullopt;
    return result;
  }

 private:
  bool readQuoted(std::string& argument) {
    for (++at_; at_ < line_.size(); ++at_) {
      if (line_[at_] == '"') {
        ++at_;
        return true;
      }
      const std::string_view rest = std::string_view(line_).substr(at_);
      if (rest.size() > 1 && (rest[0] == '\\' || rest.starts_with("%%"))) ++at_;
      argument += line_[at_];
    }
    return false;
  }

  bool readPlain(std::string& argument) {
    for (;
         at_ < line_.size() && std::string_view(" \t\n").find(line_[at_]) == std::string_view::npos;
         ++at_) {
      if (line_[at_] == '"') return false;
      if (line_[at_] == '%' && at_ + 1 < line_.size()) {
        argument += meaningOf(line_[++at_]);
      } else {
        argument += line_[at_];
      }
      if (argument.size() > bytesLeft_) return false;
    }
    return true;
  }

  /// The replacement for a field code. Most become empty, because there is nothing to open.
  [[nodiscard]] std::string meaningOf(char code) const {
    switch (code) {
      case '%':
        return "%";
      case 'c':
        return name_;
      case 'k':
        return path_;
      default:
        return "";
    }
  }

  const std::string line_;
  const std::string name_;
  const std::string path_;
  std::size_t at_ = 0;
  std::size_t bytesLeft_ = mostArgumentBytes;
};

}  // namespace

std::optional<std::vector<std::string>> commandLine(std::string_view text,
                                                    const std::string& path) {
  const auto line = valueOf("Exec", text);
  if (!line) return std::nullopt;
  const std::string name = unescaped(valueOf("Name", text).value_or(""));
  return CommandLine(unescaped(*line), name, path).arguments();
}

}  // namespace corvane::Platform::DesktopEntry
