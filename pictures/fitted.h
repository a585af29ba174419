// Frames made to fit a screen.
#pragma once

#include "frames/frame.h"

namespace pictures {

// The room for a picture, and the height of a screen pixel in units of its width: characters are higher than wide.
struct Room {
  int width = 0;
  int height = 0;
  int pixel_height = 1;
};

// The frame in the largest size that fits. A block of pixels becomes one, the rounded mean of the known counts, or
// unknown if none is known; pixels of small frames become blocks. The header's geometry stays true.
frames::Frame fitted(const frames::Frame& frame, const Room& room);

}  // namespace pictures
