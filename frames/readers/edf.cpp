// EDF frames: a text header in braces, then uncompressed pixels.
//
// Not handled: compressed data, and files whose first block is a general one without an image.
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "frames/readers/header_items.h"
#include "frames/readers/samples.h"

namespace frames {

namespace {

constexpr std::size_t kBlock = 512;

struct TypeName {
  std::string_view name;
  SampleType type;
};

// Long is 32 bits wide, as on the computers of the format's time.
constexpr std::array kTypes{
    TypeName{"unsignedbyte", {SampleKind::kUnsigned, 1}},
    TypeName{"signedbyte", {SampleKind::kSigned, 1}},
    TypeName{"unsigned8", {SampleKind::kUnsigned, 1}},
    TypeName{"signed8", {SampleKind::kSigned, 1}},
    TypeName{"unsignedshort", {SampleKind::kUnsigned, 2}},
    TypeName{"signedshort", {SampleKind::kSigned, 2}},
    TypeName{"unsigned16", {SampleKind::kUnsigned, 2}},
    TypeName{"signed16", {SampleKind::kSigned, 2}},
    TypeName{"unsignedinteger", {SampleKind::kUnsigned, 4}},
    TypeName{"signedinteger", {SampleKind::kSigned, 4}},
    TypeName{"unsignedlong", {SampleKind::kUnsigned, 4}},
    TypeName{"signedlong", {SampleKind::kSigned, 4}},
    TypeName{"unsigned32", {SampleKind::kUnsigned, 4}},
    TypeName{"signed32", {SampleKind::kSigned, 4}},
    TypeName{"unsignedlong64", {SampleKind::kUnsigned, 8}},
    TypeName{"signedlong64", {SampleKind::kSigned, 8}},
    TypeName{"unsigned64", {SampleKind::kUnsigned, 8}},
    TypeName{"signed64", {SampleKind::kSigned, 8}},
    TypeName{"float", {SampleKind::kReal, 4}},
    TypeName{"floatvalue", {SampleKind::kReal, 4}},
    TypeName{"floatieee32", {SampleKind::kReal, 4}},
    TypeName{"real", {SampleKind::kReal, 4}},
    TypeName{"double", {SampleKind::kReal, 8}},
    TypeName{"doublevalue", {SampleKind::kReal, 8}},
    TypeName{"doubleieee64", {SampleKind::kReal, 8}},
};

std::optional<SampleType> named_type(const HeaderItems& items) {
  const auto name = items.text("datatype");
  if (!name) return std::nullopt;
  const auto* type = std::ranges::find(kTypes, lower_case(*name), &TypeName::name);
  if (type == kTypes.end()) throw LoadError("has pixels of unknown DataType " + *name, Problem::kUnsupported);
  return type->type;
}

// For integers Size decides: this library's own 16-bit files have four bytes per pixel.
SampleType sample_type(const HeaderItems& items, std::size_t pixels) {
  const auto named = named_type(items);
  if (named && named->kind == SampleKind::kReal) return *named;
  const SampleKind kind = named.value_or(SampleType{}).kind;
  for (const std::size_t bytes : {1U, 2U, 4U, 8U}) {
    if (items.integer("size") == static_cast<long long>(bytes * pixels)) return {kind, bytes};
  }
  if (named) return *named;
  for (const std::size_t bytes : {1U, 2U, 4U}) {
    if (items.integer("bitspersample") == static_cast<long long>(8 * bytes)) return {kind, bytes};
  }
  throw LoadError("states no DataType");
}

// Where the pixels begin: at EDF_HeaderSize, or else behind the closing brace and its line's end.
std::size_t pixel_offset(const HeaderItems& items, std::string_view text) {
  if (!items.end()) throw LoadError("has a header without an end");
  std::size_t offset = *items.end();
  const auto told = items.integer("edf_headersize");
  if (told && *told >= static_cast<long long>(offset) && *told <= static_cast<long long>(text.size())) {
    return static_cast<std::size_t>(*told);
  }
  if (text.substr(offset).starts_with('\r')) ++offset;
  if (text.substr(offset).starts_with('\n')) ++offset;
  return offset;
}

// Some writers pad the block behind the closing brace instead of before it; the file's length shows it.
std::size_t skip_padding(std::size_t offset, std::size_t file_bytes, std::size_t data_bytes) {
  const std::size_t padded = (offset + kBlock - 1) / kBlock * kBlock;
  return padded + data_bytes == file_bytes ? padded : offset;
}

Size frame_size(const HeaderItems& items, const LoadOptions& options) {
  auto width = items.integer("dim_1");
  auto height = items.integer("dim_2");
  if (!width || !height) {
    if (options.size) return *options.size;
    throw LoadError("states no Dim_1 and Dim_2; give the size with --size WxH", Problem::kInvalid);
  }
  // This library writes dimensions as signed 16-bit numbers.
  constexpr long long kSixteenBits = 65536;
  if (*width < 0 && *width >= -kSixteenBits / 2) *width += kSixteenBits;
  if (*height < 0 && *height >= -kSixteenBits / 2) *height += kSixteenBits;
  const long long largest = std::numeric_limits<int>::max();
  return {static_cast<int>(std::clamp(*width, 0LL, largest)), static_cast<int>(std::clamp(*height, 0LL, largest))};
}

// Metres as millimetres.
std::optional<double> millimetres(std::optional<double> metres) {
  return metres && *metres > 0.0 ? std::optional(*metres * 1e3) : std::nullopt;
}

// The wavelength is in metres by the format's convention, but some writers give angstroms.
std::optional<double> angstroms(std::optional<double> wavelength) {
  constexpr double kLongestInMetres = 1e-6;
  if (wavelength && *wavelength < kLongestInMetres) return above_zero(*wavelength * 1e10);
  return wavelength;
}

std::optional<Point> point(std::optional<double> x, std::optional<double> y) {
  return x && y ? std::optional(Point{*x, *y}) : std::nullopt;
}

Header header_values(const HeaderItems& items) {
  Header header;
  header.wavelength = angstroms(items.number("wavelength"));
  header.distance = millimetres(items.number("sampledistance"));
  header.oscillation_start = items.number("osc_start");
  header.oscillation_range = items.number("osc_range");
  header.exposure_time = above_zero(items.number(items.has("exposuretime") ? "exposuretime" : "count_time"));
  header.pixel_size = point(millimetres(items.number("psize_1")), millimetres(items.number("psize_2")));
  header.beam_centre = point(items.number("center_1"), items.number("center_2"));
  header.saturation = above_zero(items.number("saturation"));
  header.date = items.text(items.has("date") ? "date" : "datetime");
  header.detector = items.text("detector");
  return header;
}

void refuse_compression(const HeaderItems& items) {
  const std::string compression = lower_case(items.text("compression").value_or("none"));
  if (!compression.starts_with("no") && !compression.starts_with("un")) {
    throw LoadError("is compressed by " + compression + ", which is not supported", Problem::kUnsupported);
  }
}

// The place and kind of the pixels, as far as the header states them.
struct Layout {
  std::size_t offset = 0;
  Size size;
  SampleType type;
  std::size_t data_bytes = 0;

  // The end of the pixels.
  std::uint64_t end() const { return std::uint64_t{offset} + data_bytes; }
};

Layout layout_of(const HeaderItems& items, std::string_view text, const LoadOptions& options) {
  Layout layout;
  layout.offset = pixel_offset(items, text);
  refuse_compression(items);
  layout.size = frame_size(items, options);
  const std::size_t pixels = pixels_of_size(layout.size.width, layout.size.height);
  layout.type = sample_type(items, pixels);
  layout.data_bytes = pixels * layout.type.bytes;
  return layout;
}

// The images of a file, one behind the other: where they begin, and where the last one ends.
struct Images {
  std::vector<std::size_t> begins{0};
  std::uint64_t end = 0;
};

// The first image is always there, even if it is damaged. A later one counts if its header can be read.
Images images_of(Bytes file, const LoadOptions& options) {
  Images images;
  std::size_t begin = 0;
  while (images.begins.size() < kMostImages) {
    const std::string_view text = text_of(file.subspan(begin));
    try {
      const std::uint64_t length = layout_of(HeaderItems(text), text, options).end();
      if (begin != 0) images.begins.push_back(begin);
      images.end = begin + length;
      if (length >= text.size() || !begins_with_brace(text.substr(static_cast<std::size_t>(length)))) break;
      begin += static_cast<std::size_t>(length);
    } catch (const LoadError&) {
      break;
    }
  }
  return images;
}

}  // namespace

bool is_edf(Bytes file) {
  const std::string_view text = text_of(file);
  if (!begins_with_brace(text)) return false;
  const HeaderItems items(text);
  if (items.has("header_bytes")) return false;  // ADSC-style
  return items.has("headerid") || items.has("dim_1") || items.has("datatype") || items.has("byteorder") ||
         items.has_prefix("edf_");
}

std::optional<std::size_t> enough_of_edf(Bytes front, const LoadOptions& options) {
  if (options.image) return std::nullopt;  // of a file that holds several, any length may be needed
  const std::string_view text = text_of(front);
  const HeaderItems items(text);
  const Layout layout = layout_of(items, text, options);
  // The offset in the header counts only if the file is long enough, which the front need not be.
  const auto told = items.integer("edf_headersize").value_or(0);
  if (told > static_cast<long long>(kLongestHeader)) return std::nullopt;
  const std::size_t offset = std::max(layout.offset, static_cast<std::size_t>(std::max(told, 0LL)));
  constexpr std::uint64_t kMost = std::numeric_limits<std::size_t>::max();
  const auto end = static_cast<std::size_t>(std::min(images_of(front, options).end, kMost));
  return with_room(std::max(offset + kBlock + layout.data_bytes, end));
}

Frame load_edf(Bytes file, const LoadOptions& options) {
  Frame frame;
  frame.format = Format::kEdf;
  const std::vector<std::size_t> begins = images_of(file, options).begins;
  choose_image(frame, begins.size(), options);
  const Bytes image = file.subspan(begins[options.image.value_or(1) - 1]);
  const std::string_view text = text_of(image);
  const HeaderItems items(text);
  const Layout layout = layout_of(items, text, options);
  set_size(frame, layout.size.width, layout.size.height, options);
  frame.header = header_values(items);
  frame.items = items.in_order();
  const std::size_t offset = skip_padding(layout.offset, image.size(), layout.data_bytes);
  const bool big_endian = lower_case(items.text("byteorder").value_or("")) == "highbytefirst";
  read_samples(frame, bytes_after(image, offset), layout.type, big_endian, options);
  return frame;
}

}  // namespace frames
