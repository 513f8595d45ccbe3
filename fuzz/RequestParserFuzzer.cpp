#include "corvane-nm/RequestProcessing/RequestParser.h"

#include <optional>
#include <string_view>

#include "Base/Json.h"
#include "Base/Unicode.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Requests.h"

namespace {

using namespace corvane;  // NOLINT(google-build-using-namespace)
using fuzzing::require;
using RequestProcessing::Request;
using RequestProcessing::RequestParser;
using Outcome = Result<std::optional<Request>>;

/// Which of two faults is named when there are both may differ: of a text that is not UTF-8, and
/// that holds escapes of surrogates.
bool mayDifferInReason(std::string_view text) {
  return !Unicode::isWellFormed(text, Unicode::Surrogates::refused) &&
         (text.find("\\ud") != std::string_view::npos ||
          text.find("\\uD") != std::string_view::npos);
}

void requireSame(const Outcome& outcome, const Result<JsonValue>& tree, std::string_view text) {
  require(static_cast<bool>(outcome) == static_cast<bool>(tree), "they accept the same texts");
  if (tree) {
    require(outcome.value() == fuzzing::requestIn(tree.value()), "they find the same request");
  } else {
    require(outcome.failure().text == tree.failure().text || mayDifferInReason(text),
            "they give the same reason");
  }
}

}  // namespace

/// The parser of requests against the one that builds trees, in one piece and in many. It takes a
/// small multiple of what the texts take that it keeps, as these grow by doubling.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& parser = *new RequestParser;
  const std::string_view text = fuzzing::textOf(data, size);
  const auto tree = parseJson(text);
  const std::size_t length = 1 + size % 61;
  const fuzzing::MemoryBound bound((std::size_t{64} << 10) + 4 * size);
  parser.write(text, true);
  requireSame(parser.finish(), tree, text);
  std::size_t at = 0;
  for (; at + length < text.size(); at += length) parser.write(text.substr(at, length), false);
  parser.write(text.substr(at), true);
  requireSame(parser.finish(), tree, text);
  return 0;
}
