#include "SharedComponents/Exchange/ExchangeBuffer.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>

#include "Base/ErrorObject.h"
#include "Platform/SystemCalls.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "tests/Support/LogCollector.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
const fs::path archives = fs::path(TEST_SAMPLES) / "archives";
using testing::contentOf;
using testing::takeLogTexts;
using testing::turnThrough;
using testing::turnUntil;
using testing::writeFile;

/// The real calls, of which one that changes a file fails.
struct FailingCalls : Platform::SystemCalls {
  /// Lets the change number `number` from now on, counted from 1, fail with `error`; with 0 it
  /// writes only a part of the bytes.
  void failAt(int number, int error) {
    left_ = number;
    error_ = error;
    hasFired = false;
  }
  ssize_t pwritev(int descriptor, const iovec* pieces, int count, off_t offset) override {
    if (!fires()) return SystemCalls::pwritev(descriptor, pieces, count, offset);
    if (error_ != 0) return -1;
    const iovec half = {pieces->iov_base, pieces->iov_len / 2};
    return SystemCalls::pwritev(descriptor, &half, 1, offset);
  }
  int ftruncate(int descriptor, off_t size) override {
    return fires() ? -1 : SystemCalls::ftruncate(descriptor, size);
  }
  int flock(int descriptor, int operation) override {
    if (!removesLocked.empty() && operation != LOCK_UN) {
      ++removals;
      fs::remove(removesLocked);
      writeFile(removesLocked, "");
    }
    return SystemCalls::flock(descriptor, operation);
  }
  int startThread(void* (*body)(void*), void* argument) override {
    if (startsThreads) return SystemCalls::startThread(body, argument);
    errno = EAGAIN;
    return -1;
  }

  bool startsThreads = true;
  bool hasFired = false;
  fs::path removesLocked;  // a file that another one replaces before each lock
  unsigned removals = 0;

 private:
  bool fires() {
    if (--left_ != 0) return false;
    hasFired = true;
    errno = error_;
    return true;
  }

  int left_ = 0;
  int error_ = 0;
};

class ExchangeBufferTest : public ::testing::Test {
 protected:
  ExchangeBufferTest() {
    takeLogTexts();
    buffer_.setRegisteredClasses(
        {&EBACurrentFilteringStateResponse::recordClass, &EBAAppStateResponse::recordClass});
    writeFile(path_, "");
  }

  /// Runs an operation to its end, and gives its outcome. None waits for a lock that is free.
  template <class T, class Operation>
  T outcomeOf(Operation operation) {
    std::optional<T> outcome;
    operation([&](T value) { outcome = std::move(value); });
    EXPECT_TRUE(turnUntil(loop_, [&] { return outcome.has_value(); }));
    return std::move(outcome).value_or(T());
  }
  bool set(const std::string& id, const std::string& name, std::optional<Dictionary> body = {},
           const std::string& key = "k") {
    return outcomeOf<bool>([&](auto done) { buffer_.setExchange(key, id, name, body, done); });
  }
  std::optional<ExchangeRecord> get(const std::optional<std::string>& id,
                                    const std::string& key = "k") {
    return outcomeOf<std::optional<ExchangeRecord>>(
        [&](auto done) { buffer_.getExchange(key, id, done); });
  }
  void clear(const std::string& key = "k") {
    outcomeOf<bool>([&](auto done) { buffer_.clearExchange(key, [done] { done(true); }); });
  }
  [[nodiscard]] std::optional<std::string> takenName(const std::optional<std::string>& id) {
    const auto record = get(id);
    return record ? std::optional(record->name) : std::nullopt;
  }

  testing::TemporaryFolder folder_;
  const fs::path path_ = folder_.path() / "k.data";
  const std::string url_ = "file://" + path_.string();
  FailingCalls calls_;
  const Platform::SystemCalls::Replacement replacement_{calls_};
  Platform::EventLoop loop_;
  ExchangeBuffer buffer_{loop_, [this] { return folder_.path().string(); }};
};

TEST_F(ExchangeBufferTest, IsAStackOfWhichOnlyTheTopIsSeen) {
  const Dictionary body{{"port", 443}, {"url", "https://exämple"}};
  EXPECT_TRUE(set("a", "first", body));
  const auto first = contentOf(path_);
  EXPECT_TRUE(set("b", "second"));
  const auto both = contentOf(path_);
  EXPECT_EQ(takenName("a"), std::nullopt) << "hidden below b";
  EXPECT_EQ(takenName("B"), std::nullopt);
  EXPECT_EQ(contentOf(path_), both);
  EXPECT_EQ(get("b"), (ExchangeRecord{"b", "second", std::nullopt}));
  EXPECT_EQ(contentOf(path_), first);
  EXPECT_EQ(get(std::nullopt), (ExchangeRecord{"a", "first", body}));
  EXPECT_EQ(contentOf(path_), "");
  EXPECT_EQ(takenName(std::nullopt), std::nullopt);
}

TEST_F(ExchangeBufferTest, SaysWhatItDoes) {
  const std::string ofSet = "(SharedResources: setExchange(key:id:name:body:)) ";
  const std::string ofGet = "(SharedResources: getExchange(key:with:)) ";
  set("a", "first");
  const std::string length = std::to_string(contentOf(path_).size() - 4);
  get("b");
  clear();
  get("b");
  get(std::nullopt, "a b;");
  const std::string folder = folder_.path();
  EXPECT_EQ(takeLogTexts(),
            (std::vector<std::string>{
                "8 " + ofSet + "key: k, id: a, name: first",
                "8 " + ofSet + "Writen data (" + length + ") for key: k, id: a, name: first",
                "8 " + ofGet + "Exchange object lenData: 4bytes",
                "8 " + ofGet + "Exchange object len: " + length + "bytes",
                "8 " + ofGet + "Data readed " + length + "bytes length.",
                "8 " + ofGet + "Exchange object received " + length + "bytes length.",
                "8 " + ofGet + "key: k, id: a, name: first, goToNext: false",
                "8 Debug trace - SharedResources: clearExchange(key:)",
                "4 (SharedResources: clearExchange(key:)) Cleared file on '" + url_ + "'",
                "8 " + ofGet + "buffer is epmty",
                "1 " + ofGet + "Can't get file handle for: file://" + folder + "/a%20b%3B.data"}));
}

TEST_F(ExchangeBufferTest, RefusesAtItsBordersAndChangesNothingThen) {
  const auto refusal = [] {
    auto texts = takeLogTexts();
    return texts.empty() ? "" : texts.back();
  };
  fs::resize_file(path_, ExchangeBuffer::maximumBufferLength + 1);
  EXPECT_FALSE(set("a", "n"));
  EXPECT_EQ(refusal(),
            "2 (SharedResources: setExchange(key:id:name:body:)) Exchange buffer for \"k\" "
            "reached maximum length");
  fs::resize_file(path_, ExchangeBuffer::maximumBufferLength);
  std::string text(ExchangeBuffer::maximumObjectLength, 'x');
  const auto whole = ExchangeRecord::archive({"a", "n", Dictionary{{"t", text}}})->size();
  text.resize(2 * text.size() - whole + 1);  // now its archive is one byte too long
  EXPECT_FALSE(set("a", "n", Dictionary{{"t", text}}));
  EXPECT_EQ(refusal(),
            "2 (SharedResources: setExchange(key:id:name:body:)) Exchange object for \"k\" "
            "reacged maximum length");
  EXPECT_EQ(fs::file_size(path_), ExchangeBuffer::maximumBufferLength);
  text.pop_back();
  EXPECT_TRUE(set("a", "n", Dictionary{{"t", text}}));
  EXPECT_EQ(fs::file_size(path_),
            ExchangeBuffer::maximumBufferLength + ExchangeBuffer::maximumObjectLength + 4);
  EXPECT_EQ(takenName("a"), "n");
  EXPECT_EQ(fs::file_size(path_), ExchangeBuffer::maximumBufferLength);
  std::string wide;
  for (int i = 0; i < 511'000; ++i) wide += "\xE2\x82\xAC";  // two bytes in the archive
  EXPECT_TRUE(set("a", "n", Dictionary{{"t", wide}}));
  EXPECT_EQ(takenName("a"), "n");
  EXPECT_FALSE(set("a", "n", Dictionary{{"t", wide + wide + "no \xff text"}}));
  EXPECT_TRUE(
      refusal().starts_with("1 (SharedResources: setExchange(key:id:name:body:)) Can't "
                            "open file \"" +
                            url_ + "\" for writing: "));
}

TEST_F(ExchangeBufferTest, NeitherFollowsALinkNorTakesAPipeForAFile) {
  ASSERT_TRUE(set("a", "first"));
  const auto target = folder_.path() / "target";
  fs::rename(path_, target);
  const auto content = contentOf(target);
  for (const bool isLink : {true, false}) {
    isLink ? fs::create_symlink(target, path_) : void(::mkfifo(path_.c_str(), 0600));
    set("b", "second");
    EXPECT_EQ(get("a"), std::nullopt);
    clear();
    EXPECT_EQ(contentOf(target), content);
    fs::remove(path_);
  }
}

TEST_F(ExchangeBufferTest, WhatIsNoRecordIsThrownAwayOrLeftAlone) {
  const auto after = [&](const std::string& content) {
    writeFile(path_, content);
    EXPECT_EQ(takenName(std::nullopt), std::nullopt);
    return contentOf(path_);
  };
  const auto malformed = [&](const std::string& name) {
    return contentOf(archives / "malformed" / name);
  };
  EXPECT_EQ(after(malformed("length-only.data")), "");
  EXPECT_EQ(after(malformed("length-beyond-start.data")), "");
  EXPECT_EQ(takeLogTexts().back(),
            "2 (SharedResources: getExchange(key:with:)) buffer is corrupted");
  const auto noBytes = malformed("length-zero.data");
  const auto decodes = [&] {
    return takeLogTexts().back().starts_with(
        "1 (SharedResources: getExchange(key:with:)) Can't convert exchange object to dictionary");
  };
  EXPECT_EQ(after(noBytes), noBytes);
  EXPECT_TRUE(decodes());
  EXPECT_EQ(after(noBytes), noBytes);
  EXPECT_FALSE(decodes()) << "again";
  writeFile(path_, noBytes + contentOf(archives / "golden/macos-one.data"));
  EXPECT_TRUE(takenName(std::nullopt)) << "a good record on top of it";
  EXPECT_EQ(after(noBytes), noBytes);
  EXPECT_TRUE(decodes());
  auto otherKey = contentOf(archives / "golden/macos-one.data");
  otherKey.replace(otherKey.find("Rid"), 2, "\x10\x07");
  EXPECT_EQ(after(otherKey), otherKey) << "a dictionary with an integer as a key";
  EXPECT_TRUE(takeLogTexts().back().starts_with(
      "8 (SharedResources: getExchange(key:with:)) Exchange object received "));
  writeFile(path_, contentOf(archives / "golden/macos-after-rubbish.data"));
  EXPECT_EQ(takenName(std::nullopt), "addRule");
}

/// A file of holes, of which the last four bytes say that the newest record has 512 MiB.
TEST_F(ExchangeBufferTest, AnImpossibleLengthIsNotEvenAllocated) {
  std::ofstream(path_, std::ios::binary).seekp((1LL << 30) - 4) << std::string("\0\0\0\x20", 4);
  EXPECT_EQ(takenName(std::nullopt), std::nullopt);
  EXPECT_EQ(fs::file_size(path_), 1U << 30);
  EXPECT_EQ(takeLogTexts().back(),
            "1 (SharedResources: getExchange(key:with:)) Can't read exchange object of "
            "536870912bytes, above 11264000bytes");
  EXPECT_EQ(takenName(std::nullopt), std::nullopt);
  EXPECT_EQ(takeLogTexts().back().substr(0, 1), "8") << "the error once";
}

TEST_F(ExchangeBufferTest, OnlyRegisteredClassesAndErrorsAreRead) {
  const Dictionary state{{"result", EBAAppStateResponse{true, "de"}.record()}};
  const Dictionary error{{"error", ErrorObject{"D", 17, {}}}};
  EXPECT_TRUE(set("a", "error", error));
  EXPECT_TRUE(set("a", "state", state));
  buffer_.setRegisteredClasses({&EBACurrentFilteringStateResponse::recordClass});
  EXPECT_EQ(takenName("a"), std::nullopt);
  buffer_.setRegisteredClasses({&EBAAppStateResponse::recordClass});
  EXPECT_EQ(get("a")->body, state);
  EXPECT_EQ(get("a")->body, error);
}

TEST_F(ExchangeBufferTest, ALockThatAnotherProcessHasIsWaitedForOutsideTheLoop) {
  std::string done;
  const auto note = [&](char name) {
    return [&, text = std::string(100, name), loopThread = std::this_thread::get_id()](auto&&...) {
      EXPECT_EQ(std::this_thread::get_id(), loopThread);
      EXPECT_TRUE(VCLFileLocker(path_).lock()) << "given back before";
      done += text.back();
    };
  };
  buffer_.setExchange("k", "a", "below", std::nullopt, note('1'));
  EXPECT_EQ(done, "1") << "at once, as the lock is free";
  VCLFileLocker other(path_);
  ASSERT_TRUE(other.lock());
  buffer_.setExchange("k", "b", "above", std::nullopt, note('4'));
  loop_.post([&] { done += '3'; });
  EXPECT_TRUE(set("c", "n", {}, "missing")) << "at once";
  EXPECT_FALSE(get(std::nullopt, "missing"));
  EXPECT_FALSE(fs::exists(folder_.path() / "missing.data"));
  done += '2';
  EXPECT_TRUE(turnUntil(loop_, [&] { return done == "123"; })) << done;
  turnThrough(loop_);
  EXPECT_EQ(done, "123");
  other.unlock();
  EXPECT_TRUE(turnUntil(loop_, [&] { return done == "1234"; })) << done;
  EXPECT_EQ(takenName("b"), "above");

  ASSERT_TRUE(other.lock());
  buffer_.setExchange("k", "c", "anew", std::nullopt, note('5'));
  fs::remove(path_);
  writeFile(path_, "");
  other.unlock();
  EXPECT_TRUE(turnUntil(loop_, [&] { return done == "12345"; }));
  EXPECT_EQ(takenName("c"), "anew") << "in another file than the one that was waited for";

  calls_.removesLocked = path_;
  set("d", "never");
  EXPECT_FALSE(get("d"));
  EXPECT_EQ(calls_.removals, 2 * ExchangeBuffer::maximumAttempts);
  EXPECT_EQ(contentOf(path_), "");
}

TEST_F(ExchangeBufferTest, WhereNoThreadStartsALockThatAnotherProcessHasIsTriedAgain) {
  VCLFileLocker other(path_);
  ASSERT_TRUE(other.lock());
  calls_.startsThreads = false;
  bool isFree = false;
  const auto timer = loop_.at(Platform::EventLoop::now() + std::chrono::milliseconds(50),
                              [&] { isFree = other.unlock(); });
  EXPECT_TRUE(set("a", "n"));
  EXPECT_TRUE(isFree);
  EXPECT_EQ(takenName("a"), "n");
}

/// Lets one change after the other fail, in each way, while another process has the lock at first.
TEST_F(ExchangeBufferTest, AFailingChangeLeavesTheOldOrTheNewAndNoLock) {
  set("a", "below");
  const std::string below = contentOf(path_);
  const auto setAbove = [&] { set("b", "above", Dictionary{{"t", std::string(3000, 'x')}}); };
  setAbove();
  const std::string both = contentOf(path_);
  struct Operation {
    std::function<void()> run;
    std::string before, after;
  };
  int injected = 0;
  std::optional<std::string> taken;
  for (const auto& [run, before, after] : {Operation{setAbove, below, both},
                                           {[&] { taken = takenName("b"); }, both, below},
                                           {[&] { clear(); }, both, ""}}) {
    for (const int error : {0, EINTR, ENOSPC, EIO}) {
      for (int call = 1;; ++call) {
        writeFile(path_, before);
        std::optional<VCLFileLocker> other(path_);
        other->lock();
        loop_.post([&] { other.reset(); });
        calls_.failAt(call, error);
        run();
        turnThrough(loop_);
        if (!calls_.hasFired) break;
        ++injected;
        const std::string found = contentOf(path_);
        EXPECT_TRUE(found == after || (found == before && error != EINTR)) << call << " " << error;
        EXPECT_TRUE(after != below || taken.has_value() == (found == after)) << "what it says";
        EXPECT_TRUE(VCLFileLocker(path_).lock());
      }
    }
  }
  EXPECT_GE(injected, 12);
}

}  // namespace
}  // namespace corvane
