#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace corvane::bench {

/// A new, empty folder, removed with all it holds at the end.
class NewFolder {
 public:
  /// Below the folder `above`, which must exist.
  explicit NewFolder(const std::string& above) : path_(above + "/corvane-bench-XXXXXX") {
    if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("can't make " + path_);
  }
  ~NewFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  NewFolder(const NewFolder&) = delete;
  NewFolder& operator=(const NewFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace corvane::bench
