#include <fcntl.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <optional>
#include <regex>

#include "Platform/Linux/NotificationSocket.h"
#include "Platform/Linux/SystemLogSocket.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

TEST(SystemLogSocket, NeverWaitsAndFindsADaemonThatWasStartedAnew) {
  const testing::TemporaryFolder folder;
  const std::string path = folder.path() / "log";
  SystemLogSocket log(path, "corvane-nm");
  log.send(LOG_USER | LOG_ERR, "nobody listens");

  const auto startDaemon = [&] {
    std::filesystem::remove(path);
    const OwnedDescriptor where(::open(folder.path().c_str(), O_PATH | O_CLOEXEC));
    return NotificationSocket::bind(where, "log").value();
  };
  for (int start = 0; start < 2; ++start) {
    NotificationSocket daemon = startDaemon();
    for (int i = 0; i < 100; ++i)
      log.send(LOG_USER | LOG_ERR, "text");  // far more than there is room for
    const std::string record(daemon.receive().value_or(""));
    EXPECT_TRUE(std::regex_match(
        record, std::regex(R"(<11>[A-Z][a-z]{2} [ 1-3]\d \d\d:\d\d:\d\d corvane-nm\[\d+\]: text)")))
        << record;
  }
}

}  // namespace
}  // namespace corvane::Platform
