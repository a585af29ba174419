// mar345 image plate frames: binary words, a text header, overflow records and a CCP4-packed image.
#include <algorithm>
#include <string>

#include "host/frames/bytes.h"
#include "host/frames/header_items.h"
#include "host/frames/packed.h"
#include "xrdimage.h"

namespace frames {

namespace {

constexpr std::int32_t kNewLayoutMark = 1234;
constexpr std::size_t kBinaryBytes = 40;
constexpr std::size_t kTextBegin = 128;
constexpr std::size_t kNewHeaderBytes = 4096;
constexpr std::size_t kRecordBytes = 8;
constexpr std::size_t kPackedFileHeaderBytes = 2400;
constexpr std::string_view kTextMark = "mar research";

// The binary header. Its first word is the newer layout's mark or the older one's size, which also tells the byte
// order.
struct Words {
  explicit Words(Bytes file) {
    const auto in_order = number_at<std::int32_t>(file, 0);
    big_endian = in_order <= 100 || in_order >= 5000;
    first = number_at<std::int32_t>(file, 0, big_endian);
    is_new = first == kNewLayoutMark;
    size = is_new ? number_at<std::int32_t>(file, 4, big_endian) : first;
    overflows = number_at<std::int32_t>(file, is_new ? 8 : 16, big_endian);
  }
  bool sane() const { return first >= 100 && first <= 5000; }
  std::size_t header_bytes() const { return is_new ? kNewHeaderBytes : 2 * static_cast<std::size_t>(size); }

  bool big_endian = false;
  bool is_new = false;
  std::int32_t first = 0;
  std::int32_t size = 0;
  std::int32_t overflows = 0;
};

// The older layout has no mark: it must be told from a packed file, whose header begins with width and height.
bool is_older_layout(Bytes file, const Words& words) {
  if (words.is_new || !words.sane()) return false;
  const auto line = find_packed_line(file);
  if (!line || line->width != words.size || line->height != words.size) return false;
  const bool is_packed_file =
      line->begin == kPackedFileHeaderBytes && number_at<std::int32_t>(file, 4, words.big_endian) == words.size;
  return !is_packed_file && line->begin >= words.header_bytes();
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

  // The number behind the word.
  std::optional<double> number(std::string_view word) const {
    const auto found = std::ranges::find(words_, word);
    if (found == words_.end() || found + 1 == words_.end()) return std::nullopt;
    return number_in(found[1]);
  }
  std::optional<double> positive(std::string_view word) const { return above_zero(number(word)); }

  // All that follows the keyword.
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

Header read_header(Bytes file, const Words& words) {
  Header header;
  const std::size_t end = std::min(words.header_bytes(), file.size());
  if (end <= kTextBegin) return header;
  for (const std::string_view text : split(text_of(file.subspan(kTextBegin, end - kTextBegin)), "\n")) {
    if (text.starts_with("END OF HEADER")) break;
    read_line(Line(text), header);
  }
  return header;
}

void merge_record(Frame& frame, const Words& words, std::int32_t position, std::int32_t value) {
  // The newer layout takes positions as indices, the older one counts from 1.
  const std::int64_t index = std::int64_t{position} - (words.is_new ? 0 : 1);
  if (position < 1 || index >= static_cast<std::int64_t>(frame.counts.size())) return;
  const auto pixel = static_cast<std::size_t>(index);
  frame.counts[pixel] = value < 0 ? OVERFLOW_MARK : static_cast<std::uint32_t>(value);
  if (value < 0) {
    mark_unknown(frame, pixel);
  } else if (!frame.unknown.empty()) {
    frame.unknown[pixel] = false;  // a later record replaces an earlier one
  }
}

// Records end where the file or `end` does: what lies behind it is the packed image.
void merge_records(Frame& frame, Bytes file, const Words& words, std::size_t end) {
  std::size_t offset = words.header_bytes();
  for (std::int32_t record = 0; record < words.overflows; ++record, offset += kRecordBytes) {
    if (offset + kRecordBytes > end) {
      frame.notes.push_back(std::to_string(words.overflows - record) + " of " + std::to_string(words.overflows) +
                            " overflow records are missing");
      return;
    }
    merge_record(frame, words, number_at<std::int32_t>(file, offset, words.big_endian),
                 number_at<std::int32_t>(file, offset + 4, words.big_endian));
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
  if (file.size() > kTextBegin && text_of(file).substr(kTextBegin).starts_with(kTextMark)) return true;
  const Words words(file);
  return words.is_new ? words.size > 0 && words.size <= 10000 : is_older_layout(file, words);
}

Frame load_mar345(Bytes file, const LoadOptions& options) {
  if (file.size() < kBinaryBytes) throw LoadError("is truncated: the header is not whole");
  const Words words(file);
  if (!words.sane()) throw LoadError("is damaged: its first word is not that of a mar345 frame");
  Frame frame;
  frame.format = Format::kMar345;
  set_size(frame, words.size, words.size);
  frame.header = read_header(file, words);
  const auto line = find_packed_line(file);
  if (line) {
    read_packed_image(frame, file, *line, options);
  } else {
    report_damage(frame, options, "is truncated or damaged: it holds no packed image");
  }
  merge_records(frame, file, words, line ? line->begin : file.size());
  return frame;
}

}  // namespace frames
