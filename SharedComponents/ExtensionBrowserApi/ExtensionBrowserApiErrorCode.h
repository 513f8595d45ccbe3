#pragma once

#include <optional>
#include <string>
#include <utility>

namespace corvane {

/// Why an operation of the main application's interface failed.
class ExtensionBrowserApiErrorCode {
 public:
  /// Some error; `text` is what the main application says of it.
  static ExtensionBrowserApiErrorCode other(std::optional<std::string> text) {
    return ExtensionBrowserApiErrorCode(false, std::move(text));
  }

  /// The main application did not answer in time.
  static ExtensionBrowserApiErrorCode linkTimeout() {
    return ExtensionBrowserApiErrorCode(true, std::nullopt);
  }

  [[nodiscard]] bool isLinkTimeout() const { return isLinkTimeout_; }

  /// The text of the error, for the reply's "data" and for the log.
  [[nodiscard]] std::string description() const {
    if (isLinkTimeout_) return "Can't connect to main app, timeout reached.";
    return text_.value_or("Unknown error occured.");
  }

  bool operator==(const ExtensionBrowserApiErrorCode&) const = default;

 private:
  ExtensionBrowserApiErrorCode(bool isLinkTimeout, std::optional<std::string> text)
      : isLinkTimeout_(isLinkTimeout), text_(std::move(text)) {}

  bool isLinkTimeout_;
  std::optional<std::string> text_;
};

}  // namespace corvane
