// What is measured: the lines of the table in docs/performance.md.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "bench/frames.h"

namespace bench {

using Bytes = std::vector<unsigned char>;

// A function of the library, beside its naive transcription and the least that it can take.
struct Row {
  std::string name{};
  std::function<void()> prepare{};  // before each run of any of the three; not timed
  std::function<void()> library{};
  std::function<void()> plain{};     // null where there is none
  std::function<void()> limit{};     // null where no limit is known
  std::function<Bytes()> results{};  // of the last run of `library` or `plain`, which must agree
  int runs = 0;                      // at a time; 0: as many as a good measurement needs
};

using Rows = std::vector<Row>;

// The rows of each part of the library, on a frame that outlives them.
Rows packing_rows(const Frame& frame);
Rows reading_rows(const Frame& frame);
Rows writing_rows(const Frame& frame);
Rows pixel_rows(const Frame& frame);
Rows grid_rows(const Frame& frame);
Rows smoothing_rows(const Frame& frame);

// Those of the program, which have no results to compare.
Rows program_rows(const Frame& frame);

template <typename Value>
Bytes bytes_of(const Value* values, std::size_t count) {
  const auto* first = reinterpret_cast<const unsigned char*>(values);
  return {first, first + count * sizeof(Value)};
}

// Those of a file.
Bytes file_bytes(const std::string& path);

}  // namespace bench
