// scaling-bench FOLDER hosts|messages: what becomes of an answer when there are more hosts on one
// link, or when messages are longer. Prints a line for each step:
//   hosts: their number, requests per second of all together, one at a time from each, the median
//     answer, and the one that 99 of 100 are quicker than
//   messages: bytes to the host without a main application, its median answer, and that of a C
//     program that sends the message back, up to the length that it takes
// Times are in microseconds. Run it in a folder on disk, where the host finds a group container.

#include <chrono>
#include <exception>
#include <memory>
#include <thread>

#include "bench/Asking.h"
#include "bench/Row.h"

namespace corvane::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds duration{3};

/// Asks `host` until `end`, and adds how long each answer took.
void askUntil(Clock::time_point end, const Child& host, std::vector<double>& answers) {
  const std::string frame = frameOf(requestWith());
  while (Clock::now() < end) answers.push_back(ask(host, frame));
}

void compareHosts(const std::string& folder, std::size_t count) {
  std::vector<std::unique_ptr<Child>> hosts;
  for (std::size_t i = 0; i < count; ++i) {
    hosts.push_back(std::make_unique<Child>(std::vector{folder + "/corvane-nm"}));
    ask(*hosts.back(), frameOf(requestWith()));
  }
  const auto end = Clock::now() + duration;
  std::vector<std::vector<double>> answers(count);
  std::vector<std::thread> browsers;
  for (std::size_t i = 0; i < count; ++i) {
    browsers.emplace_back([&, i] { askUntil(end, *hosts[i], answers[i]); });
  }
  std::vector<double> all;
  for (std::size_t i = 0; i < count; ++i) {
    browsers[i].join();
    all.insert(all.end(), answers[i].begin(), answers[i].end());
  }
  std::sort(all.begin(), all.end());
  std::printf("%zu %.6g %.6g %.6g\n", count,
              static_cast<double>(all.size()) / std::chrono::duration<double>(duration).count(),
              all[all.size() / 2], all[all.size() * 99 / 100]);
  for (const auto& host : hosts) host->finish();
}

void compareLength(const Child& host, const Child& floor, std::size_t length) {
  constexpr std::size_t longestOfFloor = 1'000'000;
  constexpr std::size_t bytesInAll = 300'000'000;
  constexpr std::size_t mostRounds = 300;
  const std::string rest = requestWith(R"(,"data":"")");
  const std::string frame = frameOf(
      requestWith(R"(,"data":")" + std::string(length - std::min(length, rest.size()), 'x') + '"'));
  Rounds answers;
  for (std::size_t i = 0; i < std::min(mostRounds, bytesInAll / length); ++i) {
    if (length <= longestOfFloor) answers.other.push_back(ask(floor, frame));
    answers.ours.push_back(ask(host, frame));
  }
  std::printf("%zu %.6g", length, median(answers.ours));
  if (!answers.other.empty()) std::printf(" %.6g", median(answers.other));
  std::printf("\n");
}

void compareLengths(const std::string& folder) {
  const Child host({folder + "/corvane-nm"});
  const Child floor({folder + "/echo_floor"});
  for (std::size_t length = 100; length <= 10'000'000; length *= 10) {
    compareLength(host, floor, length);
  }
  compareLength(host, floor, 64'000'000);
}

void compareNumbers(const std::string& folder) {
  const Child application({folder + "/corvane-main-app"});
  application.awaitLine("ready");
  for (const std::size_t count : {1U, 2U, 8U, 32U}) compareHosts(folder, count);
}

}  // namespace
}  // namespace corvane::bench

int main(int argumentCount, char** arguments) {
  const std::string what = argumentCount == 3 ? arguments[2] : "";
  if (what != "hosts" && what != "messages") {
    std::fprintf(stderr, "usage: scaling-bench FOLDER hosts|messages\n");
    return 2;
  }
  try {
    what == "hosts" ? corvane::bench::compareNumbers(arguments[1])
                    : corvane::bench::compareLengths(arguments[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scaling-bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
