#include "program/options/picture.h"

#include "pictures/options.h"
#include "program/options/table.h"

namespace program {

void add_picture_options(Command& command, pictures::PictureOptions& options) {
  add_options(command, pictures::picture_options(), options, kPictureGroup);
}

}  // namespace program
