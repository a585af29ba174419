// frames::load_frame. The first three bytes of an input are what the user states: flags, format, width and height of
// raw frames. The rest is the file.
#include <vector>

#include "fuzz/harness.h"
#include "host/frames/frame.h"

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
  if (size != 0) options.size = {static_cast<int>(size % 16), static_cast<int>(size / 16)};
  // Most often the content decides.
  static const std::vector<std::string> keywords = frames::format_keywords();
  if (format < keywords.size()) options.format = frames::format_of_keyword(keywords[format]);
  return options;
}

}  // namespace

void fuzz::run(Bytes bytes) {
  Input input(bytes);
  const frames::LoadOptions options = options_of(input);
  try {
    const frames::Frame frame = frames::load_frame(file_of(input.rest()), options);
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    require(frame.width >= 1 && frame.height >= 1 && frame.counts.size() == pixels);
    require(frame.unknown.empty() || frame.unknown.size() == pixels);
  } catch (const frames::LoadError& error) {
    require(error.what()[0] != '\0');
  }
}
