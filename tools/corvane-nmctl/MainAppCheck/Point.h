#pragma once

#include <exception>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Whether a running main application keeps the contract (docs/linux-contract.md), shown by playing
/// the hosts' side of it.
namespace corvane::Nmctl::MainAppCheck {

class Bench;

/// How a point of the contract came out.
struct Verdict {
  enum class Kind {
    holds,
    broken,
    notShown,  ///< it could not be tried, which says nothing of the application
  };

  Kind kind = Kind::holds;
  std::string seen;  ///< what was seen instead, or why it could not be tried
};

/// Ends the examination of a point; goes no further than `examine`.
class Ended : public std::exception {
 public:
  explicit Ended(Verdict verdict) : verdict_(std::move(verdict)) {}

  [[nodiscard]] const Verdict& verdict() const { return verdict_; }
  [[nodiscard]] const char* what() const noexcept override { return verdict_.seen.c_str(); }

 private:
  Verdict verdict_;
};

/// Ends the examination: the point is broken, as `seen` shows, or could not be tried.
[[noreturn]] void broken(std::string seen);
[[noreturn]] void notShown(std::string why);

/// One point of the contract.
struct Point {
  enum class Needs {
    nothing,
    answers,  ///< only an application that answers a plain request can be tried
    changes,  ///< likewise, and it changes what belongs to the user
  };

  std::string name;     ///< short, stays the same from version to version
  std::string promise;  ///< a sentence out of the contract
  Needs needs = Needs::answers;
  std::function<void(Bench&)> examine;  ///< returns when the point holds, else ends as above
};

using Points = std::vector<Point>;

/// All of them, in the order in which they are best examined: the first ones say most.
Points allPoints();

/// Examines `point` and says how it came out. Unless `whyNoChanges` is empty nothing of the user's
/// is changed, for that reason.
Verdict examine(const Point& point, Bench& bench, const std::string& whyNoChanges);

/// The points by theme, a file each.
Points placementPoints();
Points replyPoints();
Points commandPoints();
Points refusalPoints();
Points requestPoints();
Points exchangeFilePoints();
Points damagePoints();
Points observerPoints();
Points announcementPoints();

}  // namespace corvane::Nmctl::MainAppCheck
