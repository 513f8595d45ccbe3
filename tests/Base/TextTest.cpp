#include <gtest/gtest.h>

#include <string>

#include "Base/Json.h"
#include "Base/NumericText.h"
#include "Base/Unicode.h"

namespace corvane {
namespace {

using namespace std::string_literals;

TEST(Unicode, TellsWellFormedTextApart) {
  using Unicode::Surrogates;
  struct Case {
    std::string text;
    std::size_t strict;    // how much of it is UTF-8
    std::size_t extended;  // how much when unpaired surrogates may stand
  };
  const Case cases[] = {
      {"", 0, 0},
      {"plain text of more than eight bytes", 35, 35},
      {"eight888\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 17, 17},
      {"ab\xED\xA0\x80z", 2, 6},
      {"\xED\x9F\xBF", 3, 3},
      {"\xC0\x80", 0, 0},          // too long a form
      {"\xE0\x9F\xBF", 0, 0},      // likewise
      {"\xF0\x8F\xBF\xBF", 0, 0},  // likewise
      {"\xF4\x90\x80\x80", 0, 0},  // beyond 10FFFF
      {"1234567\xE2\x82", 7, 7},   // cut short
      {std::string("12345678\xFF", 9), 8, 8},
      {"\x80", 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Unicode::wellFormedLength(c.text, Surrogates::refused), c.strict) << c.text;
    EXPECT_EQ(Unicode::wellFormedLength(c.text, Surrogates::allowed), c.extended) << c.text;
  }
}

TEST(Unicode, WritesWhatCannotBeSeenVisibly) {
  std::string text = "=";
  Unicode::appendVisible(text, "a\nb\r\t\x1B[1m\x7F\0\xC2\x85\xED\xA0\x80\xFF \xC3\xA9\\n"s);
  EXPECT_EQ(text, "=a\\nb\\r\\t\\x1B[1m\\x7F\\x00\\xC2\\x85\\xED\\xA0\\x80\\xFF \xC3\xA9\\n");
}

TEST(NumericText, ComparesRunsOfDigitsByValue) {
  for (const char* equal : {"1", "01", "0000000000000000000000000000001"}) {
    EXPECT_TRUE(numericallyEqual(equal, "1")) << equal;
  }
  for (const char* other :
       {"", "0", "1.0", "1 ", " 1", "11", "10", "+1", "a1", "18446744073709551617"}) {
    EXPECT_FALSE(numericallyEqual(other, "1")) << other;
  }
  EXPECT_TRUE(numericallyEqual("a007b0", "a7b00"));
}

std::string nested(int depth) {
  return std::string(static_cast<std::size_t>(depth), '[') +
         std::string(static_cast<std::size_t>(depth), ']');
}

TEST(Json, RefusesWhatIsNoMessage) {
  const std::string refused[] = {"",
                                 "5",
                                 "\"text\"",
                                 "null",
                                 "true",
                                 "{",
                                 "{}x",
                                 "{\"a\":1,}",
                                 "{'a':1}",
                                 "{\"a\":\"\xFF\"}",
                                 "{} {}",
                                 "[\"\\ud8\"]",
                                 "[\"\\q\"]",
                                 "{\"a\":\"\xED\xA0\x80\"}",
                                 nested(513),
                                 nested(100000),
                                 "{\"\xFF\":\"\\ud800\"}"};
  for (const std::string& text : refused) {
    const auto value = parseJson(text);
    ASSERT_FALSE(value) << text.substr(0, 40);
    EXPECT_FALSE(value.failure().text.empty());
  }
  EXPECT_TRUE(parseJson(nested(512)));
  EXPECT_NE(parseJson("7").failure().text.find("fragments"), std::string::npos);
}

TEST(Json, KeepsKindsAndSurrogatesApartAndWhole) {
  const auto value = parseJson(
      R"({"i":9007199254740993,"u":18446744073709551615,"r":443.0,"b":true,"e":"\u00e9\ud83d\ude00",)"
      R"("lone":"\ud800x\udfff","swapped":"\udc00\ud800","slash":"\\ud800","key\udbff":[null],"b":false})");
  ASSERT_TRUE(value);
  const JsonObject& object = value->get_object();
  EXPECT_EQ(*findInteger(object, "i"), 9007199254740993);
  EXPECT_EQ(findInteger(object, "r"), nullptr);
  EXPECT_EQ(findInteger(object, "u"), nullptr);
  EXPECT_EQ(findInteger(object, "b"), nullptr);
  EXPECT_EQ(*findBool(object, "b"), false) << "of equal keys the last one counts";
  EXPECT_EQ(findBool(object, "i"), nullptr);
  EXPECT_EQ(*findString(object, "lone"), "\xED\xA0\x80x\xED\xBF\xBF");
  EXPECT_EQ(*findString(object, "slash"), "\\ud800");

  const auto text = serializeJson(object);
  ASSERT_TRUE(text);
  EXPECT_NE(text->find(R"("\ud800x\udfff")"), std::string::npos) << text.value();
  EXPECT_TRUE(Unicode::isWellFormed(text.value(), Unicode::Surrogates::refused));
  const auto again = parseJson(text.value());
  ASSERT_TRUE(again);
  EXPECT_EQ(again->get_object(), object);
}

TEST(Json, SaysWhatHasNoText) {
  EXPECT_FALSE(serializeJson({{"a", "\xFF"}}));
  EXPECT_TRUE(isValidJsonObject({{"a", {1, 2.5, "x", nullptr}}}));
  EXPECT_FALSE(isValidJsonObject({{"a", {{"deep", std::numeric_limits<double>::infinity()}}}}));
}

}  // namespace
}  // namespace corvane
