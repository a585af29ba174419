#include "frames/readers/header_items.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace frames {

namespace {

constexpr std::string_view kBlanks("\0 \t\r\n\f", 6);

constexpr std::size_t kMostItems = 10000;

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  // Not by tolower: keys are the same in every locale.
  std::ranges::transform(lower, lower.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return lower;
}

std::optional<double> number_in(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0.0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<double> above_zero(std::optional<double> number) {
  return number && *number > 0.0 ? number : std::nullopt;
}

HeaderItems::HeaderItems(std::string_view text) {
  is_longest_ = text.size() >= kLongestHeader;
  text = text.substr(0, kLongestHeader);
  const std::size_t brace = text.find('}');
  if (brace != std::string_view::npos) {
    end_ = brace + 1;
    text = text.substr(0, brace);
  }
  text.remove_prefix(std::min(text.size(), text.find('{') + 1));
  while (in_order_.size() < kMostItems && !text.empty()) {
    const std::size_t length = std::min(text.size(), text.find_first_of(";\n"));
    const std::string_view item = text.substr(0, length);
    const std::size_t equals = item.find('=');
    if (equals != std::string_view::npos) {
      const std::string_view key = trimmed(item.substr(0, equals));
      items_.emplace(lower_case(key), in_order_.size());
      in_order_.push_back({std::string(key), std::string(trimmed(item.substr(equals + 1)))});
    }
    text.remove_prefix(std::min(text.size(), length + 1));
  }
}

std::optional<std::string> HeaderItems::text(std::string_view key) const {
  const auto item = items_.find(key);
  if (item == items_.end()) return std::nullopt;
  const std::string& text = in_order_[item->second].text;
  return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<double> HeaderItems::number(std::string_view key) const {
  const auto value = text(key);
  return value ? number_in(*value) : std::nullopt;
}

std::optional<long long> HeaderItems::integer(std::string_view key) const {
  constexpr double kLargest = 1e15;  // far above every size, and exact as a double
  const auto value = number(key);
  return value && std::abs(*value) < kLargest ? std::optional(std::llround(*value)) : std::nullopt;
}

bool HeaderItems::has_prefix(std::string_view prefix) const {
  const auto item = items_.lower_bound(prefix);
  return item != items_.end() && item->first.starts_with(prefix);
}

bool begins_with_brace(std::string_view text) {
  return trimmed(text.substr(0, 16)).starts_with('{');
}

}  // namespace frames
