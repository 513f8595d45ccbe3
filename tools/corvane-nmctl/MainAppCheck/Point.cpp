#include "tools/corvane-nmctl/MainAppCheck/Point.h"

#include <algorithm>
#include <iterator>

#include "tools/corvane-nmctl/MainAppCheck/Bench.h"

namespace corvane::Nmctl::MainAppCheck {

void broken(std::string seen) {
  throw Ended({Verdict::Kind::broken, std::move(seen)});
}

void notShown(std::string why) {
  throw Ended({Verdict::Kind::notShown, std::move(why)});
}

Points allPoints() {
  Points all;
  for (Points points :
       {placementPoints(), replyPoints(), commandPoints(), refusalPoints(), requestPoints(),
        exchangeFilePoints(), damagePoints(), observerPoints(), announcementPoints()})
    std::move(points.begin(), points.end(), std::back_inserter(all));
  // An update may end the application.
  std::stable_partition(all.begin(), all.end(),
                        [](const Point& point) { return point.name != "command-updateApp"; });
  return all;
}

Verdict examine(const Point& point, Bench& bench, const std::string& whyNoChanges) {
  using Kind = Verdict::Kind;
  if (point.needs == Point::Needs::changes && !whyNoChanges.empty())
    return {Kind::notShown, whyNoChanges};
  if (!bench.isRunning()) return {Kind::notShown, "the application does not run any more"};
  if (point.needs != Point::Needs::nothing && !bench.isAnswering())
    return {Kind::notShown, "the application does not answer a plain request well"};
  try {
    point.examine(bench);
  } catch (const Ended& ended) {
    Verdict verdict = ended.verdict();
    if (verdict.kind == Kind::broken) {
      bench.doubt();
      if (!bench.isRunning()) verdict.seen += "; the application has ended";
    }
    return verdict;
  }
  return {};
}

}  // namespace corvane::Nmctl::MainAppCheck
