#include "tools/corvane-nmctl/LineEditor.h"

/// In place of LineEditor.cpp in a build without libedit.
namespace corvane::Nmctl {

struct LineEditor::Library {};

bool LineEditor::isAvailable() {
  return false;
}

LineEditor::LineEditor(std::string /*prompt*/, std::vector<std::string> /*words*/) {}
LineEditor::~LineEditor() = default;
void LineEditor::show() {}
void LineEditor::hide() {}
void LineEditor::stop() {}

LineEditor::Event LineEditor::read() {
  return Event::end;
}

std::string LineEditor::completionOf(std::string_view /*word*/,
                                     const std::vector<std::string>& /*words*/) {
  return "";
}

}  // namespace corvane::Nmctl
