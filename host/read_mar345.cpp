// mar345 image plate frames: the library's pixels and header values, and a look at what its results do not tell.
#include <array>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

#include "host/failure.h"
#include "host/header_values.h"
#include "host/readers.h"
#include "support/files.h"
#include "support/image_size.h"
#include "xrdimage.h"

namespace host {

namespace {

// The library leaves the fields of keywords that it does not find as they were.
constexpr double kNotFound = std::numeric_limits<double>::quiet_NaN();
constexpr int kNoCount = INT_MIN;

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
  std::array<char, 600> text{};
  va_list values;
  va_start(values, format);
  std::vsnprintf(text.data(), text.size(), format, values);
  va_end(values);
  return text.data();
}

// The values of the text header that the library finds.
std::vector<HeaderValue> read_header(const ReadRequest& request) {
  Mar345Header header{};
  header.high = header.pixel_length = header.pixel_height = kNoCount;
  header.wavelength = header.distance = header.phi_start = header.phi_end = header.time = kNotFound;
  header.intensity_min = header.intensity_max = header.intensity_avg = kNotFound;
  call_reader(request, [&] { read_marheader(&header, request.path.c_str()); });

  std::vector<HeaderValue> values;
  const auto add_real = [&](const char* key, double value, const char* unit) {
    if (!std::isnan(value)) add_number(values, key, value, unit);
  };
  add_text(values, "program", header.program);
  add_text(values, "date", header.date);
  add_text(values, "format", header.format);
  if (header.high != kNoCount) add_number(values, "overflow records", header.high);
  if (header.pixel_height != kNoCount) {
    values.push_back({"pixel size", formatted("%d x %d µm", header.pixel_length, header.pixel_height)});
  }
  add_real("wavelength", header.wavelength, "Å");
  add_real("distance", header.distance, "mm");
  add_real("phi start", header.phi_start, "degrees");
  add_real("phi end", header.phi_end, "degrees");
  add_real("oscillation", header.phi_osc, "degrees");
  add_real("exposure time", header.time, "s");
  add_real("header minimum", header.intensity_min, "counts");
  add_real("header maximum", header.intensity_max, "counts");
  add_real("header mean", header.intensity_avg, "counts");
  return values;
}

// Leaves the stream behind the header line of the packed image. A size of 0 x 0 if there is none.
FrameSize find_packed_image(std::FILE* stream) {
  char* line = nullptr;
  std::size_t capacity = 0;
  FrameSize size;
  while ((size.width == 0 || size.height == 0) && getline(&line, &capacity, stream) >= 0) {
    size = {};
    static_cast<void>(std::sscanf(line, "CCP4 packed image, X: %4d, Y: %4d", &size.width, &size.height));
  }
  std::free(line);
  if (size.width == 0 || size.height == 0) return {};
  return size;
}

// Data that end early are made up by the library without a word. It reads no byte that it does not need, so a second
// decoding meets the end of the file only when bytes are missing.
void check_packed_image(const ReadRequest& request, FrameSize header_size) {
  const xrd::FileHandle stream = xrd::open_file(request.path.c_str(), "r");
  const FrameSize size = stream ? find_packed_image(stream.get()) : FrameSize{};
  const auto pixels = xrd::allocatable_pixels(size.width, size.height);
  if (!pixels || *pixels == 0) {
    report_damage(request, "is truncated or damaged: it holds no packed image");
    return;
  }
  const auto scratch = xrd::allocate_zeroed<short>(*pixels);
  if (!scratch) throw Failure(request.path, "no memory to check the packed image");
  unpack_word(stream.get(), size.width, size.height, scratch.get());
  if (std::feof(stream.get()) != 0) report_damage(request, "is truncated: the packed image ends early");
  if (size.width != header_size.width || size.height != header_size.height) {
    report_damage(request, formatted("is damaged: the packed image has %d x %d pixels, the header says %d x %d",
                                     size.width, size.height, header_size.width, header_size.height));
  }
}

}  // namespace

Frame read_mar345(const ReadRequest& request) {
  Frame frame;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    new_read_pck(request.path.c_str(), &daten, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  check_packed_image(request, frame.size);
  frame.header = read_header(request);
  return frame;
}

}  // namespace host
