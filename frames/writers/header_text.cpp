#include "frames/writers/header_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "frames/readers/header_items.h"

namespace frames {

namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kLongestValue = 200;  // readers take lines of 255 characters
constexpr std::string_view kOpening = "{\n";
constexpr std::string_view kClosing = "\n}\n";

bool ends_items(char letter) {
  return (letter >= 0 && letter < ' ') || letter == '\x7F' || letter == ';' || letter == '{' || letter == '}';
}

}  // namespace

std::string number_text(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, 12).ptr;
  return {text.data(), end};
}

std::string header_value(std::string_view text) {
  std::string value(text.substr(0, kLongestValue));
  std::ranges::replace_if(value, ends_items, ' ');
  return std::string(trimmed(value));
}

void HeaderLines::add(std::string_view key, std::string_view value) {
  std::string padded_key(key);
  padded_key.resize(std::max(key.size(), key_width_), ' ');
  text_.append(padded_key).append(equals_).append(value).append(end_);
}

void HeaderLines::add(std::string_view key, std::optional<double> number) {
  if (number && std::isfinite(*number)) add(key, number_text(*number));
}

void HeaderLines::add_text(std::string_view key, const std::optional<std::string>& text) {
  const std::string value = header_value(text.value_or(""));
  if (!value.empty()) add(key, value);
}

std::size_t braced_header_bytes(std::size_t item_bytes) {
  const std::size_t bytes = kOpening.size() + item_bytes + kClosing.size();
  return (bytes + kBlock - 1) / kBlock * kBlock;
}

std::string braced_header(std::string items) {
  const std::size_t bytes = braced_header_bytes(items.size());
  items.resize(bytes - kOpening.size() - kClosing.size(), ' ');
  return std::string(kOpening) + items + std::string(kClosing);
}

}  // namespace frames
