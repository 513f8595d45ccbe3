#pragma once

#include <optional>
#include <string>
#include <vector>

namespace corvane::Nmctl {

class LineEditor;

/// Lines, from a descriptor or a terminal as they come or from a list. Empty ones and those that
/// begin with "#" are left out. One thread.
class LineSource {
 public:
  /// Reads from `descriptor`, which stays the caller's.
  explicit LineSource(int descriptor) : descriptor_(descriptor) {}
  /// Reads what is typed; `editor` must outlive it.
  explicit LineSource(LineEditor& editor);
  explicit LineSource(const std::vector<std::string>& lines);

  /// By which to wait for more; -1 when no more come.
  [[nodiscard]] int descriptor() const { return descriptor_; }

  /// Reads what has come, from a terminal one key; waits when nothing has. Call it when the
  /// descriptor is ready.
  void read();

  /// The next line without its line feed, when there is one.
  std::optional<std::string> take();

  /// Whether there is no line any more, and none will come.
  [[nodiscard]] bool isAtEnd() const { return descriptor_ < 0 && text_.empty(); }

 private:
  void readKey();

  int descriptor_ = -1;
  LineEditor* editor_ = nullptr;
  std::string text_;  // ends in a line feed once no more come
};

}  // namespace corvane::Nmctl
