#include "host/mar345_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstddef>

#include "xrdimage.h"

namespace host {

static_assert(std::endian::native == std::endian::little, "words are written in the processor's order");

namespace {

constexpr std::size_t kBinaryBytes = 128;
constexpr std::size_t kTextBytes = 3968;
constexpr std::size_t kLineBytes = 64;
constexpr std::size_t kRecordWords = 2;
constexpr std::size_t kBlockWords = 16;  // overflow records fill whole blocks of eight
constexpr std::uint32_t kLargestWord = 65535;

// Lines of 64 characters, the keyword in the first fifteen.
class HeaderText {
 public:
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
    text_.resize(kTextBytes, ' ');
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
  std::uint32_t histogram_end = 0;    // 99.9 % of the pixels are not above
  std::size_t histogram_maximum = 0;  // pixels that have the most frequent count
};

Intensities intensities_of(const std::vector<std::uint32_t>& counts) {
  std::vector<std::uint32_t> hit;
  std::ranges::copy_if(counts, std::back_inserter(hit), [](std::uint32_t count) { return count != 0; });
  if (hit.empty()) return {};
  std::ranges::sort(hit);
  double sum = 0;
  double squares = 0;
  std::size_t most_frequent = 0;
  for (std::size_t first = 0; first < hit.size();) {
    const std::size_t end = static_cast<std::size_t>(std::ranges::upper_bound(hit, hit[first]) - hit.begin());
    const auto pixels = static_cast<double>(end - first);
    sum += pixels * hit[first];
    squares += pixels * hit[first] * hit[first];
    most_frequent = std::max(most_frequent, end - first);
    first = end;
  }
  const auto pixels = static_cast<double>(hit.size());
  const double mean = sum / pixels;
  const double sigma = std::sqrt(std::max(0.0, squares / pixels - mean * mean));
  return {hit.front(), hit.back(), mean, sigma, hit[hit.size() - 1 - hit.size() / 1000], most_frequent};
}

// Lattice spacing at the plate's edge, in ångström.
double edge_resolution(const Mar345Frame& frame) {
  const double radius = frame.size / 2.0 * frame.pixel_micrometres / 1000;
  return frame.wavelength / (2 * std::sin(std::atan(radius / frame.distance) / 2));
}

std::string header_text(const Mar345Frame& frame, std::size_t overflows) {
  const Intensities intensities = intensities_of(frame.counts);
  const double center = frame.size / 2.0;
  HeaderText text;
  text.add("mar research", "%s", "");
  text.add("PROGRAM", "%s", frame.program.c_str());
  text.add("DATE", "%s", frame.date.c_str());
  text.add("SCANNER", "1");
  text.add("FORMAT", "%d  PCK %d", frame.size, frame.size * frame.size);
  text.add("HIGH", "%zu", overflows);
  text.add("PIXEL", "LENGTH %d  HEIGHT %d", frame.pixel_micrometres, frame.pixel_micrometres);
  text.add("OFFSET", "ROFF 0  TOFF 0");
  text.add("GAPS", "0 0 0 0 0 0 0 0");
  text.add("ADC", "A 0  B 0  ADD_A 0  ADD_B 0");
  text.add("MULTIPLIER", "1.000");
  text.add("GAIN", "1.000");
  text.add("WAVELENGTH", "%.5f", frame.wavelength);
  text.add("DISTANCE", "%.3f", frame.distance);
  text.add("RESOLUTION", "%.3f", edge_resolution(frame));
  text.add("PHI", "START %.3f  END %.3f  OSC 1", frame.phi_start, frame.phi_end);
  text.add("OMEGA", "START 0.000  END 0.000  OSC 0");
  text.add("CHI", "0.000");
  text.add("TWOTHETA", "0.000");
  text.add("CENTER", "X %.3f  Y %.3f", center, center);
  text.add("MODE", "TIME");
  text.add("TIME", "%.2f", frame.exposure_seconds);
  text.add("COUNTS", "START 0.00 END 0.00  NMEAS 0");
  text.add("COUNTS", "MIN 0.00  MAX 0.00");
  text.add("COUNTS", "AVE 0.00  SIG 0.00");
  text.add("INTENSITY", "MIN %u  MAX %u  AVE %.1f  SIG %.2f", intensities.minimum, intensities.maximum,
           intensities.mean, intensities.sigma);
  text.add("HISTOGRAM", "START 0  END %u  MAX %zu", intensities.histogram_end, intensities.histogram_maximum);
  text.add("GENERATOR", "SEALED TUBE  kV %.1f  mA %.1f", frame.kilovolt, frame.milliampere);
  text.add("MONOCHROMATOR", "GRAPHITE  POLAR 0.000");
  text.add("COLLIMATOR", "WIDTH 0.50  HEIGHT 0.50");
  text.add("REMARK", "%s", frame.remark.c_str());
  text.add("DETECTOR", "mar345");
  text.add("END OF HEADER", "%s", "");
  return std::move(text).finish();
}

// Real values as the whole numbers of the binary header.
std::int32_t scaled(double value, double scale) {
  return static_cast<std::int32_t>(std::lround(value * scale));
}

template <typename Word>
void write_words(const std::vector<Word>& words, std::FILE* stream) {
  std::fwrite(words.data(), sizeof(Word), words.size(), stream);
}

std::vector<std::int32_t> binary_header(const Mar345Frame& frame, std::size_t overflows) {
  std::vector<std::int32_t> words{1234,  // marks the layout and tells the byte order
                                  frame.size,
                                  static_cast<std::int32_t>(overflows),
                                  1,  // packed
                                  1,  // exposed by time
                                  frame.size * frame.size,
                                  frame.pixel_micrometres,
                                  frame.pixel_micrometres,
                                  scaled(frame.wavelength, 1e6),
                                  scaled(frame.distance, 1e3),
                                  scaled(frame.phi_start, 1e3),
                                  scaled(frame.phi_end, 1e3)};
  words.resize(kBinaryBytes / sizeof(std::int32_t));
  return words;
}

// Index and count of each pixel that 16 bits do not hold.
std::vector<std::int32_t> overflow_records(const std::vector<std::uint32_t>& counts) {
  std::vector<std::int32_t> words;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] <= kLargestWord) continue;
    words.push_back(static_cast<std::int32_t>(i));
    words.push_back(static_cast<std::int32_t>(counts[i]));
  }
  return words;
}

}  // namespace

void write_mar345(const Mar345Frame& frame, std::FILE* stream) {
  std::vector<std::int32_t> records = overflow_records(frame.counts);
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

}  // namespace host
