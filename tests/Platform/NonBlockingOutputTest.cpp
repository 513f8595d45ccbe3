#include "Platform/NonBlockingOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>

#include "Platform/StandardStreams.h"
#include "tests/Support/Ends.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

using testing::Ends;

class NonBlockingOutputTest : public ::testing::Test {
 protected:
  NonBlockingOutputTest() { ignoreSignalsOfWrites(); }

  /// Writes the next part of one long text; the number of bytes that were taken.
  std::size_t writeNext(NonBlockingOutput& output, std::size_t count = 100'000) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i) bytes += static_cast<char>('a' + (written_ + i) % 23);
    const auto taken = output.write(bytesOf(bytes));
    EXPECT_TRUE(taken);
    expected_ += bytes.substr(0, taken ? taken.value() : 0);
    written_ = expected_.size();
    return taken ? taken.value() : 0;
  }

  std::string expected_;
  std::size_t written_ = 0;
};

TEST_F(NonBlockingOutputTest, TakesWhatFitsChangesNoFlagAndFailsWhenTheReaderIsGone) {
  for (const bool isPipe : {true, false}) {
    Ends ends = isPipe ? Ends::ofPipe() : Ends::ofSockets(SOCK_STREAM);
    const int flags = ::fcntl(ends.writer.number(), F_GETFL);
    expected_.clear();
    written_ = 0;
    std::string read;
    {
      NonBlockingOutput output(ends.writer.number());
      for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(testing::isReady(output.descriptor(), POLLOUT));
        while (writeNext(output) > 0) continue;
        EXPECT_EQ(writeNext(output, 1), 0U) << "full";
        EXPECT_FALSE(testing::isReady(output.descriptor(), POLLOUT));
        EXPECT_EQ(::fcntl(ends.writer.number(), F_GETFL), flags);
        read += testing::allTaken(ends.reader);
      }
    }
    EXPECT_GE(read.size(), 3U * PIPE_BUF);
    EXPECT_EQ(read, expected_);
    EXPECT_EQ(::fcntl(ends.writer.number(), F_GETFL), flags);
    testing::put(ends.writer, "the descriptor is still open");
    NonBlockingOutput output(ends.writer.number());
    while (writeNext(output) > 0) continue;
    ends.reader = {};
    EXPECT_TRUE(testing::isReady(output.descriptor(), POLLOUT)) << "or a loop would never see it";
    EXPECT_FALSE(output.write(bytesOf("x")));
    EXPECT_FALSE(NonBlockingOutput(ends.writer.number()).write(bytesOf("x"))) << "gone before";
  }
}

TEST_F(NonBlockingOutputTest, AFileTakesAllBehindWhatIsThere) {
  const testing::TemporaryFolder folder;
  const auto path = folder.path() / "file";
  const OwnedDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT, 0600));
  testing::put(file, "before ");
  NonBlockingOutput output(file.number());
  EXPECT_EQ(writeNext(output), 100'000U);
  EXPECT_EQ(writeNext(output), 100'000U);
  EXPECT_EQ(testing::contentOf(path), "before " + expected_);
}

}  // namespace
}  // namespace corvane::Platform
