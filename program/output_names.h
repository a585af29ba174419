// The names of the files that are written.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace program {

struct OutputOptions {
  std::string output;  // a file, a folder, or a pattern
  std::string format;  // "png"; empty where the output's name tells
};

// One name for each input, in its order:
// - a pattern has {name} for the frame's name without its ending, or {n} for its number, from 1, with leading zeros;
// - a folder, which exists or whose name ends in a slash, gets NAME.FORMAT;
// - any other output is the name of one file, and there must be one input.
// A Failure if this is impossible, or if two inputs would have the same output.
std::vector<std::string> output_names(const std::vector<std::string>& inputs, const OutputOptions& options);

// The folder of the outputs, which must exist when the first is written; empty if there is none.
std::string output_folder(const OutputOptions& options);

}  // namespace program
