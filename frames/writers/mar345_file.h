// Writes mar345 image plate frames of the newer layout.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "frames/frame.h"

namespace frames {

// A square frame and its header values. Lines of unknown values are left out or 0, as readers expect.
struct Mar345Frame {
  int size = 0;                        // pixels per row, and rows
  std::vector<std::uint32_t> counts;   // size x size
  std::vector<bool> unknown;           // pixels whose count is unknown; empty when there are none
  std::optional<double> pixel_length;  // micrometres
  std::optional<double> pixel_height;
  std::optional<double> wavelength;  // ångström
  std::optional<double> distance;    // millimetres
  std::optional<Point> centre;       // pixels
  std::optional<double> phi_start;   // degrees
  std::optional<double> phi_end;
  std::optional<double> exposure_seconds;
  std::optional<double> kilovolt;
  std::optional<double> milliampere;
  std::string program;
  std::string date;
  std::string remark;
  std::string detector = "mar345";
};

// Counts above 65535 and unknown ones become overflow records; those of unknown ones hold -1. Write errors show in the
// stream's state.
void write_mar345(const Mar345Frame& frame, std::FILE* stream);

}  // namespace frames
