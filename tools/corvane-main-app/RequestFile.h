#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "tools/corvane-main-app/LockedFile.h"

namespace corvane::MainApp {

/// The file into which all hosts put their requests. Main thread only.
class RequestFile {
 public:
  explicit RequestFile(const std::string& dataFolder)
      : path_(dataFolder + "/ExchangeRequestContainer.data") {}

  /// Makes the file when it is missing, and throws away what it holds.
  Result<Done> clear();

  /// Takes all requests at once, under one lock: the one that came first is the first. What can't
  /// be decoded is thrown away, and everything that lies below it: where that begins is not known.
  Result<std::vector<ExchangeRecord>> takeAll();

  /// How many bytes `takeAll` has thrown away so far.
  [[nodiscard]] std::uint64_t bytesThrownAway() const { return bytesThrownAway_; }

 private:
  Result<Done> readAndTruncate(LockedFile& locked);
  std::vector<ExchangeRecord> decodeBytes();

  const std::string path_;
  std::vector<std::byte> bytes_;  // what was taken last
  std::uint64_t bytesThrownAway_ = 0;
};

}  // namespace corvane::MainApp
