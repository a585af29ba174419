// The values of a frame's header under the names that users see: those of `xrdimage info --json` and of the
// Python package.
#pragma once

#include "frames/frame.h"

namespace frames {

// Calls visit(name, value) for each value, and visit(name of x, name of y, value) for each point.
template <typename AnyHeader, typename Visit>
void visit_header(AnyHeader& header, const Visit& visit) {
  visit("wavelength_angstrom", header.wavelength);
  visit("distance_mm", header.distance);
  visit("oscillation_start_degrees", header.oscillation_start);
  visit("oscillation_range_degrees", header.oscillation_range);
  visit("exposure_seconds", header.exposure_time);
  visit("pixel_width_mm", "pixel_height_mm", header.pixel_size);
  visit("beam_x_pixels", "beam_y_pixels", header.beam_centre);
  visit("saturation_counts", header.saturation);
  visit("date", header.date);
  visit("detector", header.detector);
}

}  // namespace frames
