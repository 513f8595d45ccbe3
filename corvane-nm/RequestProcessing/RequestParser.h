#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Base/Result.h"
#include "corvane-nm/RequestProcessing/Request.h"

namespace corvane::RequestProcessing {

/// Parses messages of the browser as their bytes arrive. Accepts the same texts as parseJson
/// (Base/Json.h) and refuses the others for the same reason, except that a text with both invalid
/// UTF-8 and escaped surrogates may be refused for either. No tree is built: a message takes the
/// memory of the strings that its request keeps, whatever else it holds, and time in proportion to
/// its length. Strings that no command
/// could make use of are kept in part (RequestBuilder::longestKept).
///
/// One message after the other: `write` for each piece, then `finish`. One thread.
class RequestParser {
 public:
  RequestParser();
  ~RequestParser();
  RequestParser(const RequestParser&) = delete;
  RequestParser& operator=(const RequestParser&) = delete;

  /// Takes the next piece of a message; a text may be cut anywhere. `isLast` says that it is the
  /// end. After a piece that is malformed, the others are not looked at.
  void write(std::string_view piece, bool isLast);

  /// After the last piece: the request that the message is, or nothing when it is JSON but no
  /// object, or an object whose "type" or "id" is missing or no text. Fails, with the reason, when
  /// the text is not JSON. Of equal keys the last one counts. The next message may follow.
  Result<std::optional<Request>> finish();

 private:
  struct State;

  const std::unique_ptr<State> state_;
};

}  // namespace corvane::RequestProcessing
