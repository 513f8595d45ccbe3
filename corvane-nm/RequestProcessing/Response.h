#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Base/JsonWriter.h"
#include "Base/UniqueFunction.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiErrorCode.h"
#include "VCommons/VCSDate.h"

namespace corvane::RequestProcessing {

/// The state of the main application in every reply, under "appState". A plain value.
struct AppState {
  bool isInstalled = true;  ///< always true
  bool isRunning = false;
  bool isProtectionEnabled = false;
  VCSDate::Date lastCheckTime;  ///< when the state was built; sent as 2024-03-05T14:07:09.123+00:00
  std::string locale = "en";    ///< "en" unless the main application reported its own

  /// Adds the members to the object that `object` is writing.
  void addTo(JsonWriter& object) const;
};

/// The "data" of errors that the host itself finds. Part of the interface, spelling included.
namespace ErrorText {
inline constexpr std::string_view invalidParameters = "Invalid request paramaters.";
inline constexpr std::string_view versionMismatch = "Supported api version mismatch";
inline constexpr std::string_view cannotStartMainApp = "Can't start main app.";
inline constexpr std::string_view appStateTimeout = "AppState timeout occured";
}  // namespace ErrorText

/// The outcome of a command: ok or an error, each with an optional text. A plain value.
class ResponseStatus {
 public:
  /// No text, a view of a literal, or a string of its own.
  using Text = std::variant<std::monostate, std::string_view, std::string>;

  /// Makes an outcome. A `text` that is a view must refer to static storage.
  static ResponseStatus ok(Text text = {}) { return ResponseStatus(false, std::move(text)); }
  static ResponseStatus error(Text text = {}) { return ResponseStatus(true, std::move(text)); }

  /// Returns the outcome for an operation of the main application's interface: ok without an error,
  /// otherwise an error with its description.
  static ResponseStatus fromClientError(
      const std::optional<ExtensionBrowserApiErrorCode>& clientError);

  [[nodiscard]] bool isOk() const { return !isError_; }

  /// Adds "result" ("ok" or "error") and, if there is a text, "data" to `object`.
  void addTo(JsonWriter& object) const;

  /// The text, if there is one. Valid as long as this object.
  [[nodiscard]] std::optional<std::string_view> text() const;

  /// All ok outcomes are equal, whatever their texts; errors are equal if their texts are.
  bool operator==(const ResponseStatus& other) const;

 private:
  ResponseStatus(bool isError, Text text) : isError_(isError), text_(std::move(text)) {}

  bool isError_;
  Text text_;
};

/// One result value of a command: a member of the reply's "parameters".
struct ReplyParameter {
  std::string_view key;  ///< refers to static storage
  std::variant<bool, std::int64_t, std::string> value;
};

/// One reply, before it becomes JSON. A plain value.
struct Response {
  std::uint64_t id = 0;   ///< the reply's serial number (ReplySerial); 0: not taken yet
  std::string requestId;  ///< the `id` of the request
  ResponseStatus status = ResponseStatus::error(ErrorText::invalidParameters);
  AppState appState;
  std::vector<ReplyParameter> parameters;  ///< the result values, in this order; may be empty

  /// Writes the reply as a JSON object: "id" (a string of decimal digits), "requestId", "appState",
  /// "parameters" if there are any, and the members of the status. Replaces what `json` had.
  void writeTo(JsonWriter& json) const;
};

/// Receives the reply to one request. Called at most once, on the loop; destroyed uncalled if there
/// is no reply. The request counts as pending as long as the callback exists.
using ReplyCallback = UniqueFunction<void(Response&&)>;

/// Numbers replies 1, 2, 3 and so on, across all commands, for the life of the process. Not
/// thread-safe.
class ReplySerial {
 public:
  std::uint64_t takeNext() { return ++last_; }

 private:
  std::uint64_t last_ = 0;
};

}  // namespace corvane::RequestProcessing
