#include "support/header_keys.h"

#include <algorithm>

#include "support/c_locale.h"
#include "support/format_text.h"
#include "support/reading.h"

namespace xrd {

namespace {

// Tries one pattern on the line; one overload for each kind of value.
struct Matcher {
  const char* line;
  const char* pattern;

  template <typename Number>
  bool operator()(Number* number) const {
    return std::sscanf(line, pattern, number) == 1;
  }

  bool operator()(std::span<char> field) const {
    HeaderWord word{};
    if (std::sscanf(line, pattern, word.data()) != 1) return false;
    format_text(field, word.data());
    return true;
  }

  bool operator()(const HeaderWords& kept) const {
    std::array<HeaderWord, 5> words{};
    const int found =
        std::sscanf(line, pattern, words[0].data(), words[1].data(), words[2].data(), words[3].data(), words[4].data());
    if (found != kept.count) return false;
    std::copy_n(words.begin(), kept.count, kept.words);
    return true;
  }
};

}  // namespace

const HeaderKey* match_header_line(const char* line, std::span<const HeaderKey> keys) {
  const CLocale locale;
  for (const HeaderKey& key : keys) {
    if (std::visit(Matcher{line, key.pattern}, key.value)) return &key;
  }
  return nullptr;
}

void read_braced_header(std::FILE* stream, std::span<const HeaderKey> keys) {
  HeaderWord line{};
  while (read_line(line, stream) && line[0] != '}') {
    match_header_line(line.data(), keys);
  }
}

}  // namespace xrd
