#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "Base/Json.h"
#include "Base/UniqueFunction.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiErrorCode.h"

namespace corvane::RequestProcessing {

/// The application state that rides in every reply under "appState".
struct AppState {
  bool isInstalled = true;
  bool isRunning = false;
  bool isProtectionEnabled = false;
  std::string lastCheckTime;  ///< when the state was built, as in 2024-03-05T14:07:09.123+00:00
  std::string locale = "en";

  /// Adds its members to `dictionary`.
  void addTo(JsonObject& dictionary) const;
};

/// The texts that errors of the host's own carry in "data".
namespace ErrorText {
inline constexpr char invalidParameters[] = "Invalid request paramaters.";
inline constexpr char versionMismatch[] = "Supported api version mismatch";
inline constexpr char cannotStartMainApp[] = "Can't start main app.";
inline constexpr char appStateTimeout[] = "AppState timeout occured";
}  // namespace ErrorText

/// The outcome of a command: ok, with an optional text, or an error that carries nothing, a text,
/// or an error of the main application's interface.
class ResponseStatus {
 public:
  using ErrorValue = std::variant<std::monostate, std::string, ExtensionBrowserApiErrorCode>;

  static ResponseStatus ok(std::optional<std::string> text = std::nullopt);
  static ResponseStatus error(ErrorValue value);

  /// The status that an operation of the main application's interface leads to: error when there is
  /// one.
  static ResponseStatus fromClientError(
      const std::optional<ExtensionBrowserApiErrorCode>& clientError);

  [[nodiscard]] bool isOk() const { return !isError_; }

  /// Adds "result" ("ok" or "error") and, when there is something to say, "data" to `dictionary`.
  void addTo(JsonObject& dictionary) const;

  /// Any two ok values are equal, whatever their texts; errors when what they carry is equal.
  bool operator==(const ResponseStatus& other) const;

 private:
  bool isError_ = false;
  ErrorValue value_;  // for ok: nothing or its text
};

/// One reply, before it becomes JSON.
struct Response {
  std::uint64_t id = 0;   ///< the reply's own serial number; 0 until it is taken
  std::string requestId;  ///< the id of the request that it answers
  ResponseStatus status = ResponseStatus::error(ErrorText::invalidParameters);
  AppState appState;
  std::optional<JsonObject> parameters;  ///< the command's result values

  /// Adds "id" (as decimal text), "requestId", "appState", "parameters" if any, and the status's
  /// members to `dictionary`, which is empty.
  void addTo(JsonObject& dictionary) const;
};

/// Takes the reply to one message. Called at most once, on the loop; a message that gets no reply
/// has it destroyed uncalled. The message counts as pending as long as it exists.
using ReplyCallback = UniqueFunction<void(Response)>;

/// Numbers replies: 1, 2, 3 and so on, across all commands, never reset.
class ReplySerial {
 public:
  std::uint64_t takeNext() { return ++last_; }

 private:
  std::uint64_t last_ = 0;
};

}  // namespace corvane::RequestProcessing
