#pragma once

#include <cstddef>
#include <string>

namespace corvane::Nmctl::MainAppCheck {

/// A request that no host would write. Its dictionary holds, beside id and name, dictionaries
/// inside one another.
struct RawRequest {
  std::string id;
  std::string name;
  std::string key = "body";  ///< under which the first one stands; else the body is a null object
  std::size_t levels = 1;    ///< so many of them
  std::size_t uses = 1;      ///< so many keys of each (16 at most) refer to the next one
  std::string className = "NSDictionary";

  /// Its archive, framed. The objects stand in another order than Foundation's.
  [[nodiscard]] std::string bytes() const;
};

}  // namespace corvane::Nmctl::MainAppCheck
