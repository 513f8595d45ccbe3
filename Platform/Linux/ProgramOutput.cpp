#include "Platform/Linux/ProgramOutput.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "Base/Bytes.h"
#include "Platform/Clocks.h"
#include "Platform/Descriptor.h"
#include "Platform/File.h"
#include "Platform/Linux/DetachedProcess.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

using Deadline = std::chrono::steady_clock::time_point;

/// Waits until `descriptor` has data or is at its end. Fails if that takes until `end`.
Result<Done> awaitInput(int descriptor, Deadline end) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steadyNow());
    pollfd one = {descriptor, POLLIN, 0};
    const int ready =
        systemCalls().poll(&one, 1, static_cast<int>(std::max(left, left.zero()).count()));
    if (ready > 0) return Done{};
    if (ready == 0) return Failure{FailureCause::other, "it did not end in time"};
    if (errno != EINTR) return failureFromErrno("poll");
  }
}

Result<std::string> readUntil(Deadline end, int descriptor, std::size_t most) {
  std::string output;
  std::array<std::byte, 4096> piece{};
  while (output.size() <= most) {
    if (const auto ready = awaitInput(descriptor, end); !ready) return ready.failure();
    const auto count = Descriptor::read(descriptor, piece);
    if (!count) return count.failure();
    if (count.value() == 0) return output;
    output += textOf(std::span(piece).first(count.value()));
  }
  return Failure{FailureCause::malformed, "longer than allowed"};
}

}  // namespace

Result<std::string> outputOf(const std::vector<std::string>& arguments, std::chrono::seconds limit,
                             std::size_t most) {
  const Deadline end = steadyNow() + limit;
  int ends[2] = {-1, -1};
  if (linuxCalls().pipe2(ends, O_CLOEXEC) != 0) return failureFromErrno("pipe");
  const OwnedDescriptor output(ends[0]);
  OwnedDescriptor written(ends[1]);
  // One second longer than our wait, so that our time-out is the failure reported.
  const OutputOptions how{written.number(), limit + std::chrono::seconds(1)};
  const auto start = startDetached(arguments, "/", how);
  if (!start) return start.failure();
  written = OwnedDescriptor();
  if (const auto known = awaitInput(start->number(), end); !known) return known.failure();
  if (const auto started = outcomeOf(start.value()); !started) return started.failure();
  auto text = readUntil(end, output.number(), most);
  if (!text) return Failure{text.failure().cause, arguments.front() + ": " + text.failure().text};
  return text;
}

}  // namespace corvane::Platform
