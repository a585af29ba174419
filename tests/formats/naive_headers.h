// What the tests of text-headed formats share: headers taken apart as one would by hand, to hold the library's reading
// against; random ones to try; and damaged ones.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/c_locale.h"
#include "tests/damage.h"

namespace test {

inline std::string zeros(std::size_t count) {
  std::string bytes;
  bytes.resize(count);
  return bytes;
}

// The most memory that the process has had so far.
inline long peak_memory_kib() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

inline constexpr std::string_view kBlanks = " \t\n\v\f\r";

struct BracedHeader {
  std::vector<std::string> lines;  // without the one that begins with a closing brace
  std::size_t end = 0;             // where the data begin
};

// Lines end with a line feed or after 255 characters, whatever comes first; the text of a line ends at its first NUL.
inline BracedHeader split_header(std::string_view bytes) {
  BracedHeader header;
  while (header.end < bytes.size()) {
    std::string_view line = bytes.substr(header.end, 255);
    const std::size_t line_feed = line.find('\n');
    if (line_feed != std::string_view::npos) line = line.substr(0, line_feed + 1);
    header.end += line.size();
    if (line.front() == '}') break;
    header.lines.emplace_back(line.substr(0, line.find('\0')));
  }
  return header;
}

// What follows the key on each line that begins with it.
inline std::vector<std::string> texts_after(const std::vector<std::string>& lines, std::string_view key) {
  std::vector<std::string> texts;
  for (const std::string& line : lines) {
    if (line.starts_with(key)) texts.push_back(line.substr(key.size()));
  }
  return texts;
}

inline std::optional<int> whole_number(const std::string& text) {
  int number = 0;
  return std::sscanf(text.c_str(), "%d", &number) == 1 ? std::optional(number) : std::nullopt;
}

inline std::optional<double> real_number(const std::string& text) {
  const xrd::CLocale locale;
  double number = 0;
  return std::sscanf(text.c_str(), "%lf", &number) == 1 ? std::optional(number) : std::nullopt;
}

inline std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> found;
  for (std::string word; stream >> word;) found.push_back(word);
  return found;
}

// The text behind its first word; nothing when it has no word.
inline std::optional<std::string> behind_first_word(const std::string& text) {
  const std::size_t word = text.find_first_not_of(kBlanks);
  if (word == std::string::npos) return std::nullopt;
  const std::size_t end = text.find_first_of(kBlanks, word);
  return end == std::string::npos ? std::string() : text.substr(end);
}

// A formatted print.
template <typename... Values>
std::string printed(const char* format, Values... values) {
  const xrd::CLocale locale;
  std::string text(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, values...)), '\0');
  std::snprintf(text.data(), text.size() + 1, format, values...);
  return text;
}

// What the text becomes as a format string when each conversion takes the value zero, cut at `length`.
std::string as_format(const std::string& text, std::size_t length);

using Random = std::mt19937;

inline bool once_in(Random& random, std::size_t count) {
  return random_below(random, count) == 0;
}

template <typename Choices>
std::string random_of(Random& random, const Choices& choices) {
  return std::string(*(std::begin(choices) + random_below(random, std::size(choices))));
}

inline std::string random_bytes(Random& random, std::size_t size) {
  std::string bytes(size, '\0');
  std::ranges::generate(bytes, [&random] { return static_cast<char>(random()); });
  return bytes;
}

// Values that convert, that convert in part, and that don't. None is too large for an int.
inline constexpr auto kNumbers = std::to_array<std::string_view>(
    {"0",   "1",   "2",    "3",  "5",   "7",   "12", "-1",    "-300", "+4",  "012",  "0x10",  "  6",
     "\t9", "3.7", "-2.5", ".5", "5.",  "1e2", "1e", "1e-3x", "1e99", "nan", "-inf", "20000", "4;5",
     "4 5", "1,5", "",     " ",  "abc", "x12", "-",  "- 3",   "+-3",  "%d",  "--1",  "0x",    "\x82\xB2"});

// Words as in headers, and words that mean something as a format string.
inline constexpr auto kWords = std::to_array<std::string_view>(
    {"fast",
     "1x1",
     "a_word_longer_than_any_field_for_texts_of_headers_is_and_it_goes_on_beyond_its_eightieth_sign",
     "x",
     "",
     " blanks",
     "\ttab",
     "two words",
     "half%",
     "%d",
     "%5d",
     "%-4d|",
     "%05d",
     "%+d",
     "%.3d",
     "%x",
     "%#X",
     "%f",
     "%.1e",
     "%g",
     "%s",
     "%c",
     "%n",
     "%hhn",
     "%%",
     "%%d",
     "%ld",
     "%llu",
     "%lf",
     "%s%s%s%s",
     "%n%n",
     "%300d",
     "%.400f",
     "10%",
     "%5",
     "%-08.3l",
     "%;",
     "%y",
     "\xFC%d",
     "a%sb%cc%dd"});

// A line begun with the item: ended as editors do, not at all, or filled up to lengths around those that are read at
// once.
inline std::string random_line(Random& random, std::string item) {
  if (once_in(random, 12)) item.insert(0, random_of(random, std::to_array<std::string_view>({" ", "x", "{", "\t"})));
  if (once_in(random, 12)) item.resize(random_below(random, item.size() + 1));
  if (once_in(random, 12)) item.insert(random_below(random, item.size() + 1), 1, '\0');
  if (once_in(random, 6)) {
    const std::size_t lengths[] = {254, 255, 256, 1000};
    const std::size_t length = lengths[random_below(random, 4)];
    const std::string filling = random_of(random, std::to_array<std::string_view>({" ", "x", "%d", "1 ", "\0"}));
    while (item.size() < length) item += filling.empty() ? std::string(1, '\0') : filling;
    item.resize(length);
  }
  const std::string ending =
      random_of(random, std::to_array<std::string_view>({"\n", "\n", "\n", "\n", "\r\n", "", "\n\n"}));
  // A percent sign must not turn the next line's key into a conversion that only some systems know.
  const bool open = ending.empty() && item.find('%', item.size() - std::min<std::size_t>(item.size(), 10)) != item.npos;
  return item + (open ? "\n" : ending);
}

// Seldom missing.
inline std::string random_closing_line(Random& random) {
  if (once_in(random, 8)) return {};
  std::string line = "}";
  line += random_of(random, std::to_array<std::string_view>({"", "", "\r", " behind", "}"}));
  if (once_in(random, 8)) line.resize(300, ' ');
  return line + "\n";
}

// Header items in random order, some of them several times and some missing, with what `item` makes of each key.
template <typename Keys, typename Item>
std::string random_items(Random& random, const Keys& keys, const Item& item) {
  std::string text;
  for (std::size_t count = random_below(random, 3 * std::size(keys)); count > 0; --count) {
    text += random_line(random, item(random_of(random, keys)));
  }
  return text;
}

// A new file, and its path. An old one is removed, not truncated: many file systems would bring its new bytes to the
// disk at once, which takes milliseconds.
inline std::string write_anew(const TemporaryDirectory& directory, std::string_view name, std::string_view bytes) {
  std::filesystem::remove(directory.path(name));
  return directory.write(name, bytes);
}

// Calls `read` with the path of each damaged copy of the sample: cut at every length of its header and at 100 places
// behind, and with random bytes among its first `header` + 20. Returns how many there were.
template <typename Read>
int read_damaged_copies(const TemporaryDirectory& directory, const std::string& sample, std::size_t header, int changes,
                        const Read& read) {
  int copies = 0;
  for (const std::size_t length : cut_lengths(header, sample.size())) {
    read(write_anew(directory, "damaged", std::string_view(sample).substr(0, length)));
    ++copies;
  }
  Random random(20040112);
  for (int change = 0; change < changes; ++change) {
    read(write_anew(directory, "damaged", with_random_bytes(sample, header + 20, random)));
    ++copies;
  }
  return copies;
}

}  // namespace test

// The word of messages that are not red, as callers see it.
#define PLAIN_ERROR "\033[0mERROR\033[0m"
