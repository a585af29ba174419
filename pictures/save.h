// Frames as files of every format that is written, pictures included.
#pragma once

#include <cstdio>

#include "frames/formats.h"
#include "pictures/picture.h"

namespace pictures {

struct SaveOptions {
  frames::WriteOptions writing;
  PictureOptions picture;
};

// Writes the whole file to a new, empty, seekable stream. Write errors show in the stream's error state; any
// other failure is a std::runtime_error with one line without the path.
void write_frame(const frames::Frame& frame, const frames::FileFormat& format, const SaveOptions& options,
                 std::FILE* stream, frames::Remarks& remarks);

}  // namespace pictures
