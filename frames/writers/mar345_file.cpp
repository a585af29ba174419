#include "frames/writers/mar345_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <limits>

#include "mar345/binary_header.h"
#include "xrdimage.h"

namespace frames {

static_assert(std::endian::native == std::endian::little, "words are written in the processor's order");

namespace {

namespace mar345 = xrd::mar345;

constexpr std::size_t kLineBytes = 64;
constexpr std::size_t kRecordWords = mar345::kRecordBytes / sizeof(std::int32_t);
constexpr std::size_t kBlockWords = 16;  // overflow records fill whole blocks of eight
constexpr std::uint32_t kLargestWord = 65535;
constexpr std::int32_t kUnknownRecord = -1;

// Lines of 64 characters, the keyword in the first fifteen.
class HeaderText {
 public:
  // NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
  [[gnu::format(printf, 3, 4)]] void add(const char* keyword, const char* format, ...) {
    std::array<char, kLineBytes> values{};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(values.data(), values.size(), format, arguments);
    va_end(arguments);
    std::array<char, 2 * kLineBytes> line{};
    std::snprintf(line.data(), line.size(), "%-15s%-63s", keyword, values.data());
    text_.append(line.data(), kLineBytes - 1).push_back('\n');
  }

  // Filled up with blanks to the header's size.
  std::string finish() && {
    text_.resize(mar345::kTextBytes, ' ');
    return std::move(text_);
  }

 private:
  std::string text_;
};

// As the scanner's program computes it: pixels that were hit, which those outside the round plate never are.
struct Intensities {
  std::uint32_t minimum = 0;
  std::uint32_t maximum = 0;
  double mean = 0;
  double sigma = 0;
  std::uint32_t histogram_end = 0;    // 99.9 % of the pixels have no larger count
  std::size_t histogram_maximum = 0;  // pixels that have the most frequent count
};

// A count and how many pixels have it.
struct Frequency {
  std::uint32_t count = 0;
  std::size_t pixels = 0;
};

// Of each count but 0, in rising order. Nearly all counts have 16 bits and need no sorting.
std::vector<Frequency> frequencies_of(const std::vector<std::uint32_t>& counts) {
  std::vector<std::size_t> pixels(std::size_t{kLargestWord} + 1);
  std::vector<std::uint32_t> large;
  for (const std::uint32_t count : counts) {
    if (count <= kLargestWord) {
      ++pixels[count];
    } else {
      large.push_back(count);
    }
  }
  std::vector<Frequency> frequencies;
  for (std::uint32_t count = 1; count <= kLargestWord; ++count) {
    if (pixels[count] > 0) frequencies.push_back({count, pixels[count]});
  }
  std::ranges::sort(large);
  for (auto first = large.begin(); first != large.end();) {
    const auto end = std::ranges::upper_bound(first, large.end(), *first);
    frequencies.push_back({*first, static_cast<std::size_t>(end - first)});
    first = end;
  }
  return frequencies;
}

Intensities intensities_of(const std::vector<std::uint32_t>& counts) {
  const std::vector<Frequency> frequencies = frequencies_of(counts);
  if (frequencies.empty()) return {};
  Intensities intensities;
  std::size_t hit = 0;
  double sum = 0;
  double squares = 0;
  for (const Frequency& frequency : frequencies) {
    const auto pixels = static_cast<double>(frequency.pixels);
    sum += pixels * frequency.count;
    squares += pixels * frequency.count * frequency.count;
    hit += frequency.pixels;
    intensities.histogram_maximum = std::max(intensities.histogram_maximum, frequency.pixels);
  }
  const auto pixels = static_cast<double>(hit);
  intensities.minimum = frequencies.front().count;
  intensities.maximum = frequencies.back().count;
  intensities.mean = sum / pixels;
  intensities.sigma = std::sqrt(std::max(0.0, squares / pixels - intensities.mean * intensities.mean));
  std::size_t above = 0;
  for (auto frequency = frequencies.rbegin(); above <= hit / 1000; ++frequency) {
    intensities.histogram_end = frequency->count;
    above += frequency->pixels;
  }
  return intensities;
}

// Lattice spacing at the plate's edge, in ångström.
double edge_resolution(const Mar345Frame& frame) {
  const double radius = frame.size / 2.0 * *frame.pixel_length / 1000;
  return *frame.wavelength / (2 * std::sin(std::atan(radius / *frame.distance) / 2));
}

// The number with so many decimals, and a decimal point in every locale.
std::string fixed(double number, int decimals) {
  std::array<char, 400> text{};  // as long as the largest double
  char* const begin = text.data();
  return {begin, std::to_chars(begin, begin + text.size(), number, std::chars_format::fixed, decimals).ptr};
}

// The number with at least so many decimals; 0 if it is unknown or not finite.
std::string decimal(std::optional<double> number, std::size_t decimals) {
  constexpr int kMostDecimals = 7;
  const bool is_known = number && std::isfinite(*number);
  std::string digits = fixed(is_known ? *number : 0, kMostDecimals);
  const std::size_t point = digits.find('.');
  if (point == digits.npos) return digits;
  const std::size_t shortest = decimals == 0 ? point : point + 1 + decimals;
  while (digits.size() > shortest && (digits.back() == '0' || digits.back() == '.')) digits.pop_back();
  return digits;
}

// Readers go from keyword to keyword in this order, and get lost without the first ones. These are written with
// nothing or 0 if the value is unknown; readers take that for no value.
void add_frame_lines(HeaderText& text, const Mar345Frame& frame, std::size_t overflows) {
  text.add("mar research", "%s", "");
  text.add("PROGRAM", "%s", frame.program.c_str());
  text.add("DATE", "%s", frame.date.c_str());
  text.add("SCANNER", "1");
  text.add("FORMAT", "%d  PCK %d", frame.size, frame.size * frame.size);
  text.add("HIGH", "%zu", overflows);
  text.add("PIXEL", "LENGTH %s  HEIGHT %s", decimal(frame.pixel_length, 0).c_str(),
           decimal(frame.pixel_height, 0).c_str());
  text.add("OFFSET", "ROFF 0  TOFF 0");
  text.add("GAPS", "0 0 0 0 0 0 0 0");
  text.add("ADC", "A 0  B 0  ADD_A 0  ADD_B 0");
  text.add("MULTIPLIER", "1.000");
  text.add("GAIN", "1.000");
  text.add("WAVELENGTH", "%s", decimal(frame.wavelength, 5).c_str());
  text.add("DISTANCE", "%s", decimal(frame.distance, 3).c_str());
}

void add_goniometer_lines(HeaderText& text, const Mar345Frame& frame) {
  if (frame.pixel_length && frame.wavelength && frame.distance) {
    text.add("RESOLUTION", "%s", fixed(edge_resolution(frame), 3).c_str());
  }
  if (frame.phi_start && frame.phi_end) {
    text.add("PHI", "START %s  END %s  OSC 1", decimal(frame.phi_start, 3).c_str(), decimal(frame.phi_end, 3).c_str());
  } else if (frame.phi_start) {
    text.add("PHI", "START %s", decimal(frame.phi_start, 3).c_str());
  }
  text.add("OMEGA", "START 0.000  END 0.000  OSC 0");
  text.add("CHI", "0.000");
  text.add("TWOTHETA", "0.000");
  if (frame.centre) {
    text.add("CENTER", "X %s  Y %s", decimal(frame.centre->x, 3).c_str(), decimal(frame.centre->y, 3).c_str());
  }
  text.add("MODE", "TIME");
  if (frame.exposure_seconds) text.add("TIME", "%s", decimal(frame.exposure_seconds, 2).c_str());
}

std::string header_text(const Mar345Frame& frame, std::size_t overflows) {
  const Intensities intensities = intensities_of(frame.counts);
  HeaderText text;
  add_frame_lines(text, frame, overflows);
  add_goniometer_lines(text, frame);
  text.add("COUNTS", "START 0.00 END 0.00  NMEAS 0");
  text.add("COUNTS", "MIN 0.00  MAX 0.00");
  text.add("COUNTS", "AVE 0.00  SIG 0.00");
  text.add("INTENSITY", "MIN %u  MAX %u  AVE %s  SIG %s", intensities.minimum, intensities.maximum,
           fixed(intensities.mean, 1).c_str(), fixed(intensities.sigma, 2).c_str());
  text.add("HISTOGRAM", "START 0  END %u  MAX %zu", intensities.histogram_end, intensities.histogram_maximum);
  if (frame.kilovolt && frame.milliampere) {
    text.add("GENERATOR", "SEALED TUBE  kV %s  mA %s", fixed(*frame.kilovolt, 1).c_str(),
             fixed(*frame.milliampere, 1).c_str());
    text.add("MONOCHROMATOR", "GRAPHITE  POLAR 0.000");
    text.add("COLLIMATOR", "WIDTH 0.50  HEIGHT 0.50");
  }
  if (!frame.remark.empty()) text.add("REMARK", "%s", frame.remark.c_str());
  if (!frame.detector.empty()) text.add("DETECTOR", "%s", frame.detector.c_str());
  text.add("END OF HEADER", "%s", "");
  return std::move(text).finish();
}

// Real values as the whole numbers of the binary header; 0 if unknown.
std::int32_t scaled(std::optional<double> value, double scale) {
  constexpr double kLargest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::lround(std::clamp(value.value_or(0) * scale, -kLargest, kLargest)));
}

template <typename Word>
void write_words(const std::vector<Word>& words, std::FILE* stream) {
  std::fwrite(words.data(), sizeof(Word), words.size(), stream);
}

std::vector<std::int32_t> binary_header(const Mar345Frame& frame, std::size_t overflows) {
  std::vector<std::int32_t> words{mar345::kNewLayoutMark,  // tells the byte order, too
                                  frame.size,
                                  static_cast<std::int32_t>(overflows),
                                  1,  // packed
                                  1,  // exposed by time
                                  frame.size * frame.size,
                                  scaled(frame.pixel_length, 1),
                                  scaled(frame.pixel_height, 1),
                                  scaled(frame.wavelength, 1e6),
                                  scaled(frame.distance, 1e3),
                                  scaled(frame.phi_start, 1e3),
                                  scaled(frame.phi_end, 1e3)};
  words.resize(mar345::kTextBegin / sizeof(std::int32_t));
  return words;
}

bool is_unknown(const Mar345Frame& frame, std::size_t pixel) {
  return !frame.unknown.empty() && frame.unknown[pixel];
}

// Index and count of each pixel that 16 bits do not hold.
std::vector<std::int32_t> overflow_records(const Mar345Frame& frame) {
  std::vector<std::int32_t> words;
  for (std::size_t i = 0; i < frame.counts.size(); ++i) {
    const bool no_count = is_unknown(frame, i);
    if (frame.counts[i] <= kLargestWord && !no_count) continue;
    words.push_back(static_cast<std::int32_t>(i));
    words.push_back(no_count ? kUnknownRecord : static_cast<std::int32_t>(frame.counts[i]));
  }
  return words;
}

}  // namespace

void write_mar345(const Mar345Frame& frame, std::FILE* stream) {
  std::vector<std::int32_t> records = overflow_records(frame);
  const std::size_t overflows = records.size() / kRecordWords;
  records.resize((records.size() + kBlockWords - 1) / kBlockWords * kBlockWords);
  std::vector<short> words(frame.counts.size());
  std::ranges::transform(frame.counts, words.begin(), [](std::uint32_t count) {
    return static_cast<short>(static_cast<std::uint16_t>(count));  // of overflowed pixels the low bits
  });

  write_words(binary_header(frame, overflows), stream);
  std::fputs(header_text(frame, overflows).c_str(), stream);
  write_words(records, stream);
  pack_wordimage_c(words.data(), frame.size, frame.size, stream);
}

}  // namespace frames
