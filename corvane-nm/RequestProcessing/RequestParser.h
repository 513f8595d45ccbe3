#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Base/Result.h"
#include "corvane-nm/RequestProcessing/Request.h"

namespace corvane::RequestProcessing {

/// Parses messages of the browser as their bytes arrive. Accepts the same texts as parseJson
/// (Base/Json.h) and rejects the others for the same reason, except that a text with both invalid
/// UTF-8 and escaped surrogates may be rejected for either.
///
/// Builds no tree: a message takes the memory of the strings that its request stores, whatever else
/// it contains, and time proportional to its length. Very long strings, which no command can use,
/// are stored in part (RequestBuilder::longestKept).
///
/// Handles one message after another: `write` for each piece, then `finish`. Not thread-safe.
class RequestParser {
 public:
  RequestParser();
  ~RequestParser();
  RequestParser(const RequestParser&) = delete;
  RequestParser& operator=(const RequestParser&) = delete;

  /// Parses the next piece of a message, which may be cut anywhere, even inside a character.
  /// `isLast` marks the end of the message; an empty piece is allowed. After a malformed piece the
  /// others are ignored. Refers to `piece` only during the call.
  void write(std::string_view piece, bool isLast);

  /// Call it after the last piece. Returns the request, or nothing if the message is JSON but is an
  /// array, or an object whose "type" or "id" is missing or not a string. Fails, with the reason,
  /// if the text is not JSON or its top level is a scalar. The last of several equal keys counts.
  /// Makes the parser ready for the next message.
  Result<std::optional<Request>> finish();

 private:
  struct State;

  const std::unique_ptr<State> state_;
};

}  // namespace corvane::RequestProcessing
