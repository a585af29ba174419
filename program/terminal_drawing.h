// Pictures for terminals. Each function returns the text to write to the terminal.
#pragma once

#include <cstdio>
#include <string>

#include "pictures/picture.h"
#include "program/terminal.h"

namespace program {

// kitty's graphics protocol: the PNG picture in chunks.
std::string kitty_drawing(const pictures::Picture& picture);

// Sixels: six rows at a time, one line per colour.
std::string sixel_drawing(const pictures::Picture& picture);

// Two pixels above each other in a character. `true_color` means 24 bits per colour, otherwise there are 256 colours.
std::string block_drawing(const pictures::Picture& picture, bool true_color);

// A character per pixel, by its level among the levels of the colours; '?' where the count is unknown, 'o' for ink.
std::string ascii_drawing(const pictures::Picture& picture, const pictures::Colors& colors);

// The frame in a size that leaves two rows for a prompt.
void draw_in_terminal(const frames::Frame& frame, const pictures::PictureOptions& options, const Terminal& terminal,
                      std::FILE* out, frames::Remarks& remarks);

}  // namespace program
