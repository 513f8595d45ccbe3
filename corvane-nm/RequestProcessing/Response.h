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

/// The application state that rides in every reply under "appState".
struct AppState {
  bool isInstalled = true;
  bool isRunning = false;
  bool isProtectionEnabled = false;
  VCSDate::Date lastCheckTime;  ///< when the state was built; sent as 2024-03-05T14:07:09.123+00:00
  std::string locale = "en";

  /// Adds its members to `object`.
  void addTo(JsonWriter& object) const;
};

/// The texts that errors of the host's own carry in "data".
namespace ErrorText {
inline constexpr std::string_view invalidParameters = "Invalid request paramaters.";
inline constexpr std::string_view versionMismatch = "Supported api version mismatch";
inline constexpr std::string_view cannotStartMainApp = "Can't start main app.";
inline constexpr std::string_view appStateTimeout = "AppState timeout occured";
}  // namespace ErrorText

/// The outcome of a command: ok or an error, each with an optional text.
class ResponseStatus {
 public:
  using Text = std::variant<std::monostate, std::string_view, std::string>;

  /// A view must have static storage duration.
  static ResponseStatus ok(Text text = {}) { return ResponseStatus(false, std::move(text)); }
  static ResponseStatus error(Text text = {}) { return ResponseStatus(true, std::move(text)); }

  /// The status that an operation of the main application's interface leads to: an error with its
  /// description if there is one.
  static ResponseStatus fromClientError(
      const std::optional<ExtensionBrowserApiErrorCode>& clientError);

  [[nodiscard]] bool isOk() const { return !isError_; }

  /// Adds "result" ("ok" or "error") and, when there is something to say, "data" to `object`.
  void addTo(JsonWriter& object) const;

  /// Its text, if it has one. Valid as long as this object.
  [[nodiscard]] std::optional<std::string_view> text() const;

  /// Any two ok values are equal, whatever their texts; errors if their texts are equal.
  bool operator==(const ResponseStatus& other) const;

 private:
  ResponseStatus(bool isError, Text text) : isError_(isError), text_(std::move(text)) {}

  bool isError_;
  Text text_;
};

/// One result value of a command. Every value has a JSON form.
struct ReplyParameter {
  std::string_view key;  ///< has static storage duration
  std::variant<bool, std::int64_t, std::string> value;
};

/// One reply, before it becomes JSON.
struct Response {
  std::uint64_t id = 0;   ///< the reply's own serial number; 0 until it is taken
  std::string requestId;  ///< the id of the request that it answers
  ResponseStatus status = ResponseStatus::error(ErrorText::invalidParameters);
  AppState appState;
  std::vector<ReplyParameter> parameters;  ///< the command's result values

  /// Writes the reply as an object: "id" (as decimal text), "requestId", "appState", "parameters"
  /// if there are any, and the status's members.
  void writeTo(JsonWriter& json) const;
};

/// Takes the reply to one message. Called at most once, on the loop; a message that gets no reply
/// has it destroyed uncalled. The message counts as pending as long as it exists.
using ReplyCallback = UniqueFunction<void(Response&&)>;

/// Numbers replies: 1, 2, 3 and so on, across all commands, never reset.
class ReplySerial {
 public:
  std::uint64_t takeNext() { return ++last_; }

 private:
  std::uint64_t last_ = 0;
};

}  // namespace corvane::RequestProcessing
