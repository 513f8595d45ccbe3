#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::Nmctl {

/// The name of a finding or a problem, for programs. It stays when the words for people change;
/// docs/nmctl-json.md lists all.
class Code {
 public:
  explicit consteval Code(const char* name) : name_(name) {}
  [[nodiscard]] std::string_view name() const { return name_; }

 private:
  const char* name_;
};

/// What is wrong with one thing, and what fixes it.
struct Fault {
  Code code;
  std::string cause;
  std::string fix;
};

/// One thing that the doctor looked at: well, or wrong for one cause that one step fixes.
struct Finding {
  enum class State {
    good,
    wrong,
    note,  ///< worth knowing, nothing to fix
  };

  State state = State::good;
  Code code;
  std::string subject;  ///< "Chromium", "shared folder"
  std::string cause;    ///< what is wrong; what is fine, where nothing is
  std::string fix;      ///< what to do, "run: " and a shell command if one does it; "": nothing
  bool isConsequence = false;  ///< wrong, but only because of another finding
  std::optional<std::chrono::milliseconds> delay = {};  ///< of an answer, where one came

  static Finding good(std::string subject, Code code, std::string what) {
    return {State::good, code, std::move(subject), std::move(what), {}};
  }
  static Finding wrong(std::string subject, Fault fault) {
    return {State::wrong, fault.code, std::move(subject), std::move(fault.cause),
            std::move(fault.fix)};
  }
  static Finding consequence(std::string subject, Code code, std::string cause) {
    return {State::wrong, code, std::move(subject), std::move(cause), {}, true};
  }
  static Finding note(std::string subject, Code code, std::string what) {
    return {State::note, code, std::move(subject), std::move(what), {}};
  }
};

using Findings = std::vector<Finding>;

}  // namespace corvane::Nmctl
