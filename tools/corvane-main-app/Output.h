#pragma once

#include <string_view>

#include "Base/Json.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"

namespace corvane::MainApp {

/// Lines on standard output, each written at once. Waits for a reader that is slow; that nobody
/// reads does not matter. Main thread only.
class Output {
 public:
  /// `prints`: whether `exchanged` writes anything.
  Output(int descriptor, bool prints) : descriptor_(descriptor), prints_(prints) {}

  void line(std::string_view text) const;
  void json(const JsonObject& object) const;

  /// One line {"KIND": {"id": ..., "name": ..., "body": ...}} for a request taken or a reply given.
  /// A record in the body is an object of its fields, an error one of domain, code and user info.
  void exchanged(const char* kind, const ExchangeRecord& record) const;

 private:
  const int descriptor_;
  const bool prints_;
};

}  // namespace corvane::MainApp
