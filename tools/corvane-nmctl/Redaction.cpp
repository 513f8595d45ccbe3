#include "tools/corvane-nmctl/Redaction.h"

#include <algorithm>
#include <cctype>
#include <system_error>
#include <utility>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"
#include "tools/corvane-nmctl/LogRecord.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

constexpr std::size_t timeLength = std::string_view("2026/11/21 19:05:23:123  ").size();
constexpr int lastSystemError = 133;

bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || (c & 0x80) != 0;
}

void replaceAll(std::string& text, const std::string& what, const std::string& by, bool isWord) {
  if (what.empty()) return;
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos;) {
    const std::size_t end = at + what.size();
    const bool isInWord = (at > 0 && isWordCharacter(text[at - 1])) ||
                          (end < text.size() && isWordCharacter(text[end]));
    if (isWord && isInWord) {
      at = end;
      continue;
    }
    text.replace(at, what.size(), by);
    at += by.size();
  }
}

/// Where the fixed words of a message end: what comes from outside stands behind one of these.
std::size_t endOfFixedWords(std::string_view message) {
  for (std::size_t at = 0; at < message.size(); ++at) {
    const char c = message[at];
    const bool isQuote = c == '"' || (c == '\'' && (at == 0 || message[at - 1] == ' '));
    if (isQuote || c == ':' || c == '=' || c == '{' || c == '<' || c == '/' || c == '|') return at;
  }
  return message.size();
}

std::string systemErrorsIn(std::string_view text) {
  std::string found;
  for (int error = 1; error <= lastSystemError; ++error) {
    const std::string words = std::generic_category().message(error);
    if (text.ends_with(words)) found = " " + words;
  }
  return found;
}

bool isSize(std::string_view word) {
  const std::size_t digits = std::min(word.find_first_not_of("0123456789"), word.size());
  return digits > 0 && word.substr(digits) == "bytes";
}

/// Whether a word that may come from outside says nothing about what people do.
bool isHarmless(std::string_view word) {
  return word == "true" || word == "false" || isSize(word) ||
         RequestProcessing::findBrowserCommand(word) != nullptr;
}

/// The harmless words of `text`, each behind a blank. Only whole words count, but for punctuation
/// around them: a part of an address or of a rule is not harmless whatever it looks like.
std::string harmlessWordsIn(std::string_view text) {
  constexpr std::string_view punctuation = "(),:";
  std::string kept;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    std::string_view word = text.substr(at, end - at);
    word.remove_prefix(std::min(word.find_first_not_of(punctuation), word.size()));
    word = word.substr(0, word.find_last_not_of(punctuation) + 1);
    if (isHarmless(word)) kept.append(" ").append(word);
    at = end + 1;
  }
  return kept;
}

/// Only what consists of the words of a program: letters, digits, blanks and the signs of
/// identifiers.
bool isOfPlainWords(std::string_view place) {
  return std::all_of(place.begin(), place.end(), [](char c) {
    return isWordCharacter(c) || std::string_view(" ()[]:+-.").find(c) != std::string_view::npos;
  });
}

}  // namespace

Redaction::Redaction(std::vector<std::string> homes) : homes_(std::move(homes)) {
  const std::size_t count = homes_.size();
  for (std::size_t i = 0; i < count; ++i) homes_.push_back(resolvedPath(homes_[i]));
  std::sort(homes_.begin(), homes_.end(),  // one may lie in another
            [](const auto& one, const auto& other) { return one.size() > other.size(); });
}

std::string Redaction::text(std::string_view text) const {
  std::string result(text);
  for (const std::string& home : homes_)
    if (home.size() > 1) replaceAll(result, home, "~", false);
  for (const std::string& home : homes_)
    replaceAll(result, home.substr(home.rfind('/') + 1), "USER", true);
  return result;
}

std::string Redaction::logLine(std::string_view line) const {
  if (line.size() < timeLength) return "…";
  const std::string time(line.substr(0, timeLength));
  std::string_view message = line.substr(timeLength);
  std::size_t placeEnd = endOfPlace(message);
  if (!isOfPlainWords(message.substr(0, placeEnd))) placeEnd = 0;
  const std::string place(message.substr(0, placeEnd));
  message.remove_prefix(placeEnd);
  const std::size_t end = endOfFixedWords(message);
  std::string kept(message.substr(0, end));
  if (end < message.size())
    kept += "…" + harmlessWordsIn(message.substr(end)) + systemErrorsIn(message);
  return text(time + place + kept);
}

}  // namespace corvane::Nmctl
