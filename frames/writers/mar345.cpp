// mar345 image plate frames.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "frames/writers/header_text.h"
#include "frames/writers/mar345_file.h"
#include "frames/writers/samples.h"

namespace frames {

namespace {

constexpr int kSmallestSide = 10;
constexpr int kLargestSide = 10000;
constexpr std::uint32_t kLargestRecorded = std::numeric_limits<std::int32_t>::max();

// The values of the frame's header, in the format's units.
Mar345Frame header_of(const Frame& frame) {
  constexpr double kMicrometresPerMillimetre = 1000;
  const Header& header = frame.header;
  Mar345Frame mar;
  if (header.pixel_size) {
    mar.pixel_length = header.pixel_size->x * kMicrometresPerMillimetre;
    mar.pixel_height = header.pixel_size->y * kMicrometresPerMillimetre;
  }
  mar.wavelength = header.wavelength;
  mar.distance = header.distance;
  mar.centre = header.beam_centre;
  mar.phi_start = header.oscillation_start;
  if (header.oscillation_start && header.oscillation_range) {
    mar.phi_end = *header.oscillation_start + *header.oscillation_range;
  }
  mar.exposure_seconds = header.exposure_time;
  mar.program = "xrdimage convert";
  mar.date = header_value(header.date.value_or(""));
  mar.detector = header_value(header.detector.value_or(""));
  return mar;
}

// Fills the square; the frame is its upper left part. Negative counts become 0.
void copy_pixels(const Frame& frame, Mar345Frame& mar) {
  const auto side = static_cast<std::size_t>(mar.size);
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  mar.counts.resize(side * side);
  if (!frame.mask.empty()) mar.unknown.resize(side * side);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const std::size_t pixel = y * width + x;
      const bool unknown = is_unknown(frame, pixel);
      if (unknown) mar.unknown[y * side + x] = true;
      mar.counts[y * side + x] = unknown || count_of(frame, pixel) < 0 ? 0 : frame.counts[pixel];
    }
  }
}

// Records hold 31 bits.
void clip_to_records(Mar345Frame& mar, Remarks& remarks) {
  const auto above = std::ranges::count_if(mar.counts, [](std::uint32_t count) { return count > kLargestRecorded; });
  if (above == 0) return;
  const std::string largest = std::to_string(kLargestRecorded);
  for (std::uint32_t& count : mar.counts) count = std::min(count, kLargestRecorded);
  remarks.warnings.push_back(std::to_string(above) + " pixels above " + largest + " were written as " + largest);
}

// Readers skip a record at index 0, so the first pixel cannot have one.
void clip_first_pixel(Mar345Frame& mar, Remarks& remarks) {
  constexpr std::uint32_t kLargestWord = 65535;
  if (!mar.unknown.empty() && mar.unknown[0]) {
    warn_of_unknown(1, kLargestWord, remarks);
    mar.unknown[0] = false;
  } else if (mar.counts[0] > kLargestWord) {
    remarks.warnings.push_back("the first pixel's count of " + std::to_string(mar.counts[0]) +
                               " was written as 65535, as it can have no overflow record");
  } else {
    return;
  }
  mar.counts[0] = kLargestWord;
}

std::string size_text(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

}  // namespace

void write_mar345(const Frame& frame, const WriteOptions& /*options*/, std::FILE* stream, Remarks& remarks) {
  const int side = std::max(frame.width, frame.height);
  if (side < kSmallestSide || side > kLargestSide) {
    throw std::runtime_error("cannot have " + size_text(frame.width, frame.height) +
                             " pixels: mar345 frames have 10 to 10000 on a side");
  }
  Mar345Frame mar = header_of(frame);
  mar.size = side;
  copy_pixels(frame, mar);
  if (frame.width != frame.height) {
    remarks.warnings.push_back("is padded with 0 from " + size_text(frame.width, frame.height) + " to " +
                               size_text(side, side) + " pixels, as mar345 frames are square");
  }
  warn_of_negative(negative_pixels(frame), remarks);
  clip_to_records(mar, remarks);
  clip_first_pixel(mar, remarks);
  write_mar345(mar, stream);
}

}  // namespace frames
