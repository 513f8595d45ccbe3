#include "corvane-nm/RequestProcessing/RequestParser.h"

#include <gtest/gtest.h>

#include <string>

#include "Base/Json.h"
#include "corvane-nm/RequestProcessing/RequestBuilder.h"

namespace corvane::RequestProcessing {
namespace {

/// What comes of a text that arrives in two pieces, cut at `cut`.
std::string outcomeOf(RequestParser& parser, std::string_view text, std::size_t cut) {
  if (cut > 0) parser.write(text.substr(0, cut), false);
  parser.write(text.substr(cut), true);
  const auto request = parser.finish();
  if (!request) return request.failure().text;
  if (!*request) return "no request";
  const Parameters& parameters = (*request)->parameters;
  std::string outcome = (*request)->type + " " + (*request)->id;
  if ((*request)->data) outcome += " data " + *(*request)->data;
  for (const std::string_view name : parameterNames) {
    const Parameter parameter = *findParameter(name);
    if (const auto* text = parameters.text(parameter)) outcome += " " + *text;
    if (const auto* flag = parameters.flag(parameter)) outcome += *flag ? " yes" : " no";
    if (const auto* number = parameters.integer(parameter))
      outcome += " " + std::to_string(*number);
  }
  return outcome;
}

struct Case {
  std::string text;
  std::string outcome;  // that of parseJson if empty: a failure
};

TEST(RequestParser, KeepsWhatRequestsNeedWhereverTheTextIsCut) {
  const std::string deepest(maximumJsonDepth, '[');
  const Case cases[] = {
      {R"({"type":"a","id":"1"})", "a 1"},
      {R"( {"id":"x\n\u00e9\ud83d\ude00","data":"d","type":"\u0061\"\\"} )",
       "a\"\\ x\n\u00e9\U0001F600 data d"},
      {R"({"type":"a","id":"\ud800-\udc00\ud800\ud801\udc02\\ud800"})",
       "a \xED\xA0\x80-\xED\xB0\x80\xED\xA0\x80\U00010402\\ud800"},
      {R"({"type":"a","id":"1","para\u006deters":{"url":"u","port":443,"isEnabled":true}})",
       "a 1 u 443 yes"},
      // Of equal keys the last one counts, whatever its kind.
      {R"({"type":1,"type":"b","id":"1","id":"2","data":"d","data":null,"parameters":
          {"url":"x","port":1,"url":false,"port":[2],"domain":"d","ruleText":18446744073709551615},
          "parameters":{"url":"y","domain":{"url":"z"},"port":443.0}})",
       "b 2 y"},
      {R"({"type":"a","id":"1","parameters":{"url":"u"},"parameters":["url",{"url":"v"}]})", "a 1"},
      {R"({"parameters":{"parameters":{"url":"u"},"type":"a"},"x":{"url":"v"},"type":"a","id":"1"})",
       "a 1"},
      {R"({"type":"a"})", "no request"},
      {R"({"type":"a","id":1})", "no request"},
      {R"([{"type":"a","id":"1"}])", "no request"},
      {R"({"type":"a","id":"1","typeparametersurlportid":{"\ud800":"\udfff"}})", "a 1"},
      {R"({"type":"a","id":"1","x":)" + deepest.substr(1) + std::string(511, ']') + "}", "a 1"},
      {R"({"x":)" + deepest + std::string(512, ']') + "}", ""},
      {"", ""},
      {"\"text\"", ""},
      {R"({"type":"a","id":"1"} x)", ""},
      {R"({"type":"a","id":"1",})", ""},
      {R"({"type":"a","id":"\ud8zz"})", ""},
      {R"({"type":"a","id":"\ud800)", ""},
      {"{\"type\":\"a\",\"id\":\"\\ud8\x10\x10\"}", "expected hex digit"},
      {"{\"type\":\"a\",\"id\":\"\xE2\x82\"}", ""},
      {"\"\xF4\"d", ""},
      {"{\"type\":\"a\",\"id\":\"\xED\xA0\x80\"}", ""},
  };
  RequestParser parser;
  for (const Case& one : cases) {
    const std::string expected =
        one.outcome.empty() ? parseJson(one.text).failure().text : one.outcome;
    for (std::size_t cut = 0; cut <= one.text.size(); ++cut)
      EXPECT_EQ(outcomeOf(parser, one.text, cut), expected) << one.text << " cut at " << cut;
  }
}

TEST(RequestParser, KeepsLongStringsInPartUnlessTheyCount) {
  const std::string text = std::string(RequestBuilder::longestKept - 1, 'x') + "\xE2\x82\xAC";
  RequestParser parser;
  parser.write(R"({"type":"a","id":")" + text + R"(","parameters":{"apiVersion":")" + text +
                   R"(","url":")" + text + R"(","port":1}})",
               true);
  const auto request = parser.finish();
  EXPECT_EQ((*request)->id, text);
  EXPECT_EQ(*(*request)->parameters.text(Parameter::apiVersion), text);
  EXPECT_EQ(*(*request)->parameters.text(Parameter::url),
            text.substr(0, RequestBuilder::longestKept - 1));
  EXPECT_NE((*request)->parameters.integer(Parameter::port), nullptr);
}

}  // namespace
}  // namespace corvane::RequestProcessing
