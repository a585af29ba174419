// Frames whose counts stand in the test.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "frames/frame.h"

namespace test {

inline frames::Frame frame_of(int width, int height, const std::vector<std::uint32_t>& counts, bool is_signed = false) {
  frames::Frame frame;
  frame.width = width;
  frame.height = height;
  frame.counts = frames::Counts(counts.size());
  std::ranges::copy(counts, frame.counts.begin());
  frame.is_signed = is_signed;
  return frame;
}

}  // namespace test
