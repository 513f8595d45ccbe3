#include "Platform/FileEvents.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <semaphore>
#include <thread>

#include "Platform/SystemCalls.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

/// Refuses one thread; then each of the first reads fails with one of the errors.
struct FailingCalls : SystemCalls {
  int startThread(void* (*body)(void*), void* argument) override {
    if (mayStart) return SystemCalls::startThread(body, argument);
    mayStart = true;
    errno = EAGAIN;
    return -1;
  }
  ssize_t read(int descriptor, void* bytes, std::size_t count) override {
    if (errors.empty()) return SystemCalls::read(descriptor, bytes, count);
    errno = errors.front();
    errors.pop_front();
    return -1;
  }
  bool mayStart = false;
  std::deque<int> errors = {EINTR, ENOMEM, EIO};
};

/// For a process of its own, in which nothing was watched yet. Gives its exit status.
int watchWithFailures() {
  static FailingCalls calls;
  static const SystemCalls::Replacement replacement(calls);
  const testing::TemporaryFolder folder;
  std::binary_semaphore called(0);
  FileWatch watch([&](FileEvent /*event*/) { called.release(); });
  if (watch.start(folder.path())) return 1;
  if (!watch.start(folder.path())) return 2;
  while (watch.descriptor() >= 0) std::this_thread::yield();
  if (!calls.errors.empty()) return 3;
  if (!watch.start(folder.path())) return 4;
  testing::writeFile(folder.path() / "entry", "");
  called.acquire();
  watch.end();
  return 0;
}

TEST(FileEventsDeathTest, AWatchStartsAgainWithAThreadAndASourceAfterFailures) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(std::_Exit(watchWithFailures()), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvane::Platform
