#pragma once

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <string>

#include "Base/Json.h"

/// Messages of about the length asked for, as an extension might send them.
namespace corvane::bench {

inline constexpr std::size_t megabyte = 1'000'000;

/// One with a text that fills it.
inline JsonObject oneString(std::size_t length) {
  constexpr char words[] = "https://www.example.com/articles/why-the-sea-is-blue?page=2&from=5f2b ";
  constexpr std::size_t rest = 60;
  std::string text;
  text.reserve(length);
  while (text.size() + rest < length) text += words[text.size() % (sizeof words - 1)];
  return {{"type", "getCurrentAppState"}, {"id", "1"}, {"data", text}};
}

/// One with a list of objects of 1 KB each.
inline JsonObject manyObjects(std::size_t length) {
  constexpr std::size_t lengthOfOne = 1000;
  boost::json::array list;
  for (std::size_t i = 0; i < length / lengthOfOne; ++i) {
    JsonObject one{{"index", i}, {"isEnabled", i % 2 == 0}, {"weight", 0.125}, {"note", nullptr}};
    one["address"] = {{"host", "www.example.com"}, {"port", 443}};
    one["counts"] = {1, 20, 300, 4000};
    for (const char* const key : {"title", "text", "referrer"}) {
      one[key] = oneString(lengthOfOne / 3).at("data");
    }
    list.push_back(std::move(one));
  }
  return {{"type", "getCurrentAppState"}, {"id", "1"}, {"parameters", {{"list", std::move(list)}}}};
}

}  // namespace corvane::bench
