// The options about pictures.
#pragma once

#include <CLI/CLI.hpp>

#include "pictures/picture.h"

namespace program {

void add_picture_options(CLI::App& command, pictures::PictureOptions& options);

}  // namespace program
