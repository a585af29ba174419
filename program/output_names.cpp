#include "program/output_names.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "frames/failure.h"
#include "frames/formats.h"

namespace program {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kName = "{name}";
constexpr std::string_view kNumber = "{n}";

bool is_pattern(const std::string& output) {
  return output.find(kName) != std::string::npos || output.find(kNumber) != std::string::npos;
}

void replace_all(std::string& text, std::string_view from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

std::string padded(std::size_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

// The output as a pattern.
std::string pattern_of(const std::vector<std::string>& inputs, const OutputOptions& options) {
  if (is_pattern(options.output)) return options.output;
  const std::string folder = output_folder(options);
  if (!folder.empty()) {
    if (options.format.empty())
      throw frames::Failure(options.output, "is a folder; state the format with --to, as in --to png");
    return (fs::path(folder) / kName).string() + "." +
           std::string(frames::usual_ending(*frames::find_format(options.format)));
  }
  if (inputs.size() > 1) {
    throw frames::Failure(options.output, "is one file, but there are " + std::to_string(inputs.size()) +
                                              " frames; name a folder, or a pattern as in {name}.png");
  }
  return options.output;
}

}  // namespace

std::string output_folder(const OutputOptions& options) {
  if (is_pattern(options.output)) return "";
  std::error_code error;
  return options.output.ends_with('/') || fs::is_directory(options.output, error) ? options.output : "";
}

std::vector<std::string> output_names(const std::vector<std::string>& inputs, const OutputOptions& options) {
  const std::string pattern = pattern_of(inputs, options);
  const std::size_t digits = std::to_string(inputs.size()).size();
  std::vector<std::string> outputs;
  std::map<std::string, std::string> input_of;
  for (const std::string& input : inputs) {
    std::string output = pattern;
    replace_all(output, kNumber, padded(outputs.size() + 1, digits));
    replace_all(output, kName, frames::name_without_ending(fs::path(input).filename().string()));
    const auto [other, is_new] = input_of.emplace(output, input);
    if (!is_new) throw frames::Failure(output, "would be written twice: for " + other->second + " and for " + input);
    outputs.push_back(std::move(output));
  }
  return outputs;
}

}  // namespace program
