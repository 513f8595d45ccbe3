#pragma once

#include <chrono>
#include <string>

#include "Base/Json.h"
#include "tools/corvane-nmctl/HostChoice.h"
#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl {

class LineEditor;

/// What is said while people talk with a host: text, or a line of JSON for each event. Nothing that
/// the host says reaches a terminal unseen. One thread.
class TalkReport {
 public:
  using Duration = std::chrono::duration<double, std::milli>;

  /// `editor`, which must outlive it, is where people type at a terminal; null: they do not.
  TalkReport(Output& output, LineEditor* editor);

  void started(const HostChoice& host);
  /// The answer to the request `id` of the type `type`.
  void reply(const std::string& type, const std::string& id, Duration duration,
             const JsonObject& message);
  /// A state that nobody asked for.
  void push(const JsonObject& message);
  /// An answer that nobody waits for, or not any more.
  void stray(const JsonObject& message);
  void unanswered(const std::string& type, const std::string& id, const std::string& why);
  /// A line that stands for no message.
  void refused(const std::string& why);
  /// Something to know beside it.
  void note(const std::string& what);
  /// The host has ended, or can't be understood any more.
  void ended(const std::string& how);
  /// The requests, and how to type them.
  void help();

  /// The next line may be typed now.
  void prompt();
  /// No line will be typed.
  void endPrompt();

  /// Hands on what was said. False when nobody reads it any more.
  bool flush() { return output_.flush(); }

 private:
  void hidePrompt();
  void details(const JsonObject& message);
  void event(const char* name, const JsonObject& object);

  Output& output_;
  LineEditor* const editor_;
};

}  // namespace corvane::Nmctl
