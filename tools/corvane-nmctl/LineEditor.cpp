#include "tools/corvane-nmctl/LineEditor.h"

#include <histedit.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace corvane::Nmctl {

struct LineEditor::Library {
  std::string prompt;
  std::vector<std::string> words;
  EditLine* editor = nullptr;
  History* history = nullptr;

  static Library& of(EditLine* editor) {
    void* self = nullptr;
    ::el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<Library*>(self);
  }

  static char* promptOf(EditLine* editor) { return of(editor).prompt.data(); }

  static unsigned char complete(EditLine* editor, int /*key*/) {
    const LineInfo& info = *::el_line(editor);
    const std::string_view typed(info.buffer, static_cast<std::size_t>(info.cursor - info.buffer));
    const std::string rest = completionOf(typed, of(editor).words);
    if (rest.empty() || ::el_insertstr(editor, rest.c_str()) != 0) return CC_REFRESH_BEEP;
    return CC_REFRESH;
  }
};

namespace {

constexpr int keptLines = 1000;

// NOLINTBEGIN(concurrency-mt-unsafe): before any other thread
void takeCharactersOfLocale() {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}
// NOLINTEND(concurrency-mt-unsafe)

/// What the library's null stands for: also for a line that was emptied.
bool isAtEnd(EditLine* editor) {
  int isEditing = 0;
  ::el_get(editor, EL_EDITMODE, &isEditing);
  pollfd terminal = {STDIN_FILENO, 0, 0};
  return isEditing == 0 || ::poll(&terminal, 1, 0) != 0;  // 1: its other end is closed
}

}  // namespace

bool LineEditor::isAvailable() {
  return true;
}

LineEditor::LineEditor(std::string prompt, std::vector<std::string> words)
    : library_(std::make_unique<Library>()) {
  takeCharactersOfLocale();
  library_->prompt = std::move(prompt);
  library_->words = std::move(words);
  library_->history = ::history_init();
  HistEvent event = {};
  ::history(library_->history, &event, H_SETSIZE, keptLines);
  ::history(library_->history, &event, H_SETUNIQUE, 1);
  EditLine* const editor = ::el_init("corvane-nmctl", stdin, stdout, stderr);
  library_->editor = editor;
  ::el_set(editor, EL_CLIENTDATA, library_.get());
  ::el_set(editor, EL_PROMPT, &Library::promptOf);
  ::el_set(editor, EL_EDITOR, "emacs");
  ::el_set(editor, EL_HIST, &::history, library_->history);
  ::el_set(editor, EL_ADDFN, "complete", "complete a command", &Library::complete);
  ::el_set(editor, EL_BIND, "^I", "complete", nullptr);
  ::el_source(editor, nullptr);
}

LineEditor::~LineEditor() {
  stop();
  ::el_end(library_->editor);
  ::history_end(library_->history);
}

void LineEditor::show() {
  if (isShown_) return;
  isShown_ = true;
  if (std::exchange(isActive_, true)) {
    ::el_set(library_->editor, EL_REFRESH);
    return;
  }
  ::el_resize(library_->editor);
  ::el_set(library_->editor, EL_UNBUFFERED, 1);  // a key at a time
}

void LineEditor::hide() {
  if (std::exchange(isShown_, false)) std::fputs("\r\x1b[K", stdout);
}

void LineEditor::stop() {
  hide();
  if (std::exchange(isActive_, false)) ::el_set(library_->editor, EL_UNBUFFERED, 0);
}

LineEditor::Event LineEditor::read() {
  constexpr char endKey = 'd' & 0x1f;
  int count = 0;
  const char* const text = ::el_gets(library_->editor, &count);
  if (text == nullptr) return isAtEnd(library_->editor) ? Event::end : Event::none;
  const std::string_view typed(text, static_cast<std::size_t>(std::max(count, 0)));
  if (typed.size() == 1 && typed.front() == endKey) return Event::end;
  if (!typed.ends_with('\n')) return Event::none;
  line_ = typed.substr(0, typed.size() - 1);
  HistEvent event = {};
  if (!line_.empty()) ::history(library_->history, &event, H_ENTER, line_.c_str());
  isShown_ = false;  // it stays where it is, above what comes
  stop();
  return Event::line;
}

std::string LineEditor::completionOf(std::string_view word, const std::vector<std::string>& words) {
  std::string common;
  int count = 0;
  for (const std::string& one : words) {
    if (!one.starts_with(word)) continue;
    if (count++ == 0) {
      common = one + " ";
      continue;
    }
    const auto differing = std::mismatch(common.begin(), common.end(), one.begin(), one.end());
    common.erase(differing.first, common.end());
  }
  return count == 0 ? "" : common.substr(word.size());
}

}  // namespace corvane::Nmctl
