#include <optional>
#include <string>

#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "fuzz/Archives.h"
#include "fuzz/Fuzzing.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)
using fuzzing::require;
using testing::contentOf;
using testing::writeFile;

constexpr std::size_t lengthSize = 4;

std::string withLength(const std::string& archive) {
  std::string bytes = archive;
  for (std::size_t i = 0; i < lengthSize; ++i)
    bytes += static_cast<char>(archive.size() >> (8 * i) & 0xFF);
  return bytes;
}

/// What an exchange file holds, worked out anew.
struct Stack {
  bool isRubbish = false;             ///< so that the file is to be emptied
  std::string below;                  ///< all but the newest record
  std::optional<ExchangeRecord> top;  ///< the newest record if it can be read

  explicit Stack(const std::string& content) {
    isRubbish = content.size() <= lengthSize;
    if (isRubbish) return;
    std::size_t length = 0;
    for (std::size_t i = 1; i <= lengthSize; ++i)
      length = length << 8 | static_cast<unsigned char>(content[content.size() - i]);
    isRubbish = content.size() - lengthSize < length;
    if (isRubbish) return;
    below = content.substr(0, content.size() - lengthSize - length);
    const auto archive = bytesOf(content).subspan(below.size(), length);
    auto root = KeyedUnarchiver::unarchive(archive, fuzzing::allClasses);
    if (root) top = ExchangeRecord::fromValue(std::move(root).value());
  }
};

class ExchangeFileUnderTest {
 public:
  ExchangeFileUnderTest() {
    buffer_.setRegisteredClasses({fuzzing::records[0], fuzzing::records[1]});
  }

  /// Takes from a file of `content`, with another id and with any, and empties it.
  void takeFrom(const std::string& content) {
    const Stack stack(content);
    writeFile(path_, content);
    require(!take(stack.top ? stack.top->id + "x" : "x"), "another id takes nothing");
    require(contentOf(path_) == (stack.isRubbish ? "" : content),
            "a refused take empties a file that can't be right and leaves any other");
    require(take(std::nullopt) == stack.top, "the newest record is taken");
    require(contentOf(path_) == (stack.isRubbish ? ""
                                 : stack.top     ? stack.below
                                                 : content),
            "a take removes its record and nothing else");
    bool isCleared = false;
    buffer_.clearExchange("k", [&] { isCleared = true; });
    require(isCleared && contentOf(path_).empty(), "clearing empties the file");
  }

  /// Appends `record` to a file of `content`, and takes it back.
  void appendTo(const std::string& content, const ExchangeRecord& record) {
    const auto archive = ExchangeRecord::archive(record);
    const bool isAllowed = archive && archive->size() <= ExchangeBuffer::maximumObjectLength;
    writeFile(path_, content);
    require(append(record) == isAllowed, "what can be archived within the limit is appended");
    require(contentOf(path_) == (isAllowed ? content + withLength(archive.value()) : content),
            "an append adds one whole record, and none when it is refused");
    if (!isAllowed) return;
    const auto taken = take(record.id);
    // How much text may be unfolded follows from the size, and equal texts are written once.
    if (!taken && archive->size() < content.size()) return;
    require(taken == record, "what was appended is taken back as the same");
    require(contentOf(path_) == content, "a take leaves the older records as they were");
  }

 private:
  std::optional<ExchangeRecord> take(const std::optional<std::string>& id) {
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(path_));
    const fuzzing::MemoryBound bound(fuzzing::mostMemoryOfArchive(size));
    std::optional<std::optional<ExchangeRecord>> answer;
    buffer_.getExchange("k", id, [&](auto taken) { answer = std::move(taken); });
    require(answer.has_value(), "a take answers at once when the lock is free");
    return std::move(*answer);
  }

  bool append(const ExchangeRecord& record) {
    std::optional<bool> answer;
    buffer_.setExchange("k", record.id, record.name, record.body,
                        [&](bool isTaken) { answer = isTaken; });
    require(answer.has_value(), "an append answers at once when the lock is free");
    return *answer;
  }

  testing::TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_.path() / "k.data";
  Platform::EventLoop loop_;  // never turns, as the lock is free
  ExchangeBuffer buffer_{loop_, [this] { return folder_.path().string(); }};
};

}  // namespace

/// The input is a whole file; it is also tried with its true length behind it, as one record.
/// Whatever is taken or appended, the file keeps its form.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static ExchangeFileUnderTest file;
  const std::string content(fuzzing::textOf(data, size));
  const std::string oneRecord = withLength(content);
  file.takeFrom(content);
  file.takeFrom(oneRecord);
  const std::size_t third = size / 3;
  file.appendTo(content, {content.substr(0, third), content.substr(third, third),
                          Dictionary{{"text", content.substr(2 * third)}}});
  if (const auto top = Stack(oneRecord).top) file.appendTo(content, *top);
  return 0;
}
