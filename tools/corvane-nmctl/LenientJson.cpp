#include "tools/corvane-nmctl/LenientJson.h"

#include <boost/json/parse.hpp>

namespace corvane::Nmctl {

Result<JsonValue> parseLeniently(std::string_view text, FinalCommas finalCommas) {
  boost::json::parse_options options;
  options.allow_comments = true;
  options.allow_trailing_commas = finalCommas == FinalCommas::allowed;
  boost::json::error_code error;
  JsonValue value = boost::json::parse({text.data(), text.size()}, error, {}, options);
  if (error) return Failure{FailureCause::malformed, error.message()};
  return value;
}

}  // namespace corvane::Nmctl
