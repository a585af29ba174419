// The question for an image's size, asked if the file does not state it.
#pragma once

namespace xrd {

struct DetectorSize {
  int width;
  int height;
};

// Asks on standard output and reads one line of standard input. Anything but two numbers gives the default.
DetectorSize ask_detector_size(DetectorSize by_default);

}  // namespace xrd
