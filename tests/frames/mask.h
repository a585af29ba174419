// Masks, as short as tests want them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "frames/frame.h"

namespace test {

// The mask of pixels whose count is unknown where it says so.
inline std::vector<std::uint8_t> unknown(std::initializer_list<bool> pixels) {
  std::vector<std::uint8_t> mask;
  for (const bool is_unknown : pixels) mask.push_back(is_unknown ? frames::kUnknown : 0);
  return mask;
}

}  // namespace test
