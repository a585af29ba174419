#include "host/read_options.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

namespace host {

namespace {

// The formats that can be read.
std::vector<std::string> readable_types() {
  std::vector<std::string> names;
  for (const Format& format : formats()) {
    if (format.read != nullptr) names.emplace_back(format.name);
  }
  return names;
}

}  // namespace

FrameSize parse_size(const char* option, const std::string& text) {
  FrameSize size;
  int length = 0;
  const int found = std::sscanf(text.c_str(), "%6dx%6d%n", &size.width, &size.height, &length);
  if (found != 2 || static_cast<std::size_t>(length) != text.size() || size.width < 1 || size.height < 1) {
    throw CLI::ValidationError(option, "'" + text + "' is not of the form WxH, as in 1200x1200");
  }
  return size;
}

void add_read_options(CLI::App& command, ReadOptions& options) {
  command
      .add_option_function<std::string>(
          "--size", [&](const std::string& text) { options.size = parse_size("--size", text); },
          "Pixels per row and rows, for formats that do not tell")
      ->type_name("WxH");
  command
      .add_option_function<std::string>(
          "--type",
          [&](const std::string& name) { options.type = std::ranges::find(formats(), name, &Format::name)->code; },
          "Take the file for this type, whatever it looks like")
      ->type_name("TYPE")
      ->check(CLI::IsMember(readable_types()));
  command.add_option("-b,--depth", options.bits, "Bits per pixel of EDF frames that do not tell")
      ->type_name("BITS")
      ->check(CLI::IsMember({8, 16, 32}));
  command.add_flag("--force", options.force, "Go on with what there is of a truncated or damaged frame");
}

}  // namespace host
