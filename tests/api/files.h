// Small frames and files for tests of the frame library.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "xrdframe.h"

namespace test {

struct FrameDeleter {
  void operator()(xrd_frame* frame) const { xrd_free(frame); }
};
using FrameHandle = std::unique_ptr<xrd_frame, FrameDeleter>;

struct OptionsDeleter {
  void operator()(xrd_options* options) const { xrd_options_free(options); }
};
using OptionsHandle = std::unique_ptr<xrd_options, OptionsDeleter>;

struct LinesDeleter {
  void operator()(xrd_lines* lines) const { xrd_lines_free(lines); }
};
using LinesHandle = std::unique_ptr<xrd_lines, LinesDeleter>;

// A buffer for a line of detail, with a text that shows whether it was written to.
struct Detail {
  static constexpr const char* kUntouched = "untouched";

  Detail() { std::strcpy(line.data(), kUntouched); }
  operator char*() { return line.data(); }  // NOLINT(google-explicit-constructor): as C takes it
  std::string text() const { return line.data(); }

  std::array<char, XRD_DETAIL> line{};
};

// The counts as an EDF file, with further items in its header: "Distance = 0.1 ;\n".
inline std::string edf(int width, int height, const std::vector<std::uint32_t>& counts, const std::string& items = "") {
  std::string file = "{\nDim_1 = " + std::to_string(width) + " ;\nDim_2 = " + std::to_string(height) +
                     " ;\nByteOrder = LowByteFirst ;\nDataType = UnsignedInteger ;\n" + items + "}\n";
  for (const std::uint32_t count : counts) {
    for (int shift = 0; shift < 32; shift += 8) file += static_cast<char>(count >> shift);
  }
  return file;
}

inline FrameHandle frame_of(int width, int height, const std::vector<std::uint32_t>& counts,
                            const std::vector<unsigned char>& mask = {}) {
  xrd_frame* frame = nullptr;
  Detail detail;
  EXPECT_EQ(xrd_create(width, height, XRD_UINT32, counts.data(), mask.empty() ? nullptr : mask.data(), &frame, detail),
            XRD_OK)
      << detail.text();
  return FrameHandle(frame);
}

inline FrameHandle loaded(std::string_view file, const xrd_options* options = nullptr) {
  xrd_frame* frame = nullptr;
  Detail detail;
  EXPECT_EQ(xrd_load_memory(file.data(), file.size(), nullptr, options, &frame, detail), XRD_OK) << detail.text();
  return FrameHandle(frame);
}

inline std::vector<std::uint32_t> counts_of(const xrd_frame* frame) {
  const auto* const first = static_cast<const std::uint32_t*>(xrd_counts(frame));
  if (first == nullptr) return {};
  return {first, first + std::ptrdiff_t{xrd_width(frame)} * xrd_height(frame)};
}

inline std::vector<int> mask_of(const xrd_frame* frame) {
  const unsigned char* const first = xrd_mask(frame);
  if (first == nullptr) return {};
  return {first, first + std::ptrdiff_t{xrd_width(frame)} * xrd_height(frame)};
}

inline std::vector<std::string> texts_of(const xrd_lines* lines) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < xrd_lines_count(lines); ++i) texts.emplace_back(xrd_lines_text(lines, i));
  return texts;
}

}  // namespace test
