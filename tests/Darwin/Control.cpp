#include "tests/Darwin/Control.h"

#include <map>
#include <mutex>

namespace corvane::darwin {
namespace {

std::mutex mutex;
std::map<std::string, int> failures;

}  // namespace

void failNext(const std::string& function, int error) {
  const std::lock_guard lock(mutex);
  failures[function] = error;
}

int failureOf(const std::string& function) {
  const std::lock_guard lock(mutex);
  const auto failure = failures.extract(function);
  return failure ? failure.mapped() : 0;
}

}  // namespace corvane::darwin
