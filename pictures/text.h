// Lines and letters on pictures.
#pragma once

#include <string_view>

#include "pictures/picture.h"

namespace pictures {

struct Pen {
  std::uint8_t ink = 0;
  std::uint8_t paper = 0;
  int line = 1;  // pixels that a line is wide
  int text = 1;  // pixels that a dot of a letter is wide and high
};

// Large pictures are shown reduced, so their lines and letters grow with them.
Pen pen_for(int width, int height, const Colors& colors);

struct PixelPlace {
  int x = 0;
  int y = 0;
};

// Pixels from `left` to before `right`, and from `top` to before `bottom`.
struct Box {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  bool contains(const PixelPlace& place) const {
    return place.x >= left && place.x < right && place.y >= top && place.y < bottom;
  }
  bool within(const Picture& picture) const {
    return left >= 0 && top >= 0 && right <= picture.width && bottom <= picture.height;
  }
  bool meets(const Box& other) const {
    return left < other.right && other.left < right && top < other.bottom && other.top < bottom;
  }
};

// The part of the box that is in the picture.
void fill_box(Picture& picture, Box box, std::uint8_t entry);

// The size of a text with a rim of one dot around it.
int text_width(std::string_view text, const Pen& pen);
int text_height(const Pen& pen);

// Letters in ink with a rim of paper, so that they are legible on every ground. The text is UTF-8; the place is the
// upper left corner of its room. Characters that the font lacks are left blank.
void draw_text(Picture& picture, const PixelPlace& corner, std::string_view text, const Pen& pen);

}  // namespace pictures
