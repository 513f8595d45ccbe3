#include "corvane-nm/RequestProcessing/RequestBuilder.h"

#include <algorithm>
#include <utility>

#include "Base/Unicode.h"
#include "SharedComponents/Exchange/ExchangeBuffer.h"

namespace corvane::RequestProcessing {

// A string cut at `longestKept` may lose up to 3 more bytes, of an incomplete character.
static_assert(2 * (RequestBuilder::longestKept - 3) > 3 * ExchangeBuffer::maximumObjectLength);

Result<std::optional<Request>> RequestBuilder::request() {
  if (top_ == Top::scalar) {
    return Failure{FailureCause::malformed,
                   "JSON text did not start with array or object (no fragments)"};
  }
  auto* const type = std::get_if<std::string>(&type_);
  auto* const id = std::get_if<std::string>(&id_);
  Result<std::optional<Request>> result = std::optional<Request>();
  if (type == nullptr || id == nullptr) return result;
  Request& request = result->emplace();
  request.type = std::move(*type);
  request.id = std::move(*id);
  request.parameters = std::move(parameters_);
  if (auto* const data = std::get_if<std::string>(&data_)) request.data = std::move(*data);
  return result;
}

bool RequestBuilder::on_object_begin(Error& /*error*/) {
  enter(Top::object);
  isInParameters_ = isInParameters_ || (depth_ == 2 && parametersFollow_);
  return true;
}

bool RequestBuilder::on_array_begin(Error& /*error*/) {
  enter(Top::array);
  return true;
}

void RequestBuilder::enter(Top kind) {
  if (depth_++ == 0) top_ = kind;
  target_ = nullptr;
}

bool RequestBuilder::leave() {
  if (--depth_ == 1) isInParameters_ = false;
  return true;
}

bool RequestBuilder::on_key_part(Text part, std::size_t /*length*/, Error& /*error*/) {
  addToKey(part);
  return true;
}

bool RequestBuilder::on_key(Text part, std::size_t length, Error& /*error*/) {
  std::string_view name{part.data(), part.size()};
  if (part.size() < length) {  // the last part of a key
    addToKey(part);
    name = {key_.data(), length <= longestName ? length : 0};
    keyLength_ = 0;
  }
  target_ = memberNamed(name);
  isKeptWhole_ = name == "id" || name == "apiVersion";
  if (target_ != nullptr) *target_ = std::monostate();  // the last of equal keys counts
  return true;
}

void RequestBuilder::addToKey(Text part) {
  if (keyLength_ < longestName)
    std::copy_n(part.data(), std::min(part.size(), longestName - keyLength_), &key_[keyLength_]);
  keyLength_ += part.size();
}

/// Returns the place for the value after the key `name`, or nullptr if it is not needed.
RequestBuilder::Value* RequestBuilder::memberNamed(std::string_view name) {
  if (depth_ == 2 && isInParameters_) return parameters_.slot(name);
  if (depth_ != 1) return nullptr;
  parametersFollow_ = name == "parameters";
  if (parametersFollow_) parameters_ = {};
  if (name == "type") return &type_;
  if (name == "id") return &id_;
  return name == "data" ? &data_ : nullptr;
}

bool RequestBuilder::on_string_part(Text part, std::size_t /*length*/, Error& /*error*/) {
  if (target_ == nullptr) return true;
  if (!std::holds_alternative<std::string>(*target_)) target_->emplace<std::string>();
  auto& text = std::get<std::string>(*target_);
  const std::size_t room = isKeptWhole_ ? part.size() : longestKept - text.size();
  text.append(part.data(), std::min(part.size(), room));
  if (part.size() <= room) return true;
  text.resize(Unicode::wellFormedLength(text, Unicode::Surrogates::allowed));
  return keepNothing();  // the rest of it
}

bool RequestBuilder::on_string(Text part, std::size_t length, Error& error) {
  on_string_part(part, length, error);
  return keepNothing();
}

}  // namespace corvane::RequestProcessing
