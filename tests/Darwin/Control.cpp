#include "tests/Darwin/Control.h"

#include <map>
#include <mutex>
#include <utility>

namespace corvane::darwin {
namespace {

struct Failure {
  int error = 0;
  int times = 0;
};

std::mutex mutex;
std::map<std::string, Failure> failures;

}  // namespace

void failNext(const std::string& function, int error, int times) {
  const std::lock_guard lock(mutex);
  failures[function] = {error, times};
}

int failureOf(const std::string& function) {
  const std::lock_guard lock(mutex);
  const auto found = failures.find(function);
  if (found == failures.end() || found->second.times == 0) return 0;
  --found->second.times;
  return found->second.error;
}

}  // namespace corvane::darwin
