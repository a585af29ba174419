// frames::load_frame, and the loaders themselves with bytes that end where the file ends. The first three bytes of an
// input are what the user states: flags, format, width and height of raw frames. The rest is the file.
#include <new>
#include <vector>

#include "frames/formats.h"
#include "fuzz/harness.h"

namespace {

frames::LoadOptions options_of(fuzz::Input& input) {
  const unsigned flags = input.byte();
  const std::size_t format = input.byte();
  const unsigned size = input.byte();
  frames::LoadOptions options;
  options.force = (flags & 1) != 0;
  options.big_endian = (flags & 2) != 0;
  if ((flags & 4) != 0) options.depth = 8;
  if ((flags & 8) != 0) options.depth = 32;
  if ((flags & 16) != 0) options.skip = 512;
  if ((flags & 32) != 0) options.image = 2;
  options.header_only = (flags & 64) != 0;
  if (size != 0) options.size = {static_cast<int>(size % 16), static_cast<int>(size / 16)};
  // Most often the content decides.
  static const std::vector<std::string> keywords = frames::readable_formats();
  if (format < keywords.size()) options.format = frames::find_format(keywords[format])->format;
  return options;
}

bool applies(const frames::FileFormat& format, frames::Bytes file, const frames::LoadOptions& options) {
  if (!format.is_read()) return false;
  if (options.format) return format.format == *options.format;
  return format.is_format != nullptr && format.is_format(file);
}

template <typename Load>
void check(const frames::LoadOptions& options, Load load) {
  try {
    const frames::Frame frame = load();
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    fuzz::require(frame.width >= 1 && frame.height >= 1 && frame.counts.size() == (options.header_only ? 0 : pixels));
    fuzz::require(frame.mask.empty() || frame.mask.size() == pixels);
  } catch (const frames::LoadError& error) {
    fuzz::require(error.what()[0] != '\0');
  }
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const frames::LoadOptions options = options_of(input);
  const Bytes file = input.rest();
  check(options, [&] { return frames::load_frame(file_of(file), options); });
  check(options, [&] { return frames::load_frame(file, "", options); });
  for (const frames::FileFormat& format : frames::formats()) {
    try {
      if (applies(format, file, options)) check(options, [&] { return format.load(file, options); });
    } catch (const std::bad_alloc&) {
      // load_frame makes a LoadError of it.
    }
  }
}
