#pragma once

#include <optional>
#include <string>
#include <utility>

namespace corvane {

/// Why an operation of the main application's interface failed: the main application reported an
/// error, or it did not answer in time. A plain value; equal if kind and text are.
class ExtensionBrowserApiErrorCode {
 public:
  /// An error that the main application reported; `text` is its description, if there is one.
  static ExtensionBrowserApiErrorCode other(std::optional<std::string> text) {
    return ExtensionBrowserApiErrorCode(false, std::move(text));
  }

  /// The main application did not answer in time, or with nothing usable.
  static ExtensionBrowserApiErrorCode linkTimeout() {
    return ExtensionBrowserApiErrorCode(true, std::nullopt);
  }

  /// Whether this is `linkTimeout`. Some callers take that as "not running" rather than an error.
  [[nodiscard]] bool isLinkTimeout() const { return isLinkTimeout_; }

  /// The text for the reply's "data" and for the log. The texts here, with their spelling, are part
  /// of the interface.
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
