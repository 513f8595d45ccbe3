#include <fcntl.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <optional>

#include "Platform/Container/NotificationSocket.h"
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
    const std::string record(daemon.receive().value());
    EXPECT_TRUE(record.starts_with("<11>")) << record;
    EXPECT_TRUE(record.ends_with(" corvane-nm[" + std::to_string(::getpid()) + "]: text"))
        << record;
  }
}

}  // namespace
}  // namespace corvane::Platform
