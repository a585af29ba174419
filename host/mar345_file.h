// Writes mar345 image plate frames of the newer layout.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace host {

// A square frame and what its header tells.
struct Mar345Frame {
  int size = 0;                       // pixels per row, and rows
  std::vector<std::uint32_t> counts;  // size x size
  int pixel_micrometres = 0;
  double wavelength = 0;  // ångström
  double distance = 0;    // millimetres
  double phi_start = 0;   // degrees
  double phi_end = 0;
  double exposure_seconds = 0;
  double kilovolt = 0;
  double milliampere = 0;
  std::string program;
  std::string date;
  std::string remark;
};

// Counts above 65535 become overflow records. Write errors show in the stream's state.
void write_mar345(const Mar345Frame& frame, std::FILE* stream);

}  // namespace host
