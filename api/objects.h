// What stands behind the pointers of xrdframe.h.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "frames/frame.h"
#include "pictures/save.h"
#include "xrdframe.h"

struct xrd_lines {
  std::vector<std::string> texts;
};

struct xrd_options {
  std::optional<std::string> format;  // keyword or ending; loading and saving look it up
  frames::LoadOptions reading;
  pictures::SaveOptions saving;
};

namespace api {

// The numbers of points that were set one by one; NaN for one that was not.
struct Halves {
  static constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();

  frames::Point pixel_size{kUnset, kUnset};
  frames::Point beam_centre{kUnset, kUnset};
};

}  // namespace api

struct xrd_frame {
  frames::Frame frame;
  xrd_lines notes;  // those of the frame, printable
  api::Halves halves;
};
