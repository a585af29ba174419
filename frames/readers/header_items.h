// Text headers in braces, "{ KEY = value; ... }", as ADSC-style and EDF frames begin with.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frames/frame.h"

namespace frames {

// The text without the blanks, line ends and NULs around it.
std::string_view trimmed(std::string_view text);

std::string lower_case(std::string_view text);

// The number at the front of the text, after blanks; nothing if there is no finite number.
std::optional<double> number_in(std::string_view text);

// Numbers that are measurements only if above zero: headers have 0 for unmeasured values.
std::optional<double> above_zero(std::optional<double> number);

class HeaderItems {
 public:
  // Reads the items up to the closing brace, or to the end of `text` if there is none. A semicolon or a line's end
  // closes an item. If a key occurs twice, the first counts. Items behind the first ten thousand are left out: no
  // header has so many.
  explicit HeaderItems(std::string_view text);

  // Keys are asked for in lower case and found in any.
  bool has(std::string_view key) const { return items_.find(key) != items_.end(); }

  // All of them, in the order and spelling of the text.
  const std::vector<HeaderItem>& in_order() const { return in_order_; }

  std::optional<std::string> text(std::string_view key) const;
  std::optional<double> number(std::string_view key) const;
  std::optional<long long> integer(std::string_view key) const;

  // Whether a key begins with this.
  bool has_prefix(std::string_view prefix) const;

  // Whether the closing brace may be behind the end of the text, if that is the front of a file.
  bool is_open() const { return !end_ && !is_longest_; }

  // The place behind the closing brace; nothing if there is none.
  std::optional<std::size_t> end() const { return end_; }

 private:
  std::vector<HeaderItem> in_order_;
  std::map<std::string, std::size_t, std::less<>> items_;  // the first of each key, which is in lower case
  std::optional<std::size_t> end_;
  bool is_longest_ = false;
};

// Whether the text begins with a brace, after blanks.
bool begins_with_brace(std::string_view text);

// No header in braces is longer; a brace behind this belongs to the pixels.
inline constexpr std::size_t kLongestHeader = std::size_t{1} << 20;

}  // namespace frames
