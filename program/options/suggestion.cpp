#include "program/options/suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace program {

namespace {

std::string in_lower_case(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// How many letters must be inserted, removed, changed, or exchanged with their neighbours.
std::size_t distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> before_last(to.size() + 1);
  std::vector<std::size_t> last(to.size() + 1);
  std::vector<std::size_t> row(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    before_last.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t changed = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
      const bool is_exchanged = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (is_exchanged) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
  }
  return row[to.size()];
}

// The longer a word, the more of its letters may be wrong, but never half of them. Dashes do not count.
std::size_t most_mistakes(const std::string& word) {
  constexpr std::size_t kLong = 6;
  const std::size_t letters = word.size() - std::min(word.find_first_not_of("-."), word.size());
  if (letters < 3) return 0;
  return letters < kLong ? 1 : 2;
}

}  // namespace

std::string suggestion(const std::string& typed, const std::vector<std::string>& words) {
  const std::string plain = in_lower_case(typed);
  const std::string* nearest = nullptr;
  std::size_t least = 0;
  for (const std::string& word : words) {
    const std::size_t most = most_mistakes(word);
    if (plain.size() > word.size() + most) continue;  // it may be as long as it likes
    const std::size_t mistakes = distance(plain, word);
    if (mistakes > most || (nearest != nullptr && mistakes >= least)) continue;
    nearest = &word;
    least = mistakes;
  }
  return nearest == nullptr ? "" : "; did you mean " + *nearest + "?";
}

}  // namespace program
