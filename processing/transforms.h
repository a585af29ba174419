// Transforms of pixels, without the messages of the exported functions.
#pragma once

#include <span>

namespace xrd {

// Each pixel p becomes 16777215 - p; larger ones wrap.
void invert(std::span<unsigned int> pixels);

// Logarithms to the base `scale` of pixels between `min` and `max`, stretched to `max`.
void take_logarithm(std::span<unsigned int> pixels, int scale, int min, int max);

}  // namespace xrd
