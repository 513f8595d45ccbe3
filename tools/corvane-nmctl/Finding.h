#pragma once

#include <string>
#include <utility>
#include <vector>

namespace corvane::Nmctl {

/// One thing that the doctor looked at: well, or wrong for one cause that one step mends.
struct Finding {
  enum class State {
    good,
    wrong,
    note,  ///< worth knowing, nothing to mend
  };

  State state = State::good;
  std::string subject;  ///< "Chromium", "shared folder"
  std::string cause;    ///< what is wrong; what is fine, where nothing is
  std::string mend;     ///< what to do, "run: " and a shell command if one does it; "": nothing
  bool isConsequence = false;  ///< wrong, but only because of another finding

  static Finding good(std::string subject, std::string what) {
    return {State::good, std::move(subject), std::move(what), {}, false};
  }
  static Finding wrong(std::string subject, std::string cause, std::string mend) {
    return {State::wrong, std::move(subject), std::move(cause), std::move(mend), false};
  }
  static Finding consequence(std::string subject, std::string cause) {
    return {State::wrong, std::move(subject), std::move(cause), {}, true};
  }
  static Finding note(std::string subject, std::string what) {
    return {State::note, std::move(subject), std::move(what), {}, false};
  }
};

using Findings = std::vector<Finding>;

/// What is wrong with one thing, and what mends it.
struct Fault {
  std::string cause;
  std::string mend;
};

}  // namespace corvane::Nmctl
