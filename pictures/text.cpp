#include "pictures/text.h"

#include <algorithm>
#include <array>

namespace pictures {

namespace {

constexpr int kColumns = 5;
constexpr int kRows = 7;

struct Glyph {
  std::string_view character;
  std::array<std::string_view, kRows> rows;
};

// clang-format off
constexpr std::array kFont{
    Glyph{"0", {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    Glyph{"1", {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    Glyph{"2", {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    Glyph{"3", {"#####", "   # ", "  #  ", "   # ", "    #", "#   #", " ### "}},
    Glyph{"4", {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    Glyph{"5", {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    Glyph{"6", {"  ## ", " #   ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    Glyph{"7", {"#####", "    #", "   # ", "  #  ", " #   ", " #   ", " #   "}},
    Glyph{"8", {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    Glyph{"9", {" ### ", "#   #", "#   #", " ####", "    #", "   # ", " ##  "}},
    Glyph{".", {"     ", "     ", "     ", "     ", "     ", " ##  ", " ##  "}},
    Glyph{"-", {"     ", "     ", "     ", "#####", "     ", "     ", "     "}},
    Glyph{"Å", {"  #  ", " # # ", "  #  ", " # # ", "#   #", "#####", "#   #"}},
};
// clang-format on

// Removes the first character of the text, and returns it.
std::string_view take_character(std::string_view& text) {
  std::size_t bytes = 1;
  while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) ++bytes;
  const std::string_view character = text.substr(0, bytes);
  text.remove_prefix(bytes);
  return character;
}

// Dots of a text, counted from the corner inside of its rim.
std::vector<PixelPlace> dots_of(std::string_view text) {
  std::vector<PixelPlace> dots;
  for (int left = 0; !text.empty(); left += kColumns + 1) {
    const auto* glyph = std::ranges::find(kFont, take_character(text), &Glyph::character);
    if (glyph == kFont.end()) continue;
    for (int row = 0; row < kRows; ++row) {
      for (int column = 0; column < kColumns; ++column) {
        if (glyph->rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] == '#') {
          dots.push_back({left + column, row});
        }
      }
    }
  }
  return dots;
}

}  // namespace

Pen pen_for(int width, int height, const Colors& colors) {
  // In a long strip, lines and letters grow with its shorter side.
  const int size = std::min(std::max(width, height), 4 * std::min(width, height) + 700);
  return {colors.ink, colors.paper, 1 + size / 1000, 1 + size / 700};
}

void fill_box(Picture& picture, Box box, std::uint8_t entry) {
  box.left = std::max(box.left, 0);
  box.right = std::min(box.right, picture.width);
  box.bottom = std::min(box.bottom, picture.height);
  for (int y = std::max(box.top, 0); y < box.bottom; ++y) {
    const auto row = picture.pixels.begin() + std::ptrdiff_t{y} * picture.width;
    if (box.left < box.right) std::fill(row + box.left, row + box.right, entry);
  }
}

int text_width(std::string_view text, const Pen& pen) {
  int characters = 0;
  for (; !text.empty(); take_character(text)) ++characters;
  return (characters * (kColumns + 1) + 1) * pen.text;
}

int text_height(const Pen& pen) {
  return (kRows + 2) * pen.text;
}

void draw_text(Picture& picture, const PixelPlace& corner, std::string_view text, const Pen& pen) {
  const std::vector<PixelPlace> dots = dots_of(text);
  for (const PixelPlace& dot : dots) {
    const int x = corner.x + dot.x * pen.text;
    const int y = corner.y + dot.y * pen.text;
    fill_box(picture, {x, y, x + 3 * pen.text, y + 3 * pen.text}, pen.paper);
  }
  for (const PixelPlace& dot : dots) {
    const int x = corner.x + (dot.x + 1) * pen.text;
    const int y = corner.y + (dot.y + 1) * pen.text;
    fill_box(picture, {x, y, x + pen.text, y + pen.text}, pen.ink);
  }
}

}  // namespace pictures
