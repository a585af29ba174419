// The options about pictures.
#pragma once

#include "pictures/picture.h"
#include "program/options/command_line.h"

namespace program {

inline constexpr const char* kPictureGroup = "Pictures";

void add_picture_options(Command& command, pictures::PictureOptions& options);

}  // namespace program
