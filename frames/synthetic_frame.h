// A synthetic frame like that of a diffractometer, made from a seed.
#pragma once

#include <cstdint>

#include "frames/writers/mar345_file.h"

namespace frames {

// Powder rings of lanthanum hexaboride and the spots of some larger crystals on a round image plate, with the beam
// stop's shadow, scattering by air and counting noise. The brightest spots need overflow records, and a few pixels are
// saturated. The same size and seed give the same frame on every machine.
Mar345Frame make_synthetic_frame(int size, std::uint64_t seed);

}  // namespace frames
