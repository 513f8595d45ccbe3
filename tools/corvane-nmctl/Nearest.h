#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::Nmctl {

/// How many letters must be inserted, removed or replaced to make `right` of `left`.
inline std::size_t editDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char letter : left) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t replaced = diagonal + (letter == right[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

/// "; did you mean NAME?" with the name of one of `items` that is spelled much like `word`; "" when
/// there is none. `nameOf` gives the name of an item.
template <class Items, class NameOf>
std::string didYouMean(std::string_view word, const Items& items, NameOf nameOf) {
  constexpr std::size_t tooFar = 4;
  std::size_t best = std::min(tooFar, word.size());
  std::string hint;
  for (const auto& item : items) {
    const std::string_view name = nameOf(item);
    if (const std::size_t distance = editDistance(word, name); distance < best) {
      best = distance;
      hint = "; did you mean " + std::string(name) + "?";
    }
  }
  return hint;
}

}  // namespace corvane::Nmctl
