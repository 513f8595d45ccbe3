#include "tools/corvane-nmctl/OwnTrials.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Ways.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kept = 20;

VCSDate::Date now() {
  return std::chrono::floor<milliseconds>(std::chrono::system_clock::now());
}

}  // namespace

OwnTrials::OwnTrials(const Container& container) : begin_(now()) {
  if (container.fault || faultOf(Way::logs, container.path)) return;
  path_ =
      container.path + "/Logs/" + Configuration::MainAppBundleIdentifier + "/.corvane-nmctl-trials";
  const auto text = readWhole(path_);
  std::istringstream lines(text ? text.value() : "");
  std::int64_t begin = 0;
  std::int64_t end = 0;
  while (lines >> begin >> end)
    spans_.emplace_back(VCSDate::Date(milliseconds(begin)), VCSDate::Date(milliseconds(end)));
}

bool OwnTrials::cover(VCSDate::Date time) const {
  return time >= begin_ || std::any_of(spans_.begin(), spans_.end(), [time](const Span& span) {
           return time >= span.first && time <= span.second;
         });
}

void OwnTrials::keep() {
  if (path_.empty()) return;
  spans_.emplace_back(begin_, now());
  if (spans_.size() > kept) spans_.erase(spans_.begin());
  std::ostringstream text;
  for (const auto& [begin, end] : spans_)
    text << begin.time_since_epoch().count() << ' ' << end.time_since_epoch().count() << '\n';
  static_cast<void>(replaceFile(path_, text.str(), 0600));
}

}  // namespace corvane::Nmctl
