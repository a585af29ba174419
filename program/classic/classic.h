// Frames as callers of the flat library get them: what its readers return instead of true counts.
#pragma once

#include <string>

#include "frames/frame.h"
#include "frames/remarks.h"
#include "program/program.h"

namespace program {

struct ClassicRequest {
  const std::string& path;
  const frames::LoadOptions& options;
  const Settings& settings;
  frames::Remarks& remarks;
};

// Detects the type and reads the frame with functions of the library. An ERROR that they print is a Failure, a WARNING
// a remark. No pixel is masked: overflow marks are counts like any other.
frames::Frame read_classic(const ClassicRequest& request);

}  // namespace program
