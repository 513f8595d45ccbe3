#include "tools/corvane-nmctl/Examination.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/corvane-nmctl/BrowserDoctor.h"
#include "tools/corvane-nmctl/LinkDoctor.h"
#include "tools/corvane-nmctl/OwnTrials.h"

namespace corvane::Nmctl {

bool isAllWell(const Findings& findings) {
  return std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.state == Finding::State::wrong;
  });
}

Findings examineAll(const Selection& selection, const Surroundings& surroundings) {
  const Container container = findContainer();
  OwnTrials trials(container);
  Findings foundations = examineFoundations(container);
  const bool isSound = isAllWell(foundations);
  Findings result = examineBrowsers(selection, surroundings, !isSound);
  std::move(foundations.begin(), foundations.end(), std::back_inserter(result));
  if (isSound) {
    Findings rest = examineApplicationAndLogs(container, surroundings.hostPath, trials);
    std::move(rest.begin(), rest.end(), std::back_inserter(result));
  }
  trials.keep();
  return result;
}

Findings merged(const Findings& findings) {
  Findings result;
  for (const Finding& finding : findings) {
    const auto same = std::find_if(result.begin(), result.end(), [&finding](const Finding& one) {
      return one.state == Finding::State::wrong && one.state == finding.state &&
             one.cause == finding.cause && one.fix == finding.fix;
    });
    if (same == result.end())
      result.push_back(finding);
    else
      same->subject += ", " + finding.subject;
  }
  return result;
}

}  // namespace corvane::Nmctl
