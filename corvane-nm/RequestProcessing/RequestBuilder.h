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

/// The handler of the JSON library's event parser
/// (https://www.boost.org/doc/libs/1_81_0/libs/json/, basic_parser)
/// for one text; keeps what a request needs. Unpaired surrogates come in place, as Base/Unicode.h
/// says. No callback reports an error. The library gives the functions their names.
class RequestBuilder {
 public:
  using Text = boost::json::string_view;
  using Error = boost::json::error_code;

  /// How many bytes of a string are kept; of `id` and "apiVersion" all. No command has so long a
  /// `type`, none reads `data`, and an exchange refuses a string of 1,536,003 bytes already, as its
  /// archive takes two thirds of that at the least: no reply changes.
  static constexpr std::size_t longestKept = std::size_t{2} << 20;

  /// What the whole text was: see RequestParser::finish. Only once, as the request is moved out.
  Result<std::optional<Request>> request();

  // NOLINTBEGIN(readability-identifier-naming): the names of the library
  // The limits of the library's own types, so that what a tree can't hold is refused here, too.
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
  static constexpr std::size_t longestName = 16;  // bytes; of all keys that mean something
  static_assert(std::all_of(parameterNames.begin(), parameterNames.end(),
                            [](std::string_view name) { return name.size() <= longestName; }));

  template <class T>
  bool keep(T value) {
    if (target_ != nullptr) *target_ = value;
    return keepNothing();
  }
  bool keepNothing() {
    target_ = nullptr;
    return true;
  }
  void enter(Top kind);
  bool leave();
  void addToKey(Text part);
  [[nodiscard]] Value* memberNamed(std::string_view name);

  Top top_ = Top::scalar;
  std::size_t depth_ = 0;  // of arrays and objects
  std::array<char, longestName> key_{};
  std::size_t keyLength_ = 0;  // may be more than was kept
  bool parametersFollow_ = false;
  bool isInParameters_ = false;
  Value* target_ = nullptr;   // where the next value goes, if it is of use
  bool isKeptWhole_ = false;  // however long its string is
  Value type_;
  Value id_;
  Value data_;
  Parameters parameters_;
};

}  // namespace corvane::RequestProcessing
