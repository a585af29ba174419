#include "frames/options.h"

#include "frames/formats.h"

namespace frames {

namespace {

Point parse_point(const std::string& text) {
  const std::vector<double> numbers = parse_reals(text, 2, 2);
  return {numbers[0], numbers[1]};
}

// One number stands for both directions.
Point parse_pixel_size(const std::string& text) {
  const std::vector<double> numbers = parse_reals(text, 1, 2);
  if (numbers.front() <= 0.0 || numbers.back() <= 0.0) throw InvalidValue(text, "must be above 0");
  return {numbers.front(), numbers.back()};
}

int parse_depth(const std::string& text) {
  const int depth = parse_whole<int>(text, 0);
  if (depth != 8 && depth != 16 && depth != 32) throw InvalidValue(text, "must be one of 8, 16, 32");
  return depth;
}

Format parse_format(const std::string& text) {
  const FileFormat* const format = find_format(text);
  if (format == nullptr || !format->is_read()) throw InvalidValue(text, "must be one of " + joined(readable_formats()));
  return format->format;
}

std::vector<Option<LoadOptions>> make_load_options() {
  return {
      {"size", "WxH", "Columns and rows, for frames whose header does not state them",
       [](LoadOptions& options, const std::string& text) { options.size = parse_size(text); }},
      {"depth",
       "BITS",
       "Bits per raw pixel: 8, 16 or 32 (default: 16)",
       [](LoadOptions& options, const std::string& text) { options.depth = parse_depth(text); },
       {"8", "16", "32"}},
      {"big-endian", "", "Raw pixels have their high byte first",
       [](LoadOptions& options, const std::string& /*text*/) { options.big_endian = true; }},
      {"skip", "BYTES", "Bytes to skip before the raw pixels",
       [](LoadOptions& options, const std::string& text) { options.skip = parse_whole<std::size_t>(text, 0); }},
      {"format", "NAME", "Read the file as this format: " + joined(readable_formats()),
       [](LoadOptions& options, const std::string& text) { options.format = parse_format(text); }, readable_formats()},
      {"image", "N", "The N-th image of a file that holds several (default: 1)",
       [](LoadOptions& options, const std::string& text) { options.image = parse_whole<std::size_t>(text, 1); }},
      {"beam", "X,Y", "Beam centre in pixels, instead of the header's",
       [](LoadOptions& options, const std::string& text) { options.stated.beam_centre = parse_point(text); }},
      {"wavelength", "A", "Wavelength in ångström, instead of the header's",
       [](LoadOptions& options, const std::string& text) { options.stated.wavelength = parse_positive(text); }},
      {"distance", "MM", "Distance of the detector in mm, instead of the header's",
       [](LoadOptions& options, const std::string& text) { options.stated.distance = parse_positive(text); }},
      {"pixel", "MM[,MM]", "Size of a pixel in mm, instead of the header's",
       [](LoadOptions& options, const std::string& text) { options.stated.pixel_size = parse_pixel_size(text); }},
      {"force", "", "Read as much as possible of a damaged frame",
       [](LoadOptions& options, const std::string& /*text*/) { options.force = true; }},
  };
}

constexpr std::array<std::pair<const char*, int>, 2> kBits{{{"16", 16}, {"32", 32}}};

}  // namespace

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string text;
  for (const std::string& word : words) {
    if (&word != words.data()) text += separator;
    text += word;
  }
  return text;
}

const std::vector<Option<LoadOptions>>& load_options() {
  static const std::vector<Option<LoadOptions>> options = make_load_options();
  return options;
}

const std::vector<Option<WriteOptions>>& write_options() {
  static const std::vector<Option<WriteOptions>> options{
      {"bits", "BITS", "Bits per pixel: 16 or 32, if the format has both",
       [](WriteOptions& writing, const std::string& text) { writing.bits = choose(text, kBits); }, names_of(kBits)}};
  return options;
}

}  // namespace frames
