#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/File.h"
#include "VCommons/VCLFileLocker.h"

namespace corvane {

/// An exchange file in the hands of this process: open and locked for as long as the object lives.
/// Waits for whoever has it. Never makes the file: that is the main application's. That a file
/// can't be opened though it is there is said in the system log. One thread at a time.
class ExchangeFile {
 public:
  enum class State {
    ready,
    notLocked,  ///< the lock can't be had; the file is none of ours to touch
    notOpened,  ///< there is no such file, or it can't be opened
  };

  ExchangeFile(std::string path, Platform::SystemCalls& calls);
  ~ExchangeFile();
  ExchangeFile(const ExchangeFile&) = delete;
  ExchangeFile& operator=(const ExchangeFile&) = delete;

  [[nodiscard]] State state() const { return state_; }

  /// Its path as an address, for the log.
  [[nodiscard]] std::string url() const;

  /// Only when `state` is ready:
  Platform::File& file() { return locker_->lockedFile(); }
  /// its length in bytes when the lock was taken.
  [[nodiscard]] std::uint64_t length() const { return length_; }

 private:
  State open(Platform::SystemCalls& calls);

  const std::string path_;
  std::optional<VCLFileLocker> locker_;
  std::uint64_t length_ = 0;
  State state_;
};

}  // namespace corvane
