#pragma once

#include "Base/ErrorObject.h"
#include "Base/Value.h"
#include "SharedComponents/Exchange/ExchangeRecord.h"
#include "tools/corvane-main-app/ApplicationState.h"

namespace corvane::MainApp {

/// The body of a reply, and whether the request has changed the state, which is to be announced.
struct Answer {
  Dictionary body;
  bool isChange = false;
};

/// Does what `request` asks for. Whatever it is, there is an answer: a command that is unknown,
/// lacks a parameter or has one of another kind is refused with an error object.
Answer answerTo(const ExchangeRecord& request, ApplicationState& state);

/// The answer that refuses with `error`: an ErrorObject, or what is to stand in its place.
Answer refusal(Value error);

/// The error object of this application that says `text`.
ErrorObject errorObject(std::int64_t code, const std::string& text);

}  // namespace corvane::MainApp
