// Stand-in for the converter zimg: a raw 16-bit dump and a colour map become a PNG picture. It knows the options that
// the library's view() gives.
#include <CLI/CLI.hpp>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "frames/failure.h"
#include "frames/new_file.h"
#include "pictures/colourmap_file.h"
#include "pictures/png.h"
#include "support/files.h"
#include "support/image_size.h"
#include "support/printable.h"

namespace {

using frames::Failure;
using pictures::CountRange;

static_assert(std::endian::native == std::endian::little, "pixels are read in the processor's order");

struct Size {
  int width = 0;
  int height = 0;
};

struct Options {
  std::string colormap;
  bool unsigned_short = false;
  Size size;
  CountRange range{0, 65535};
  std::string output;
  std::string input;
};

std::string message_line(const char* message) {
  return xrd::message_line("zimg", message);
}

bool matched(const std::string& text, int found, int length) {
  return found == 2 && static_cast<std::size_t>(length) == text.size();
}

// The number of rows comes first.
Size parse_size(const std::string& text) {
  Size size;
  int length = 0;
  const int found = std::sscanf(text.c_str(), "%9dx%9d%n", &size.height, &size.width, &length);
  if (!matched(text, found, length) || xrd::allocatable_pixels(size.width, size.height).value_or(0) == 0) {
    throw CLI::ValidationError("-r", "'" + text + "' is not of the form ROWSxCOLUMNS");
  }
  return size;
}

CountRange parse_range(const std::string& text) {
  long long low = 0;
  long long high = 0;
  int length = 0;
  const int found = std::sscanf(text.c_str(), "%18lld-%18lld%n", &low, &high, &length);
  const auto fits = [](long long count) { return std::in_range<std::int32_t>(count); };
  if (!matched(text, found, length) || !fits(low) || !fits(high))
    throw CLI::ValidationError("--absolute", "'" + text + "' is not of the form LO-HI");
  return {low, high};
}

std::vector<std::uint16_t> read_dump(const std::string& path, std::size_t pixels) {
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  if (!stream) throw Failure(path, std::strerror(errno));
  std::vector<std::uint16_t> words(pixels);
  if (std::fread(words.data(), sizeof words[0], pixels, stream.get()) < pixels) throw Failure(path, "ends early");
  return words;
}

// The range is cut into as many equal pieces as there are colours. It may be empty or go downwards: the library divides
// as signed numbers.
std::uint8_t colour_of(std::int64_t count, const CountRange& range, std::size_t colours) {
  if (count <= range.low) return 0;
  if (count >= range.high) return static_cast<std::uint8_t>(colours - 1);
  return static_cast<std::uint8_t>((count - range.low) * static_cast<std::int64_t>(colours) / (range.high - range.low));
}

void convert(const Options& options) {
  pictures::Picture picture;
  if (!options.colormap.empty()) picture.palette = pictures::read_colormap(options.colormap);
  const std::size_t colours = picture.palette.empty() ? 256 : picture.palette.size();
  picture.width = options.size.width;
  picture.height = options.size.height;
  const auto pixels = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
  picture.pixels.reserve(pixels);
  for (const std::uint16_t word : read_dump(options.input, pixels)) {
    picture.pixels.push_back(colour_of(word, options.range, colours));
  }
  frames::NewFile file(options.output);
  pictures::write_png(picture, file.stream());
  file.commit();
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("Makes a PNG picture of a raw 16-bit dump", "zimg");
  app.add_option("--colormap", options.colormap, "File of lines RED GREEN BLUE; grey without it");
  app.add_flag("--unsigned-short", options.unsigned_short, "Pixels are unsigned 16-bit numbers")->required();
  app.add_option_function<std::string>(
         "-r", [&](const std::string& text) { options.size = parse_size(text); }, "Size of the image")
      ->type_name("ROWSxCOLUMNS")
      ->required();
  app.add_option_function<std::string>(
         "--absolute", [&](const std::string& text) { options.range = parse_range(text); },
         "Values of the first and the last colour")
      ->type_name("LO-HI");
  app.add_option("-o", options.output, "Picture to write")->required();
  app.add_option("IN", options.input, "Dump to read")->required();
  app.failure_message([](const CLI::App* /*app*/, const CLI::Error& error) { return message_line(error.what()); });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  convert(options);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {
    std::fputs(message_line(failure.what()).c_str(), stderr);
    return 1;
  }
}
