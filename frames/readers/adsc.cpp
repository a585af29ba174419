// ADSC-style frames: a text header in braces, then uncompressed pixels at HEADER_BYTES.
#include <algorithm>
#include <array>

#include "frames/readers/header_items.h"
#include "frames/readers/samples.h"

namespace frames {

namespace {

struct TypeName {
  std::string_view name;
  SampleType type;
};

constexpr std::array kTypes{
    TypeName{"unsigned_char", {SampleKind::kUnsigned, 1}},
    TypeName{"signed_char", {SampleKind::kSigned, 1}},
    TypeName{"unsigned_short", {SampleKind::kUnsigned, 2}},
    TypeName{"signed_short", {SampleKind::kSigned, 2}},
    TypeName{"short", {SampleKind::kSigned, 2}},
    TypeName{"short_integer", {SampleKind::kSigned, 2}},
    TypeName{"unsigned_int", {SampleKind::kUnsigned, 4}},
    TypeName{"signed_int", {SampleKind::kSigned, 4}},
    TypeName{"unsigned_long", {SampleKind::kUnsigned, 4}},
    TypeName{"signed_long", {SampleKind::kSigned, 4}},
    TypeName{"long", {SampleKind::kSigned, 4}},
    TypeName{"long_integer", {SampleKind::kSigned, 4}},
    TypeName{"float", {SampleKind::kReal, 4}},
    TypeName{"double", {SampleKind::kReal, 8}},
};

// "mad" names the experiment, not the samples. They have four bytes, unless the length of the data fits two bytes per
// pixel. A header without a type is treated alike.
SampleType type_by_length(std::size_t data_bytes, std::size_t pixels) {
  return {SampleKind::kUnsigned, data_bytes == 2 * pixels ? std::size_t{2} : std::size_t{4}};
}

SampleType sample_type(const HeaderItems& items, std::size_t data_bytes, std::size_t pixels) {
  const std::string name = lower_case(items.text("type").value_or("mad"));
  if (name == "mad") return type_by_length(data_bytes, pixels);
  for (const TypeName& type : kTypes) {
    if (type.name == name) return type.type;
  }
  throw LoadError("has pixels of unknown TYPE " + name, Problem::kUnsupported);
}

bool within(Point point, double width, double height) {
  return point.x >= 0.0 && point.x <= width && point.y >= 0.0 && point.y <= height;
}

// ADSC's own frames have the beam centre in millimetres, others under the same keys in pixels. The millimetres are
// right where they lie on the detector, as almost no centre in pixels does: a pixel is some 0.1 mm, so that the number
// would have to be in the first tenth of the detector.
std::optional<Point> beam_centre(const HeaderItems& items, const Frame& frame) {
  const auto x = items.number("beam_center_x");
  const auto y = items.number("beam_center_y");
  if (!x || !y) return std::nullopt;
  const Point centre{*x, *y};
  if (const auto pixel = frame.header.pixel_size) {
    if (within(centre, frame.width * pixel->x, frame.height * pixel->y)) {
      return Point{centre.x / pixel->x, centre.y / pixel->y};
    }
  }
  return within(centre, frame.width, frame.height) ? std::optional(centre) : std::nullopt;
}

// The arrangement of the file, by its header.
struct Layout {
  unsigned long long header_bytes = 0;
  long long width = 0;
  long long height = 0;
};

Layout layout_of(const HeaderItems& items) {
  const auto header_bytes = items.integer("header_bytes");
  if (!header_bytes || *header_bytes < 0) throw LoadError("states no HEADER_BYTES");
  const auto width = items.integer("size1");
  const auto height = items.integer("size2");
  if (!width || !height) throw LoadError("states no SIZE1 and SIZE2");
  return {static_cast<unsigned long long>(*header_bytes), *width, *height};
}

Header header_values(const HeaderItems& items) {
  Header header;
  header.wavelength = above_zero(items.number("wavelength"));
  header.distance = above_zero(items.number("distance"));
  header.oscillation_start = items.number(items.has("osc_start") ? "osc_start" : "phi");
  header.oscillation_range = items.number("osc_range");
  header.exposure_time = above_zero(items.number("time"));
  if (const auto pixel = above_zero(items.number("pixel_size"))) header.pixel_size = Point{*pixel, *pixel};
  header.saturation = above_zero(items.number("ccd_image_saturation"));
  header.date = items.text("date");
  header.detector = items.text(items.has("detector") ? "detector" : "detector_sn");
  return header;
}

}  // namespace

bool is_adsc(Bytes file) {
  const std::string_view text = text_of(file);
  return begins_with_brace(text) && HeaderItems(text).has("header_bytes");
}

std::optional<std::size_t> enough_of_adsc(Bytes front, const LoadOptions& /*options*/) {
  const HeaderItems items(text_of(front));
  const Layout layout = layout_of(items);
  if (layout.header_bytes > kLongestHeader) return std::nullopt;
  const std::size_t pixels = pixels_of_size(layout.width, layout.height);
  return with_room(static_cast<std::size_t>(layout.header_bytes) + pixels * sample_type(items, 0, pixels).bytes);
}

Frame load_adsc(Bytes file, const LoadOptions& options) {
  const HeaderItems items(text_of(file));
  const Layout layout = layout_of(items);

  Frame frame;
  frame.format = Format::kAdsc;
  set_size(frame, layout.width, layout.height, options);
  frame.header = header_values(items);
  frame.header.beam_centre = beam_centre(items, frame);
  frame.items = items.in_order();
  const auto offset = std::min(layout.header_bytes, 0ULL + file.size());
  const Bytes data = bytes_after(file, static_cast<std::size_t>(offset));
  const SampleType type = sample_type(items, data.size(), pixels_of_size(layout.width, layout.height));
  const bool big_endian = lower_case(items.text("byte_order").value_or("")) == "big_endian";
  read_samples(frame, data, type, big_endian, options);
  return frame;
}

}  // namespace frames
