#pragma once

#include <chrono>
#include <string>

#include "Base/Json.h"
#include "tools/corvane-nmctl/HostChoice.h"
#include "tools/corvane-nmctl/Output.h"

namespace corvane::Nmctl {

/// What is said while people talk with a host: text, or a line of JSON for each event. Nothing that
/// the host says reaches a terminal unseen. One thread.
class TalkReport {
 public:
  using Duration = std::chrono::duration<double, std::milli>;

  /// `isInteractive`: people type at a terminal, and get a prompt.
  TalkReport(Output& output, bool isInteractive);

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
  /// The line was typed.
  void promptIsUsed() { isPromptShown_ = false; }
  /// No line will be typed.
  void removePrompt();

  /// Hands on what was said. False when nobody reads it any more.
  bool flush() { return output_.flush(); }

 private:
  void details(const JsonObject& message);
  void event(const char* name, const JsonObject& object);

  Output& output_;
  const bool isInteractive_;
  bool isPromptShown_ = false;
};

}  // namespace corvane::Nmctl
