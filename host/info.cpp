// xrdimage info: what is in a frame.
#include <array>
#include <memory>

#include "host/failure.h"
#include "host/read_options.h"
#include "host/statistics.h"

namespace host {

namespace {

struct InfoOptions {
  std::vector<std::string> files;
  ReadOptions reading;
};

std::string mean_text(double mean) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.2f counts", mean);
  return text.data();
}

void print_info(const std::string& path, const Frame& frame) {
  print_value("file", path);
  print_value("type", std::string(frame.format->name) + " (" + frame.format->description + ")");
  print_value("size", std::to_string(frame.size.width) + " x " + std::to_string(frame.size.height) + " pixels");
  for (const HeaderValue& value : frame.header) print_value(value.key, value.value);
  const Statistics statistics = statistics_of(frame.pixels());
  if (statistics.known > 0) {
    print_value("minimum", std::to_string(statistics.minimum) + " counts");
    print_value("maximum", std::to_string(statistics.maximum) + " counts");
    print_value("mean", mean_text(statistics.mean));
  }
  print_value("overflowed", std::to_string(statistics.overflowed) + " pixels");
}

int run(const InfoOptions& options, const Settings& settings) {
  int status = 0;
  bool first = true;
  for (const std::string& path : options.files) {
    try {
      const Frame frame = read_frame(path, options.reading, settings);
      if (!first) std::printf("\n");
      first = false;
      print_info(path, frame);
    } catch (const Failure& failure) {
      // The other files are told about all the same.
      std::fflush(stdout);
      std::fprintf(stderr, "xrdimage: %s\n", failure.what());
      status = 1;
    }
  }
  return status;
}

}  // namespace

Action define_info(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<InfoOptions>();
  command.add_option("FILE", options->files, "Frames to look at")->required();
  add_read_options(command, options->reading);
  command.footer(
      "Minimum, maximum and mean leave out overflowed pixels, whose counts are unknown.\n"
      "\nExamples:\n"
      "  xrdimage info frame.mar2300\n"
      "  xrdimage info --size 1200x1200 dump.raw\n"
      "  xrdimage info *.mar2300 | grep maximum");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
