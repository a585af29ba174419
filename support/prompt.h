// The question for an image's size, asked where a file does not tell it.
#pragma once

namespace xrd {

struct PromptedSize {
  int width;
  int height;
};

// Asks on standard output and reads one line of standard input. Anything but two numbers gives the default.
PromptedSize ask_detector_size(PromptedSize by_default);

}  // namespace xrd
