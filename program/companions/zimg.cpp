// Stand-in for the converter zimg: a raw 16-bit dump and a colour map become a PNG picture. It knows the options that
// the library's view() gives.
#include <getopt.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frames/failure.h"
#include "pictures/colourmap_file.h"
#include "pictures/png.h"
#include "program/output_file.h"
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
  bool help = false;
  bool unsigned_short = false;
  Size size;
  CountRange range{0, 65535};
  std::string output;
  std::string input;
};

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
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
    throw UsageError("-r: '" + text + "' is not of the form ROWSxCOLUMNS");
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
    throw UsageError("--absolute: '" + text + "' is not of the form LO-HI");
  return {low, high};
}

std::vector<std::uint16_t> read_dump(const std::string& path, std::size_t pixels) {
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  if (!stream) throw Failure(path, std::strerror(errno));
  std::vector<std::uint16_t> words(pixels);
  if (std::fread(words.data(), sizeof words[0], pixels, stream.get()) < pixels) throw Failure(path, "ends early");
  return words;
}

// The range is divided into one equal piece per colour. It may be empty or descending: the library divides
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
  program::OutputFile file(options.output);
  pictures::write_png(picture, file.stream());
  file.commit();
}

// What getopt_long returns for long options.
enum LongOption : int { kHelp = 'h', kRows = 'r', kOutput = 'o', kColormap = 1000, kUnsignedShort, kAbsolute };

constexpr std::array<option, 5> kLongOptions{{
    {"help", no_argument, nullptr, kHelp},
    {"colormap", required_argument, nullptr, kColormap},
    {"unsigned-short", no_argument, nullptr, kUnsignedShort},
    {"absolute", required_argument, nullptr, kAbsolute},
    {nullptr, 0, nullptr, 0},
}};

void take_option(Options& options, int found, const std::string& word) {
  switch (found) {
    case kHelp:
      options.help = true;
      break;
    case kColormap:
      options.colormap = optarg;
      break;
    case kUnsignedShort:
      options.unsigned_short = true;
      break;
    case kRows:
      options.size = parse_size(optarg);
      break;
    case kAbsolute:
      options.range = parse_range(optarg);
      break;
    case kOutput:
      options.output = optarg;
      break;
    case ':':
      throw UsageError(word + ": a value is missing");
    default:
      throw UsageError("The following argument was not expected: " + word);
  }
}

void require(bool is_given, const char* name) {
  if (!is_given) throw UsageError(std::string(name) + " is required");
}

void check(const Options& options) {
  require(options.unsigned_short, "--unsigned-short");
  require(options.size.width > 0, "-r");
  require(!options.output.empty(), "-o");
  require(!options.input.empty(), "IN");
}

Options parse(int argc, char** argv) {
  Options options;
  optind = 0;  // restarts, for callers that parse more than once
  for (int found = 0; (found = getopt_long(argc, argv, ":ho:r:", kLongOptions.data(), nullptr)) != -1;) {
    take_option(options, found, argv[std::max(optind, 2) - 1]);
  }
  if (optind < argc) options.input = argv[optind++];
  if (optind < argc) throw UsageError(std::string("The following argument was not expected: ") + argv[optind]);
  if (!options.help) check(options);
  return options;
}

constexpr const char* kUsage =
    "Makes a PNG picture of a raw 16-bit dump\n"
    "Usage: zimg --unsigned-short -r ROWSxCOLUMNS [--absolute LO-HI] [--colormap FILE] -o OUT IN\n"
    "\n"
    "  --unsigned-short   Pixels are unsigned 16-bit numbers\n"
    "  -r ROWSxCOLUMNS    Size of the image\n"
    "  --absolute LO-HI   Values of the first and the last colour\n"
    "  --colormap FILE    Lines RED GREEN BLUE; grey without it\n"
    "  -o OUT             Picture to write\n"
    "  IN                 Dump to read\n";

}  // namespace

int main(int argc, char** argv) {
  constexpr int kUsageError = 2;
  try {
    const Options options = parse(argc, argv);
    if (options.help) {
      std::fputs(kUsage, stdout);
    } else {
      convert(options);
    }
    return 0;
  } catch (const UsageError& error) {
    std::fputs(message_line(error.what()).c_str(), stderr);
    return kUsageError;
  } catch (const std::exception& failure) {
    std::fputs(message_line(failure.what()).c_str(), stderr);
    return 1;
  }
}
