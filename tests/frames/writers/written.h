// Frames for the writers, the files that they make of them, and other people's programs that read these.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "frames/readers/readers.h"
#include "frames/writers/writers.h"
#include "tests/environment.h"
#include "tests/frames/frame_of.h"
#include "tests/frames/load_bytes.h"

namespace test {

using Warnings = std::vector<std::string>;

struct Size {
  int width = 0;
  int height = 0;
};
// Rows, columns and rectangles; the last one is larger than the blocks in which samples are written.
constexpr Size kSizes[] = {{1, 1}, {2, 1}, {9, 1}, {1, 9}, {2, 2}, {7, 5}, {13, 31}, {301, 707}};

// Counts from 0 to `largest`; signed ones are negative every third time. One pixel in five is unknown when there are
// unknown ones.
inline frames::Frame random_frame(Size size, std::uint32_t largest, bool is_signed = false, bool has_unknown = false) {
  const auto pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  std::mt19937 random(static_cast<unsigned>(pixels));
  Counts counts(pixels);
  for (std::uint32_t& count : counts) {
    count = static_cast<std::uint32_t>(random() % (std::uint64_t{largest} + 1));
    if (is_signed && random() % 3 == 0) count = 0 - count;
  }
  frames::Frame frame = frame_of(size.width, size.height, counts, is_signed);
  if (has_unknown) frame.mask.resize(pixels);
  for (std::uint8_t& mask : frame.mask) mask = random() % 5 == 0 ? frames::kUnknown : 0;
  return frame;
}

inline frames::Header full_header() {
  frames::Header header;
  header.wavelength = 1.54179;
  header.distance = 120.25;
  header.oscillation_start = -10.5;
  header.oscillation_range = 0.25;
  header.exposure_time = 0.003;
  header.pixel_size = frames::Point{0.172, 0.172};
  header.beam_centre = frames::Point{3.5, 2.25};
  header.saturation = 60000;
  header.date = "2024-05-06 07:08:09";
  header.detector = "PILATUS 300K, S/N 3-0101";
  return header;
}

using Writer = void (*)(const frames::Frame&, const frames::WriteOptions&, std::FILE*, frames::Remarks&);

struct Written {
  std::string bytes;
  Warnings warnings;
};

inline Written written(Writer write, const frames::Frame& frame, std::optional<int> bits = std::nullopt) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("frame");
  frames::Remarks remarks;
  {
    const Stream stream(std::fopen(path.c_str(), "w+b"));
    write(frame, {bits}, stream.get(), remarks);
    EXPECT_EQ(std::ferror(stream.get()), 0);
  }
  EXPECT_TRUE(remarks.values.empty());
  return {read_file(path), remarks.warnings};
}

inline Counts counts_of(const frames::Frame& frame) {
  return {frame.counts.begin(), frame.counts.end()};
}

// The counts, with `unknown` for unknown ones.
inline Counts counts_with(const frames::Frame& frame, std::uint32_t unknown) {
  Counts counts = counts_of(frame);
  for (std::size_t i = 0; i < frame.mask.size(); ++i) {
    if (is_unknown(frame, i)) counts[i] = unknown;
  }
  return counts;
}

inline std::size_t unknown_pixels(const frames::Frame& frame) {
  return static_cast<std::size_t>(std::ranges::count_if(frame.mask, frames::has_no_count));
}

inline std::string as_little16(const Counts& counts) {
  std::string bytes;
  for (const std::uint32_t count : counts) bytes += little16(count);
  return bytes;
}

inline std::string as_little32(const Counts& counts) {
  std::string bytes;
  for (const std::uint32_t count : counts) bytes += little32(count);
  return bytes;
}

inline void expect_close(const std::optional<double>& value, const std::optional<double>& expected) {
  ASSERT_EQ(value.has_value(), expected.has_value());
  EXPECT_DOUBLE_EQ(value.value_or(0), expected.value_or(0));
}

inline void expect_close(const std::optional<frames::Point>& value, const std::optional<frames::Point>& expected) {
  ASSERT_EQ(value.has_value(), expected.has_value());
  if (!value) return;
  EXPECT_DOUBLE_EQ(value->x, expected->x);
  EXPECT_DOUBLE_EQ(value->y, expected->y);
}

inline void expect_same_header(const frames::Header& header, const frames::Header& expected) {
  expect_close(header.wavelength, expected.wavelength);
  expect_close(header.distance, expected.distance);
  expect_close(header.oscillation_start, expected.oscillation_start);
  expect_close(header.oscillation_range, expected.oscillation_range);
  expect_close(header.exposure_time, expected.exposure_time);
  expect_close(header.pixel_size, expected.pixel_size);
  expect_close(header.beam_centre, expected.beam_centre);
  expect_close(header.saturation, expected.saturation);
  EXPECT_EQ(header.date, expected.date);
  EXPECT_EQ(header.detector, expected.detector);
}

// What the command prints; it runs in a folder that holds the bytes as `name`. A tool that is missing or fails is a
// failed test.
inline std::string output_of(const std::string& command, const std::string& name, const std::string& bytes) {
  const TemporaryDirectory directory;
  directory.write(name, bytes);
  std::string output;
  const std::string line = "cd '" + directory.path("") + "' && " + command;
  std::FILE* pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return output;
  }
  for (int byte = 0; (byte = std::getc(pipe)) != EOF;) output += static_cast<char>(byte);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// What NumPy makes of the file "frame": a line with the type and shape, then the array's bytes.
inline std::string numpy_array(const std::string& expression, const std::string& bytes) {
  return output_of("/usr/bin/python3 -c \"import numpy, sys\na = " + expression +
                       "\nsys.stdout.buffer.write(('%s %s\\n' % (a.dtype.str, a.shape)).encode() + a.tobytes())\"",
                   "frame", bytes);
}

}  // namespace test
