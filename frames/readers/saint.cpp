// SAINT frames: text records of 80 bytes, pixels of one or two bytes, then the counts that do not fit.
//
// Not handled: the LINEAR scale of processed frames (a note says so), and the pixel size, which the header gives only
// through the detector's type.
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

#include "frames/bytes.h"
#include "frames/readers/header_items.h"
#include "frames/readers/samples.h"

namespace frames {

namespace {

constexpr std::size_t kRecord = 80;
constexpr std::size_t kKey = 7;
constexpr std::size_t kBlock = 512;
constexpr long long kUsualBlocks = 15;
constexpr std::size_t kLongestText = std::size_t{1} << 20;  // of a header: the rest is no records
constexpr std::size_t kTextEntry = 16;                      // of the table of overflows

using Records = std::map<std::string, std::string, std::less<>>;

// All records within the text, in order.
std::vector<HeaderItem> items_of(std::string_view text) {
  std::vector<HeaderItem> items;
  for (; text.size() > kKey; text.remove_prefix(std::min(text.size(), kRecord))) {
    if (text[kKey] != ':') continue;
    items.push_back(
        {std::string(trimmed(text.substr(0, kKey))), std::string(trimmed(text.substr(kKey + 1, kRecord - kKey - 1)))});
  }
  return items;
}

// The first record of each key within the text.
Records parse_records(std::string_view text) {
  Records records;
  for (HeaderItem& item : items_of(text)) records.emplace(std::move(item.name), std::move(item.text));
  return records;
}

std::optional<std::string> text_value(const Records& records, std::string_view key) {
  const auto record = records.find(key);
  return record == records.end() || record->second.empty() ? std::nullopt : std::optional(record->second);
}

// The numbers of the record, up to the first word that is not a number.
std::vector<double> numbers(const Records& records, std::string_view key) {
  const std::string value = text_value(records, key).value_or("");
  std::vector<double> found;
  for (std::string_view rest = value; !rest.empty();) {
    const auto number = number_in(rest);
    if (!number) break;
    found.push_back(*number);
    rest = trimmed(rest.substr(std::min(rest.size(), rest.find(' '))));
  }
  return found;
}

std::optional<double> number(const Records& records, std::string_view key) {
  const auto found = numbers(records, key);
  return found.empty() ? std::nullopt : std::optional(found.front());
}

// The record's number at that place; `by_default` if there is none, or if it is implausibly large.
long long integer(const Records& records, std::string_view key, std::size_t place, long long by_default) {
  constexpr double kLargest = 1e9;
  const auto found = numbers(records, key);
  return place < found.size() && std::abs(found[place]) <= kLargest ? std::llround(found[place]) : by_default;
}

SampleType sample_type(const Records& records) {
  const long long bytes = integer(records, "NPIXELB", 0, 2);
  if (bytes != 1 && bytes != 2) {
    throw LoadError("has pixels of " + std::to_string(bytes) + " bytes, which are not supported",
                    Problem::kUnsupported);
  }
  return {SampleKind::kUnsigned, static_cast<std::size_t>(bytes)};
}

bool has_binary_tables(const Records& records) {
  return integer(records, "FORMAT", 0, 86) >= 100;
}

std::size_t header_size(std::string_view text) {
  const Records records = parse_records(text.substr(0, kUsualBlocks * kBlock));
  const long long blocks = integer(records, "HDRBLKS", 0, kUsualBlocks);
  return static_cast<std::size_t>(blocks < 1 ? kUsualBlocks : std::min(blocks, 1LL << 20)) * kBlock;
}

// The bytes of a binary table, a multiple of 16.
std::size_t table_bytes(long long entries, std::size_t bytes) {
  return entries > 0 ? (static_cast<std::size_t>(entries) * bytes + 15) / 16 * 16 : 0;
}

// Reads the counts of one binary table, and moves on behind it.
std::vector<std::uint32_t> read_table(Bytes& data, long long entries, std::size_t bytes, bool big_endian) {
  std::vector<std::uint32_t> table;
  const std::size_t present = data.size() / bytes;
  const std::size_t count = entries > 0 ? std::min(static_cast<std::size_t>(entries), present) : 0;
  table.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    // Shorter entries than the number read are its low bytes, or its high ones in a big-endian table.
    const auto entry = number_at<std::uint32_t>(data.subspan(i * bytes, bytes), 0, big_endian);
    table.push_back(big_endian ? entry >> (8 * (sizeof entry - bytes)) : entry);
  }
  data = bytes_after(data, table_bytes(entries, bytes));
  return table;
}

// Replaces the pixels that have the mark by the table's counts, in order. Those beyond the table are unknown.
void replace_marked(Frame& frame, std::uint32_t mark, const std::vector<std::uint32_t>& table) {
  auto entry = table.begin();
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    if (frame.counts[i] != mark) continue;
    if (entry != table.end()) {
      frame.counts[i] = *entry++;
    } else {
      mask_pixel(frame, i, kUnknown);
    }
  }
}

void report_lacking_counts(Frame& frame, const LoadOptions& options) {
  report_damage(frame, options, "is truncated: its table of overflows ends early");
}

// The number of entries of the binary tables. A number of underflows below 0 means that there is neither a
// baseline nor a table of pixels below it.
struct Tables {
  long long underflows = -1;
  long long words = 0;
  long long longs = 0;
  std::size_t underflow_bytes = 1;

  std::size_t bytes() const {
    return table_bytes(underflows, underflow_bytes) + table_bytes(words, 2) + table_bytes(longs, 4);
  }
};

Tables tables_of(const Records& records) {
  Tables tables{integer(records, "NOVERFL", 0, -1), integer(records, "NOVERFL", 1, 0),
                integer(records, "NOVERFL", 2, 0), static_cast<std::size_t>(integer(records, "NPIXELB", 1, 1))};
  const std::size_t bytes = tables.underflow_bytes;
  if (bytes != 1 && bytes != 2 && bytes != 4) throw LoadError("has a damaged NPIXELB");
  return tables;
}

// The number of entries of the text table of format 86.
std::size_t text_entries(const Records& records) {
  return static_cast<std::size_t>(std::max(0LL, integer(records, "NOVERFL", 0, 0)));
}

// Whether so many entries are possible: a pixel has at most one in each table.
bool fits(const Tables& tables, std::size_t pixels) {
  return std::max({tables.underflows, tables.words, tables.longs}) <= static_cast<long long>(pixels);
}

void report_too_many_overflows(Frame& frame, const LoadOptions& options) {
  report_damage(frame, options, "is damaged: it states more overflows than it has pixels");
}

// Adds the baseline. A count that does not fit then is unknown.
void add_baseline(Frame& frame, std::size_t pixel, long long baseline) {
  const long long count = frame.counts[pixel] + baseline;
  frame.counts[pixel] = static_cast<std::uint32_t>(count);
  if (count < 0 || count > std::numeric_limits<std::uint32_t>::max()) mask_pixel(frame, pixel, kUnknown);
}

// The binary tables of format 100.
void merge_tables(Frame& frame, Bytes data, const Records& records, std::size_t pixel_bytes,
                  const LoadOptions& options) {
  Tables tables = tables_of(records);
  if (!fits(tables, frame.counts.size())) {
    report_too_many_overflows(frame, options);
    tables = {};
  }
  const auto [underflows, words, longs, underflow_bytes] = tables;
  const bool big_words = integer(records, "WORDORD", 0, 0) != 0;
  const bool big_longs = integer(records, "LONGORD", 0, 0) != 0;

  const auto low = read_table(data, underflows, underflow_bytes, underflow_bytes == 2 ? big_words : big_longs);
  const auto middle = read_table(data, words, 2, big_words);
  const auto high = read_table(data, longs, 4, big_longs);
  const auto is_short = [](const std::vector<std::uint32_t>& table, long long entries) {
    return static_cast<long long>(table.size()) < entries;
  };
  if (is_short(low, underflows) || is_short(middle, words) || is_short(high, longs)) {
    report_lacking_counts(frame, options);
  }

  std::vector<bool> is_low(frame.counts.size());
  for (std::size_t i = 0; i < is_low.size(); ++i) is_low[i] = frame.counts[i] == 0;
  if (pixel_bytes == 1) replace_marked(frame, 0xFF, middle);
  replace_marked(frame, 0xFFFF, high);
  if (underflows < 0) return;
  const long long baseline = integer(records, "NEXP", 2, 0);
  auto entry = low.begin();
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    if (!is_low[i]) {
      add_baseline(frame, i, baseline);
    } else if (entry != low.end()) {
      frame.counts[i] = *entry++;
    }
  }
}

bool is_within(std::optional<double> number, double highest) {
  return number && *number >= 0.0 && *number <= highest;
}

// The text table of format 86: nine characters of count, seven of the pixel's place.
void merge_text_table(Frame& frame, Bytes data, const Records& records, std::size_t pixel_bytes,
                      const LoadOptions& options) {
  constexpr std::size_t kCount = 9;
  constexpr double kLargestCount = 999999999.0;
  std::size_t entries = text_entries(records);
  if (entries > frame.counts.size()) {
    report_too_many_overflows(frame, options);
    entries = 0;
  }
  const std::string_view text = text_of(data);
  const std::uint32_t mark = pixel_bytes == 1 ? 0xFF : 0xFFFF;
  std::vector<bool> is_merged(frame.counts.size());
  bool is_damaged = false;
  if (text.size() / kTextEntry < entries) report_lacking_counts(frame, options);
  for (std::size_t i = 0; i < std::min(entries, text.size() / kTextEntry); ++i) {
    const auto count = number_in(text.substr(i * kTextEntry, kCount));
    const auto place = number_in(text.substr(i * kTextEntry + kCount, kTextEntry - kCount));
    if (!is_within(count, kLargestCount) || !is_within(place, static_cast<double>(frame.counts.size() - 1))) {
      is_damaged = true;
      continue;
    }
    const auto pixel = static_cast<std::size_t>(*place);
    frame.counts[pixel] = static_cast<std::uint32_t>(*count);
    is_merged[pixel] = true;
  }
  if (is_damaged) report_damage(frame, options, "has a damaged table of overflows");
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    if (frame.counts[i] == mark && !is_merged[i]) mask_pixel(frame, i, kUnknown);
  }
}

Header header_values(const Records& records, const Frame& frame) {
  constexpr double kMillimetresPerCentimetre = 10.0;
  Header header;
  header.wavelength = above_zero(number(records, "WAVELEN"));
  if (const auto distance = above_zero(number(records, "DISTANC"))) {
    header.distance = *distance * kMillimetresPerCentimetre;
  }
  header.oscillation_start = number(records, "START");
  header.oscillation_range = number(records, "INCREME");
  header.exposure_time = above_zero(number(records, "ELAPSDR"));
  const auto centre = numbers(records, "CENTER");
  if (centre.size() >= 2 && is_within(centre[0], frame.width) && is_within(centre[1], frame.height)) {
    header.beam_centre = Point{centre[0], centre[1]};
  }
  header.date = text_value(records, "CREATED");
  header.detector = text_value(records, "DETTYPE");
  return header;
}

void note_linear_scale(Frame& frame, const Records& records) {
  const auto linear = numbers(records, "LINEAR");
  if (linear.size() >= 2 && (linear[0] != 1.0 || linear[1] != 0.0)) {
    frame.notes.emplace_back("has a LINEAR scale, which is not applied");
  }
}

}  // namespace

bool is_saint(Bytes file) {
  const Records records = parse_records(text_of(file).substr(0, kUsualBlocks * kBlock));
  return number(records, "NROWS") && number(records, "NCOLS");
}

std::optional<std::size_t> enough_of_saint(Bytes front, const LoadOptions& /*options*/) {
  const std::string_view text = text_of(front);
  const std::size_t header_bytes = header_size(text);
  if (header_bytes > kLongestText) return std::nullopt;
  if (header_bytes > front.size()) return with_room(header_bytes);
  const Records records = parse_records(text.substr(0, header_bytes));
  const std::size_t pixels = pixels_of_size(integer(records, "NCOLS", 0, 0), integer(records, "NROWS", 0, 0));
  const std::size_t image_end = header_bytes + pixels * sample_type(records).bytes;
  if (!has_binary_tables(records)) return with_room(image_end + kTextEntry * std::min(text_entries(records), pixels));
  const Tables tables = tables_of(records);
  return with_room(image_end + (fits(tables, pixels) ? tables.bytes() : 0));
}

Frame load_saint(Bytes file, const LoadOptions& options) {
  const std::string_view text = text_of(file);
  const std::size_t header_bytes = header_size(text);
  const Records records = parse_records(text.substr(0, std::min(header_bytes, kLongestText)));
  const SampleType type = sample_type(records);

  Frame frame;
  frame.format = Format::kSaint;
  set_size(frame, integer(records, "NCOLS", 0, 0), integer(records, "NROWS", 0, 0), options);
  frame.header = header_values(records, frame);
  frame.items = items_of(text.substr(0, std::min(header_bytes, kLongestText)));
  note_linear_scale(frame, records);
  if (options.header_only) return frame;
  const Bytes data = bytes_after(file, header_bytes);
  read_samples(frame, data, type, integer(records, "WORDORD", 0, 0) != 0, options);
  const Bytes tables = bytes_after(data, frame.counts.size() * type.bytes);
  if (has_binary_tables(records)) {
    merge_tables(frame, tables, records, type.bytes, options);
  } else {
    merge_text_table(frame, tables, records, type.bytes, options);
  }
  return frame;
}

}  // namespace frames
