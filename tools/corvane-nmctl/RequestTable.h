#pragma once

#include <span>
#include <string>
#include <string_view>

namespace corvane::Nmctl {

/// A parameter of a request.
struct RequestParameter {
  enum class Kind { text, whole, flag };

  std::string_view name;
  Kind kind;
};

/// One of the requests that the host answers.
struct RequestKind {
  std::string_view type;
  std::span<const RequestParameter> parameters;
  std::string_view purpose;  ///< for people
};

/// All of them, in the order in which people read them.
std::span<const RequestKind> requestKinds();

/// The one of this type; nullptr when the host answers none such.
const RequestKind* findRequestKind(std::string_view type);

/// Its parameters for people, "url=TEXT port=NUMBER"; "" when it has none.
std::string usageOf(const RequestKind& kind);

}  // namespace corvane::Nmctl
