#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/File.h"
#include "VCommons/VCLFileLocker.h"

namespace corvane {

/// An exchange file that this process has open and locked, until `close` or the end of the object.
/// Never creates the file: that is up to the main application. Why an existing file can't be opened
/// is said in the system log. One thread at a time.
class ExchangeFile {
 public:
  enum class State {
    ready,      ///< open and locked
    contended,  ///< open; another process has the lock
    notLocked,  ///< the lock can't be had; the file must not be touched
    notOpened,  ///< there is no such file, or its length can't be read
    removed,    ///< the file was removed before its lock was had; the path may have another one
  };

  /// Opens the file `path` and takes its lock if that is free. Never blocks.
  explicit ExchangeFile(std::string path);

  /// As `close`.
  ~ExchangeFile();
  ExchangeFile(const ExchangeFile&) = delete;
  ExchangeFile& operator=(const ExchangeFile&) = delete;

  /// Blocks without limit until the lock of a contended file is free, and takes it. Any thread,
  /// while no other uses the object. Never leaves it contended.
  void waitForLock();

  /// Gives the lock back and closes the file; nothing else of it may be used then.
  void close();

  [[nodiscard]] State state() const { return state_; }

  /// Its path as a URL, for the log.
  [[nodiscard]] std::string url() const;

  /// The file itself, and its length in bytes when the lock was taken. Only when `state` is ready.
  Platform::File& file() { return locker_->lockedFile(); }
  [[nodiscard]] std::uint64_t length() const { return length_; }

 private:
  void open();
  void readStatus();

  const std::string path_;
  std::optional<VCLFileLocker> locker_;
  std::uint64_t length_ = 0;
  State state_ = State::notOpened;
};

}  // namespace corvane
