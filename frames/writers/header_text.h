// Text headers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace frames {

// The number with up to twelve digits, and with "." as the decimal point in every locale.
std::string number_text(double number);

// The text as a value in a header: one line of at most 200 characters, without what ends an item or the header.
std::string header_value(std::string_view text);

// Lines of a key and its value. Values that the frame's header lacks are left out.
class HeaderLines {
 public:
  // Keys are filled up with blanks to `key_width`.
  HeaderLines(std::size_t key_width, std::string_view equals, std::string_view end)
      : key_width_(key_width), equals_(equals), end_(end) {}

  void add(std::string_view key, std::string_view value);
  void add(std::string_view key, std::optional<double> number);
  void add_text(std::string_view key, const std::optional<std::string>& text);

  const std::string& text() const { return text_; }

 private:
  std::size_t key_width_;
  std::string_view equals_;
  std::string_view end_;
  std::string text_;
};

// A header in braces: the items, blanks up to a multiple of 512 bytes, the closing brace on a line of its own.
std::string braced_header(std::string items);

// The length of the header that braced_header makes.
std::size_t braced_header_bytes(std::size_t item_bytes);

}  // namespace frames
