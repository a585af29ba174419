// Counts as samples of files, and warnings about counts that do not fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "frames/sample_type.h"
#include "frames/writers/writers.h"

namespace frames {

// The type's largest number, which also stands for an unknown count.
std::uint32_t largest_sample(SampleType type);

// For formats of any type: 32 bits, signed when there are negative counts; 16 when these are asked for and hold every
// count. Warns when they are asked for in vain, and of unknown pixels.
SampleType fitting_type(const Frame& frame, const WriteOptions& options, Remarks& remarks);

// For formats without a sign: 16 bits unless 32 are asked for. Warns of what the type cannot hold.
SampleType unsigned_type(const Frame& frame, const WriteOptions& options, Remarks& remarks);

// Warns of what an unsigned type cannot hold; `hint` follows the warning of counts that are too large.
void warn_of_clipping(const Frame& frame, SampleType type, std::string_view hint, Remarks& remarks);

// The number of pixels with a negative count; unknown counts do not count.
std::size_t negative_pixels(const Frame& frame);

void warn_of_negative(std::size_t pixels, Remarks& remarks);
void warn_of_unknown(std::size_t pixels, std::uint32_t written, Remarks& remarks);

// The samples of `count` pixels from `first` on. Counts that do not fit become the nearest number that does.
void copy_samples(const Frame& frame, SampleType type, std::size_t first, std::size_t count, void* samples);

// All samples, little-endian.
void write_samples(const Frame& frame, SampleType type, std::FILE* stream);

}  // namespace frames
