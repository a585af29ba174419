// frames::load_frame, and the loaders themselves with bytes that end where the file ends. The first three bytes of an
// input are what the user states: flags, format, width and height of raw frames. The rest is the file.
#include <array>
#include <new>
#include <vector>

#include "frames/readers/readers.h"
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
  if (size != 0) options.size = {static_cast<int>(size % 16), static_cast<int>(size / 16)};
  // Most often the content decides.
  static const std::vector<std::string> keywords = frames::readable_formats();
  if (format < keywords.size()) options.format = frames::find_format(keywords[format])->format;
  return options;
}

struct Loader {
  frames::Format format;
  bool (*is_format)(frames::Bytes file);
  frames::Frame (*load)(frames::Bytes file, const frames::LoadOptions& options);
};

constexpr std::array<Loader, 8> kLoaders{{
    {frames::Format::kAdsc, frames::is_adsc, frames::load_adsc},
    {frames::Format::kEdf, frames::is_edf, frames::load_edf},
    {frames::Format::kMar345, frames::is_mar345, frames::load_mar345},
    {frames::Format::kMarCcd, frames::is_mar_ccd, frames::load_mar_ccd},
    {frames::Format::kPacked, frames::is_packed, frames::load_packed},
    {frames::Format::kSaint, frames::is_saint, frames::load_saint},
    {frames::Format::kTiff, frames::is_tiff, frames::load_tiff},
    {frames::Format::kRaw, nullptr, frames::load_raw},
}};

bool applies(const Loader& loader, frames::Bytes file, const frames::LoadOptions& options) {
  if (options.format) return loader.format == *options.format;
  return loader.is_format != nullptr && loader.is_format(file);
}

template <typename Load>
void check(Load load) {
  try {
    const frames::Frame frame = load();
    const std::size_t pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    fuzz::require(frame.width >= 1 && frame.height >= 1 && frame.counts.size() == pixels);
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
  check([&] { return frames::load_frame(file_of(file), options); });
  for (const Loader& loader : kLoaders) {
    try {
      if (applies(loader, file, options)) check([&] { return loader.load(file, options); });
    } catch (const std::bad_alloc&) {
      // load_frame makes a LoadError of it.
    }
  }
}
