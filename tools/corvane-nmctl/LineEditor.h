#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::Nmctl {

/// Reads lines from a terminal on standard input, with editing keys, the lines before and the
/// user's ~/.editrc. Tab completes the first word of a line. Keeps the lines in memory only, as
/// rules and addresses of pages are among them. For a caller that waits with poll(2) and writes to
/// standard output meanwhile. One object per process, one thread.
class LineEditor {
 public:
  enum class Event { none, line, end };

  /// Whether there are editing keys at all: CORVANE_LINE_EDITING of the build. Without them nothing
  /// else may be called.
  static bool isAvailable();

  /// `words`: what Tab completes. Sets the character set of the process to that of the user's
  /// locale.
  LineEditor(std::string prompt, std::vector<std::string> words);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;
  /// Also stops.
  ~LineEditor();

  /// Shows the prompt with what is typed so far; a no-op if it is shown. From now on the terminal
  /// passes each key on.
  void show();
  /// Clears the row of the prompt, for other output; keeps what is typed.
  void hide();
  /// Drops what is typed, and sets the terminal as it was before `show`.
  void stop();

  /// Reads one key, after `show`; call it when standard input can be read. After `line` the
  /// terminal is as it was before `show`, and `line()` is what was typed; after `end` no more come.
  Event read();
  [[nodiscard]] const std::string& line() const { return line_; }

  /// How `word`, the beginning of a word of `words`, goes on, as far as that is sure; a blank
  /// follows a whole word. Empty if it is unsure or none begins so.
  static std::string completionOf(std::string_view word, const std::vector<std::string>& words);

 private:
  struct Library;
  std::unique_ptr<Library> library_;
  std::string line_;
  bool isActive_ = false;  // a line is being typed
  bool isShown_ = false;
};

}  // namespace corvane::Nmctl
