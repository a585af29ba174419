// xrdimage view: a frame on the screen, by way of the library's view().
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "host/clipped.h"
#include "host/companions.h"
#include "host/contrast.h"
#include "host/failure.h"
#include "host/library_output.h"
#include "host/read_options.h"
#include "xrdimage.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct ViewOptions {
  std::string file;
  ReadOptions reading;
  std::optional<int> divisor;
};

// The name from which the library makes those of the dump and the picture, in the working directory. The dump must not
// overwrite the frame itself.
std::string picture_name(const std::string& path) {
  std::string name = fs::path(path).stem().string();
  std::error_code missing;
  if (fs::equivalent(name + ".raw", path, missing)) name += "-view";
  return name;
}

// The library goes on to the viewer when its files cannot be written.
void check_writable(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) throw Failure(path, std::string("cannot be written: ") + std::strerror(errno));
  close(descriptor);
}

// The picture's range ends at the largest count divided by this.
int automatic_divisor(unsigned int largest, const Contrast& contrast) {
  return std::max(1, static_cast<int>((largest + contrast.high / 2) / contrast.high));
}

int run(const ViewOptions& options, const Settings& settings) {
  const Frame frame = read_frame(options.file, options.reading, settings);
  const Contrast contrast = automatic_contrast(frame.pixels());
  clip_to_16_bits(frame.pixels());
  const unsigned int largest = std::ranges::max(frame.pixels());
  const int divisor = options.divisor.value_or(automatic_divisor(largest, contrast));

  const std::string name = picture_name(options.file);
  const std::string picture = name + ".png";
  check_writable(name + ".raw");
  check_writable("colormap.zimg");
  fs::remove(picture);  // one from an earlier run must not pass for the new one
  add_companions_to_path();
  int status = 0;
  const LibraryReport report = run_library(settings, {.divert_errors = true}, [&] {
    status = view(name.c_str(), frame.daten.get(), frame.size.width, frame.size.height, divisor);
  });
  if (!report.errors.empty()) throw Failure(options.file, joined_errors(report, options.file));
  if (!fs::exists(picture)) throw Failure(picture, "the picture could not be made");
  print_value("range", "0-" + std::to_string(largest / static_cast<unsigned>(std::max(divisor, 1))) + " counts");
  print_value("divisor", std::to_string(divisor));
  print_value("picture", picture);
  if (status != 0) throw Failure(picture, "the viewer failed");
  return 0;
}

}  // namespace

Action define_view(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<ViewOptions>();
  command.add_option("FILE", options->file, "Frame to show")->required();
  command
      .add_option("--divide", options->divisor,
                  "Colours end at the largest count divided by N; otherwise 99.5 % of the pixels fit")
      ->type_name("N")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
  add_read_options(command, options->reading);
  command.footer(
      "Counts above 65535 are shown as 65535.\n"
      "Runs the converter zimg and the viewer xv: those of the PATH, or else the program's own, which opens\n"
      "the picture with xdg-open, feh or display. NAME.raw, NAME.png and colormap.zimg stay in the working\n"
      "directory, NAME being the frame's name without its ending.\n"
      "\nExamples:\n"
      "  xrdimage view frame.mar2300\n"
      "  xrdimage view --divide 20 frame.mar2300");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
