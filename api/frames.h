// What the functions on frames in xrdframe.h share.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "api/objects.h"
#include "frames/frame.h"

namespace api {

frames::Frame copy_of(const frames::Frame& frame);

xrd_lines printable_lines(const std::vector<std::string>& lines);

// A frame for the caller.
std::unique_ptr<xrd_frame> handle_of(frames::Frame frame);

// A Refusal if there is no frame, or if it has no counts.
const frames::Frame& with_counts(const xrd_frame* frame);

}  // namespace api
