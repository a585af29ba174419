#include "pictures/save.h"

#include <stdexcept>
#include <string>

#include "pictures/png.h"

namespace pictures {

void write_frame(const frames::Frame& frame, const frames::FileFormat& format, const SaveOptions& options,
                 std::FILE* stream, frames::Remarks& remarks) {
  if (format.abilities.is_picture) {
    write_png(draw_picture(frame, options.picture, remarks), stream);
  } else if (format.write != nullptr) {
    format.write(frame, options.writing, stream, remarks);
  } else {
    throw std::runtime_error(std::string("cannot be written as ") + format.keyword + ": this format is only read");
  }
}

}  // namespace pictures
