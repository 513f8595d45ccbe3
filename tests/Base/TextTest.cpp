#include <gtest/gtest.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <string>

#include "Base/Json.h"
#include "Base/JsonWriter.h"
#include "Base/Unicode.h"
#include "Base/Uuid.h"

namespace corvane {
namespace {

using namespace std::string_literals;

TEST(Uuid, KeepsAllRandomBitsButVersionAndVariant) {
  std::array<std::byte, 16> random = {};
  EXPECT_EQ(uuidFrom(random), "00000000-0000-4000-8000-000000000000");
  random.fill(std::byte{0xFF});
  EXPECT_EQ(uuidFrom(random), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
  random = {std::byte{0x1A}};
  EXPECT_EQ(uuidFrom(random), "1A000000-0000-4000-8000-000000000000");
}

TEST(Unicode, TellsWellFormedTextApart) {
  using Unicode::Surrogates;
  const struct {
    std::string text;
    std::size_t strict;    // how much of it is UTF-8
    std::size_t extended;  // how much when unpaired surrogates may stand
  } cases[] = {
      {"plain text of more than eight bytes", 35, 35},
      {"eight888\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 17, 17},
      {"ab\xED\xA0\x80z", 2, 6},
      {"\xED\x9F\xBF", 3, 3},
      {"\xC0\x80", 0, 0},          // too long a form
      {"\xE0\x9F\xBF", 0, 0},      // likewise
      {"\xF0\x8F\xBF\xBF", 0, 0},  // likewise
      {"\xF4\x90\x80\x80", 0, 0},  // beyond 10FFFF
      {"1234567\xE2\x82", 7, 7},   // cut short
      {"12345678\x80", 8, 8},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Unicode::wellFormedLength(c.text, Surrogates::refused), c.strict) << c.text;
    EXPECT_EQ(Unicode::wellFormedLength(c.text, Surrogates::allowed), c.extended) << c.text;
  }
}

TEST(Unicode, WritesWhatCannotBeSeenVisibly) {
  std::string text = "=";
  Unicode::appendVisible(text, "a\nb\r\t\x1B[1m\x7F\0\xC2\x85\xED\xA0\x80\xFF \xC3\xA9\\n"s);
  EXPECT_EQ(text, "=a\\nb\\r\\t\\x1B[1m\\x7F\\x00\\xC2\\x85\\xED\\xA0\\x80\\xFF \xC3\xA9\\n");
  // Only the borders of what ends lines and turns text; beside them stand dashes and dots.
  const std::pair<const char*, bool> borders[] = {
      {"\xC2\x9F", true},      {"\xC2\xA0", false},    {"\xE2\x80\xA7", false},
      {"\xE2\x80\xA8", true},  {"\xE2\x80\xAE", true}, {"\xE2\x80\xAF", false},
      {"\xE2\x81\xA5", false}, {"\xE2\x81\xA6", true}, {"\xE2\x81\xA9", true},
      {"\xE2\x81\xAA", false}, {"\xE2\x80", true},     {"\xE3\x80\xA8", false}};
  for (const auto& [character, isHidden] : borders) {
    text.clear();
    Unicode::appendVisible(text, character);
    EXPECT_EQ(text != character, isHidden) << text;
  }
}

TEST(Json, KeepsKindsApart) {
  const auto value =
      parseJson(R"({"i":9007199254740993,"u":18446744073709551615,"r":443.0,"b":true,"b":false})");
  const JsonObject& object = value->get_object();
  EXPECT_EQ(*findInteger(object, "i"), 9007199254740993);
  for (const char* other : {"r", "u", "b"}) EXPECT_EQ(findInteger(object, other), nullptr) << other;
  EXPECT_EQ(*findBool(object, "b"), false) << "of equal keys the last one counts";
}

TEST(Json, RefusesWhatIsNoText) {
  // They are searched for unpaired surrogates and then read once more.
  for (const char* text : {R"({"a":"\ud8"})", R"({"a":"\ud800\q"})", "{\"\xFF\":\"\\ud800\"}"}) {
    EXPECT_FALSE(parseJson(text)) << text;
  }
  for (const std::string text : {"\xFF", "\xE2\x82", "\xED\xA0"})
    EXPECT_FALSE(serializeJson({{"a", text}}));
}

TEST(Json, WritesObjectsCompactlyAndEscapesWhatItMust) {
  std::string all;
  for (char character = 0; character < 0x40; ++character) all += character;
  const std::string odd = all + "\\\x7F/\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xBF\xA9{";
  JsonWriter json;
  for (const std::string& text : {std::string(3'000, 'a') + odd, odd, ""s}) {
    json.write([&](JsonWriter& object) {
      object.text("t", text);
      object.object("o", [](JsonWriter& inner) {
        for (const char* key : {"a", "b"}) inner.boolean(key, *key == 'a');
      });
      object.object("e", [](JsonWriter&) {});
      object.integer("i", INT64_MIN);
    });
    const JsonObject same{
        {"t", text}, {"o", {{"a", true}, {"b", false}}}, {"e", JsonObject()}, {"i", INT64_MIN}};
    EXPECT_EQ(json.view(), boost::json::serialize(same));
    EXPECT_EQ(json.memberCount(), 4U);
  }
  EXPECT_EQ(withSurrogatesEscaped("\"a\xED\xA0\x80\xED\xBF\xA9\xC3\xA9\""),
            "\"a\\ud800\\udfe9\xC3\xA9\"");
  for (const char* text : {"\xFF", "a\xED\xA0\x80\xE2\x82", "\xED\xA0"})
    EXPECT_FALSE(withSurrogatesEscaped(text)) << text;
}

}  // namespace
}  // namespace corvane
