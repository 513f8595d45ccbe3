#pragma once

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/error.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Base/Result.h"
#include "corvane-nm/RequestProcessing/Request.h"

namespace corvane::RequestProcessing {

/// Builds a request from the events of the JSON library's parser
/// (https://www.boost.org/doc/libs/1_81_0/libs/json/, basic_parser), for one text; stores only what
/// a request needs. Unpaired surrogates in the events are encoded as Base/Unicode.h describes.
///
/// The library defines the names and meaning of the on_… functions and calls them in the order of
/// the text; all return true, so the builder never stops the parser. `part` arguments are valid
/// during the call only.
class RequestBuilder {
 public:
  using Text = boost::json::string_view;
  using Error = boost::json::error_code;

  /// How many bytes of a string are stored; `id` and "apiVersion" are stored completely. This
  /// changes no reply: no command has so long a `type`, none reads `data`, and an exchange rejects
  /// even a string of 1,536,003 bytes, whose archive takes at least two thirds of that.
  static constexpr std::size_t longestKept = std::size_t{2} << 20;

  /// Returns the outcome for the whole text, see RequestParser::finish. Call it once, because it
  /// moves the request out.
  Result<std::optional<Request>> request();

  // NOLINTBEGIN(readability-identifier-naming): the names of the library
  // The limits of the library's own types, so that this rejects the same texts as a parser that
  // builds a tree.
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  bool on_document_begin(Error& /*error*/) { return true; }
  bool on_document_end(Error& /*error*/) { return true; }
  bool on_object_begin(Error& /*error*/);
  bool on_object_end(std::size_t /*count*/, Error& /*error*/) { return leave(); }
  bool on_array_begin(Error& /*error*/);
  bool on_array_end(std::size_t /*count*/, Error& /*error*/) { return leave(); }
  bool on_key_part(Text part, std::size_t /*length*/, Error& /*error*/);
  bool on_key(Text part, std::size_t /*length*/, Error& /*error*/);
  bool on_string_part(Text part, std::size_t /*length*/, Error& /*error*/);
  bool on_string(Text part, std::size_t length, Error& error);
  bool on_number_part(Text /*part*/, Error& /*error*/) { return true; }
  bool on_int64(std::int64_t value, Text /*text*/, Error& /*error*/) { return keep(value); }
  bool on_uint64(std::uint64_t /*value*/, Text /*text*/, Error& /*error*/) { return keepNothing(); }
  bool on_double(double /*value*/, Text /*text*/, Error& /*error*/) { return keepNothing(); }
  bool on_bool(bool value, Error& /*error*/) { return keep(value); }
  bool on_null(Error& /*error*/) { return keepNothing(); }
  bool on_comment_part(Text /*part*/, Error& /*error*/) { return true; }
  bool on_comment(Text /*part*/, Error& /*error*/) { return true; }
  // NOLINTEND(readability-identifier-naming)

 private:
  using Value = Parameters::Value;
  enum class Top { scalar, array, object };
  static constexpr std::size_t longestName = 16;  // bytes, of the keys that are known
  static_assert(std::all_of(parameterNames.begin(), parameterNames.end(),
                            [](std::string_view name) { return name.size() <= longestName; }));

  /// Stores a value at `target_`, if it is of use.
  template <class T>
  bool keep(T value) {
    if (target_ != nullptr) *target_ = value;
    return keepNothing();
  }
  /// Ignores what follows, until the next key.
  bool keepNothing() {
    target_ = nullptr;
    return true;
  }
  void enter(Top kind);
  bool leave();
  void addToKey(Text part);
  [[nodiscard]] Value* memberNamed(std::string_view name);

  Top top_ = Top::scalar;
  std::size_t depth_ = 0;                // nesting of arrays and objects; 1 in the top object
  std::array<char, longestName> key_{};  // the beginning of a key that comes in parts
  std::size_t keyLength_ = 0;            // of the whole key so far; may exceed `key_`
  bool parametersFollow_ = false;        // the last key of the top object was "parameters"
  bool isInParameters_ = false;
  Value* target_ = nullptr;   // the place for the next value; null: ignore it
  bool isKeptWhole_ = false;  // `target_` gets its string completely, however long
  Value type_;
  Value id_;
  Value data_;
  Parameters parameters_;
};

}  // namespace corvane::RequestProcessing
