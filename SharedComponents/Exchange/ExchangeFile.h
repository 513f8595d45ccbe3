#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/File.h"
#include "VCommons/VCLFileLocker.h"

namespace corvane {

/// One exchange file, open and locked by this process until `close` or the end of the object. Never
/// creates the file: the main application does. If an existing file can't be opened, an error in
/// the system log says why. Not thread-safe; may move between threads between calls, but must be
/// constructed on the loop's thread.
class ExchangeFile {
 public:
  enum class State {
    ready,      ///< open and locked
    contended,  ///< open; another process holds the lock
    notLocked,  ///< it can't be opened or locked; must not be used
    notOpened,  ///< it does not exist, or its status can't be read
    removed,    ///< it was removed before it was locked; the path may name another file now
  };

  /// Opens the file `path` and takes its lock if that is free; `state` tells the outcome. Never
  /// blocks.
  explicit ExchangeFile(std::string path);

  /// As `close`.
  ~ExchangeFile();
  ExchangeFile(const ExchangeFile&) = delete;
  ExchangeFile& operator=(const ExchangeFile&) = delete;

  /// Blocks without limit until the lock of a contended file is free, and takes it. Call it only in
  /// the state `contended`; it leaves any other state. On any thread, while no other uses the
  /// object.
  void waitForLock();

  /// Releases the lock and closes the file; `file` must not be called afterwards. Idempotent.
  void close();

  [[nodiscard]] State state() const { return state_; }

  /// The path as a file URL, for the log.
  [[nodiscard]] std::string url() const;

  /// The file, and its length in bytes at the moment of locking. Only if `state` is `ready`.
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
