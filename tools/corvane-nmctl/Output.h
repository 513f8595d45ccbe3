#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Json.h"

namespace corvane::Nmctl {

/// What the program says on standard output: text for people, in colour on a terminal, or JSON for
/// programs. A command writes either; it asks `isJson`. Complaints go to standard error
/// in both cases. One thread.
class Output {
 public:
  enum class Format { text, json };
  enum class Mark { good, bad, note };
  enum class Tone { plain, faint, good, doubtful, bad };  ///< how it stands out

  /// `stream` stays the caller's. Colours come when it is a terminal and $NO_COLOR is not set.
  explicit Output(std::FILE* stream = stdout);

  void setFormat(Format format) { format_ = format; }
  [[nodiscard]] bool isJson() const { return format_ == Format::json; }

  /// One line.
  void line(std::string_view text = "");
  void line(Tone tone, std::string_view text);

  /// What stands before what people type on a terminal: no line feed follows.
  void prompt(std::string_view text);

  /// As `line`, to be seen from far.
  void heading(std::string_view text);

  /// One line with a mark in front.
  void marked(Mark mark, std::string_view text);

  /// Rows of equally many columns, each as wide as its widest text; `titles` on top.
  void table(const std::vector<std::string>& titles,
             const std::vector<std::vector<std::string>>& rows);

  /// The object as one line of JSON. Texts that are not UTF-8, as file names may be, are written
  /// visibly, control characters as escapes, for who lets a terminal show it.
  void json(const JsonObject& object);

  /// Hands what was written on to who reads it. False when nobody does any more.
  bool flush();

  /// The stream's, by which to find out whether anybody reads it.
  [[nodiscard]] int descriptor() const;

  /// A line on standard error, with the program's name in front.
  static void complain(std::string_view text);

 private:
  [[nodiscard]] std::string coloured(const char* code, std::string_view text) const;

  std::FILE* stream_;
  Format format_ = Format::text;
  bool hasColours_;
};

/// `text` with control characters and with bytes that are no UTF-8 written visibly, as \n or \x1B,
/// so that no file name can do anything to a terminal.
std::string printable(std::string_view text);

/// `text` as one word of a command that people copy into a shell: in single quotes, if need be.
std::string shellWord(std::string_view text);

/// The permissions `mode` as four octal digits.
std::string octal(mode_t mode);

}  // namespace corvane::Nmctl
