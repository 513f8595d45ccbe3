#include "tools/corvane-nmctl/MainAppCheck/Replied.h"

#include "tools/corvane-nmctl/MainAppCheck/Point.h"

namespace corvane::Nmctl::MainAppCheck {

const ErrorObject* refusalIn(const ExchangeRecord& reply) {
  if (!reply.body) broken("the reply to " + reply.name + " has no body");
  const Value* error = reply.body->find("error");
  if (error == nullptr) return nullptr;
  const auto* object = error->as<ErrorObject>();
  if (object == nullptr)
    broken("what stands under \"error\" in the reply to " + reply.name + " is no error object");
  if (reply.body->find("result") != nullptr)
    broken("the reply to " + reply.name + " has both a result and an error");
  return object;
}

void requireDone(const ExchangeRecord& reply) {
  if (const ErrorObject* error = refusalIn(reply))
    notShown(reply.name + " was refused: " + error->description());
}

}  // namespace corvane::Nmctl::MainAppCheck
