#include "tools/corvane-nmctl/LineSource.h"

#include <unistd.h>

#include <array>
#include <cstddef>

#include "Platform/Descriptor.h"
#include "tools/corvane-nmctl/LineEditor.h"

namespace corvane::Nmctl {

LineSource::LineSource(const std::vector<std::string>& lines) {
  for (const std::string& line : lines) text_ += line + "\n";
}

LineSource::LineSource(LineEditor& editor) : descriptor_(STDIN_FILENO), editor_(&editor) {}

void LineSource::readKey() {
  const auto event = editor_->read();
  if (event == LineEditor::Event::line) text_ += editor_->line() + "\n";
  if (event == LineEditor::Event::end) descriptor_ = -1;
}

void LineSource::read() {
  if (editor_ != nullptr) return readKey();
  std::array<std::byte, 65536> bytes{};
  const auto count = Platform::Descriptor::readSome(descriptor_, bytes);
  if (count && count.value() > 0) {
    text_ += textOf(std::span(bytes).first(count.value()));
    return;
  }
  descriptor_ = -1;
  if (!text_.empty() && !text_.ends_with('\n')) text_ += '\n';
}

std::optional<std::string> LineSource::take() {
  for (;;) {
    const std::size_t end = text_.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = text_.substr(0, end);
    text_.erase(0, end + 1);
    const std::size_t begin = line.find_first_not_of(" \t\r");
    if (begin != std::string::npos && line[begin] != '#') return line;
  }
}

}  // namespace corvane::Nmctl
