// mar345 image plate frames: binary words, a text header, overflow records and a CCP4-packed image.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "frames/readers/header_items.h"
#include "frames/readers/packed.h"
#include "mar345/binary_header.h"
#include "xrdimage.h"

namespace frames {

namespace {

namespace mar345 = xrd::mar345;

constexpr std::size_t kBinaryBytes = sizeof(mar345::Words);
constexpr std::string_view kTextMark = "mar research";

// The binary header.
struct Binary {
  explicit Binary(Bytes file) {
    std::memcpy(words.data(), file.data(), kBinaryBytes);
    swapped = mar345::is_swapped(words);
    if (swapped) swapword(words.data(), kBinaryBytes);
    is_new = mar345::is_new_layout(words);
    size = mar345::frame_size(words);
  }
  // For a sane header.
  std::size_t header_bytes() const {
    return static_cast<std::size_t>(mar345::overflow_offset(is_new, words[0], words[0]));
  }

  mar345::Words words;  // in the processor's byte order
  bool swapped;         // the file has the other one
  bool is_new;
  int size;
};

// The older layout has no mark: it must be told from a packed file, whose header begins with width and height.
bool is_older_layout(Bytes file, const Binary& binary) {
  if (binary.is_new || !mar345::is_sane(binary.words)) return false;
  const auto line = find_packed_line(file);
  if (!line || line->width != binary.size || line->height != binary.size) return false;
  const bool is_packed_file = line->begin == sizeof(PackedFileHeader) && binary.words[1] == binary.size;
  return !is_packed_file && line->begin >= binary.header_bytes();
}

std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> parts;
  for (std::size_t begin = 0; (begin = text.find_first_not_of(separators, begin)) != text.npos;) {
    const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end;
  }
  return parts;
}

// A line of the text header: a keyword and words.
class Line {
 public:
  explicit Line(std::string_view text) : words_(split(text, {" \t\r\0", 4})) {}

  bool is(std::string_view keyword) const { return !words_.empty() && words_[0] == keyword; }

  // Words that are neither blank nor the mark of the header.
  bool is_item() const { return !words_.empty() && !is("mar"); }
  std::string keyword() const { return std::string(words_[0]); }

  // The number behind the word.
  std::optional<double> number(std::string_view word) const {
    const auto found = std::ranges::find(words_, word);
    if (found == words_.end() || found + 1 == words_.end()) return std::nullopt;
    return number_in(found[1]);
  }
  std::optional<double> positive(std::string_view word) const { return above_zero(number(word)); }

  // The text behind the keyword.
  std::optional<std::string> text() const {
    if (words_.size() < 2) return std::nullopt;
    const char* begin = words_[1].data();
    return std::string(begin, static_cast<std::size_t>(words_.back().data() + words_.back().size() - begin));
  }

 private:
  std::vector<std::string_view> words_;
};

void read_line(const Line& line, Header& header) {
  if (line.is("WAVELENGTH")) header.wavelength = line.positive("WAVELENGTH");
  if (line.is("DISTANCE")) header.distance = line.positive("DISTANCE");
  if (line.is("TIME")) header.exposure_time = line.number("TIME");
  if (line.is("DATE")) header.date = line.text();
  if (line.is("DETECTOR")) header.detector = line.text();
  if (line.is("PHI")) {
    // OSC counts the oscillations; their range is between START and END.
    header.oscillation_start = line.number("START");
    const auto end = line.number("END");
    if (header.oscillation_start && end) header.oscillation_range = *end - *header.oscillation_start;
  }
  if (line.is("PIXEL")) {
    const auto length = line.positive("LENGTH");
    const auto height = line.positive("HEIGHT");
    if (length && height) header.pixel_size = Point{*length / 1000, *height / 1000};
  }
  if (line.is("CENTER")) {
    const auto x = line.number("X");
    const auto y = line.number("Y");
    if (x && y) header.beam_centre = Point{*x, *y};
  }
}

void read_header(Frame& frame, Bytes file, const Binary& binary) {
  const std::size_t end = std::min(binary.header_bytes(), file.size());
  if (end <= mar345::kTextBegin) return;
  for (const std::string_view text : split(text_of(file.subspan(mar345::kTextBegin, end - mar345::kTextBegin)), "\n")) {
    if (text.starts_with("END OF HEADER")) break;
    const Line line(text);
    read_line(line, frame.header);
    if (line.is_item()) frame.items.push_back({line.keyword(), line.text().value_or("")});
  }
}

void merge_record(Frame& frame, const Binary& binary, std::int32_t position, std::int32_t value) {
  const auto found = mar345::record_pixel(position, frame.width, frame.height, binary.is_new);
  if (!found) return;
  const std::size_t pixel = *found;
  frame.counts[pixel] = value < 0 ? OVERFLOW_MARK : static_cast<std::uint32_t>(value);
  if (value < 0) {
    mask_pixel(frame, pixel, kUnknown);
  } else if (!frame.mask.empty()) {
    frame.mask[pixel] = 0;  // a later record replaces an earlier one
  }
}

// Records end at the end of the file or at `end`, where the packed image begins.
void merge_records(Frame& frame, Bytes file, const Binary& binary, std::size_t end) {
  const std::int32_t records = mar345::overflow_count(binary.words);
  std::size_t offset = binary.header_bytes();
  for (std::int32_t record = 0; record < records; ++record, offset += mar345::kRecordBytes) {
    if (offset + mar345::kRecordBytes > end) {
      frame.notes.push_back(std::to_string(records - record) + " of " + std::to_string(records) +
                            " overflow records are missing");
      return;
    }
    std::array<std::int32_t, 2> words;  // NOLINT: filled before it is read
    std::memcpy(words.data(), file.data() + offset, mar345::kRecordBytes);
    if (binary.swapped) swapword(words.data(), mar345::kRecordBytes);
    merge_record(frame, binary, words[0], words[1]);
  }
}

void read_packed_image(Frame& frame, Bytes file, const PackedLine& line, const LoadOptions& options) {
  if (line.width != frame.width || line.height != frame.height) {
    report_damage(frame, options,
                  "is damaged: the packed image has " + std::to_string(line.width) + " x " +
                      std::to_string(line.height) + " pixels, the header says " + std::to_string(frame.width) + " x " +
                      std::to_string(frame.height));
  }
  read_packed_pixels(frame, file, line, options);
}

}  // namespace

bool is_mar345(Bytes file) {
  if (file.size() < kBinaryBytes) return false;
  if (file.size() > mar345::kTextBegin && text_of(file).substr(mar345::kTextBegin).starts_with(kTextMark)) return true;
  const Binary binary(file);
  if (!binary.is_new) return is_older_layout(file, binary);
  // Other files may begin with the mark by chance, but not with a size and a packed image, too.
  return (binary.size > 0 && binary.size <= 10000) || find_packed_line(file);
}

std::optional<std::size_t> enough_of_mar345(Bytes front, const LoadOptions& options) {
  if (find_packed_line(front)) return enough_of_packed(front, options);
  if (front.size() < kBinaryBytes) return std::nullopt;
  // The image is not there yet. It is behind the overflows, of which a pixel has at most one.
  const Binary binary(front);
  if (!mar345::is_sane(binary.words)) return front.size();
  const std::size_t pixels = pixels_of_size(binary.size, binary.size);
  const auto records = static_cast<std::size_t>(std::max(mar345::overflow_count(binary.words), 0));
  return with_room(binary.header_bytes() + mar345::kRecordBytes * std::min(records, pixels));
}

Frame load_mar345(Bytes file, const LoadOptions& options) {
  if (file.size() < kBinaryBytes) throw LoadError("is truncated: the header is incomplete");
  const Binary binary(file);
  if (!mar345::is_sane(binary.words)) throw LoadError("is damaged: its first word does not belong to a mar345 frame");
  Frame frame;
  frame.format = Format::kMar345;
  set_size(frame, binary.size, binary.size, options);
  read_header(frame, file, binary);
  if (options.header_only) return frame;
  const auto line = find_packed_line(file);
  if (line) {
    read_packed_image(frame, file, *line, options);
  } else {
    report_damage(frame, options, "is truncated or damaged: it holds no packed image");
  }
  merge_records(frame, file, binary, line ? line->begin : file.size());
  // Later records may have replaced all that were unknown.
  if (std::ranges::none_of(frame.mask, [](std::uint8_t bits) { return bits != 0; })) frame.mask.clear();
  return frame;
}

}  // namespace frames
