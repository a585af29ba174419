// TIFF images of one number per pixel; libtiff compresses and writes them.
#include <tiffio.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "frames/writers/header_text.h"
#include "frames/writers/samples.h"
#include "support/tiff.h"

namespace frames {

namespace {

// ------------------------------------------------------------------------------------------------------------------
// The stream for libtiff
// ------------------------------------------------------------------------------------------------------------------

class Target : public xrd::TiffBytes {
 public:
  explicit Target(std::FILE* stream) : stream_(stream) {}

  std::size_t read(void* bytes, std::size_t size) override { return std::fread(bytes, 1, size, stream_); }
  std::size_t write(const void* bytes, std::size_t size) override { return std::fwrite(bytes, 1, size, stream_); }

  std::uint64_t seek(std::uint64_t offset, int whence) override {
    if (fseeko(stream_, static_cast<off_t>(offset), whence) != 0) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(ftello(stream_));
  }

  bool has_failed() const { return std::ferror(stream_) != 0; }

  std::uint64_t size() override {
    const off_t position = ftello(stream_);
    const std::uint64_t end = seek(0, SEEK_END);
    seek(static_cast<std::uint64_t>(position), SEEK_SET);
    return end;
  }

 private:
  std::FILE* stream_;  // the caller's
};

// Without an error of the stream, memory ran out.
void require(bool done, const Target& target) {
  if (done) return;
  if (!target.has_failed()) throw std::bad_alloc();
  throw std::runtime_error("cannot be written as TIFF: " + target.error());
}

// ------------------------------------------------------------------------------------------------------------------
// Tags
// ------------------------------------------------------------------------------------------------------------------

// The date in the format's form, "2024:05:06 07:08:09"; nothing for dates in other forms.
std::optional<std::string> tiff_date(const std::optional<std::string>& date) {
  constexpr std::string_view kForm = "0000:00:00 00:00:00";
  if (!date || date->size() != kForm.size()) return std::nullopt;
  std::string text = *date;
  for (const std::size_t i : {4U, 7U}) {
    if (text[i] == '-') text[i] = ':';
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool is_digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (kForm[i] == '0' ? !is_digit : text[i] != kForm[i]) return std::nullopt;
  }
  return text;
}

// The header values, for people.
std::string description(const Header& header) {
  std::string text;
  const auto add = [&](const char* name, std::optional<double> number, const char* unit) {
    if (number && std::isfinite(*number)) text += std::string(name) + " " + number_text(*number) + " " + unit + "\n";
  };
  const auto add_point = [&](const char* name, const std::optional<Point>& point, const char* unit) {
    if (point)
      text += std::string(name) + " " + number_text(point->x) + " " + number_text(point->y) + " " + unit + "\n";
  };
  const auto add_text = [&](const char* name, const std::optional<std::string>& value) {
    if (value) text += std::string(name) + " " + header_value(*value) + "\n";
  };
  add("wavelength", header.wavelength, "A");
  add("distance", header.distance, "mm");
  add("oscillation start", header.oscillation_start, "degrees");
  add("oscillation range", header.oscillation_range, "degrees");
  add("exposure time", header.exposure_time, "s");
  add_point("pixel size", header.pixel_size, "mm");
  add_point("beam centre", header.beam_centre, "pixels");
  add("saturation", header.saturation, "counts");
  add_text("date", header.date);
  add_text("detector", header.detector);
  return text;
}

void set_header_values(tiff* image, const Header& header) {
  const std::string text = description(header);
  if (!text.empty()) TIFFSetField(image, TIFFTAG_IMAGEDESCRIPTION, text.c_str());
  const std::string model = header_value(header.detector.value_or(""));
  if (!model.empty()) TIFFSetField(image, TIFFTAG_MODEL, model.c_str());
  if (const auto date = tiff_date(header.date)) TIFFSetField(image, TIFFTAG_DATETIME, date->c_str());
  if (header.pixel_size && header.pixel_size->x > 0 && header.pixel_size->y > 0) {
    constexpr double kMillimetresPerCentimetre = 10;
    TIFFSetField(image, TIFFTAG_XRESOLUTION, kMillimetresPerCentimetre / header.pixel_size->x);
    TIFFSetField(image, TIFFTAG_YRESOLUTION, kMillimetresPerCentimetre / header.pixel_size->y);
    TIFFSetField(image, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
  }
}

void set_layout(tiff* image, const Frame& frame, SampleType type, std::uint32_t rows_per_strip) {
  TIFFSetField(image, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(frame.width));
  TIFFSetField(image, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(frame.height));
  TIFFSetField(image, TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * type.bytes));
  TIFFSetField(image, TIFFTAG_SAMPLEFORMAT, type == kSigned32 ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT);
  TIFFSetField(image, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(image, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(image, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(image, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
  TIFFSetField(image, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(image, TIFFTAG_ZIPQUALITY, 1);  // ten times as fast as the default, for a fifth more bytes
  TIFFSetField(image, TIFFTAG_ROWSPERSTRIP, rows_per_strip);
}

}  // namespace

void write_tiff(const Frame& frame, const WriteOptions& options, std::FILE* stream, Remarks& remarks) {
  constexpr std::size_t kStripBytes = std::size_t{128} << 10;
  const SampleType type = fitting_type(frame, options, remarks);
  const auto width = static_cast<std::size_t>(frame.width);
  const auto height = static_cast<std::size_t>(frame.height);
  const std::size_t row_bytes = width * type.bytes;
  const std::size_t strip_rows = std::clamp(kStripBytes / row_bytes, std::size_t{1}, height);

  Target target(stream);
  const xrd::TiffHandle image = xrd::open_tiff(target, "wm");
  require(image != nullptr, target);
  set_layout(image.get(), frame, type, static_cast<std::uint32_t>(strip_rows));
  set_header_values(image.get(), frame.header);
  std::vector<unsigned char> samples(strip_rows * row_bytes);
  std::uint32_t strip = 0;
  for (std::size_t top = 0; top < height; top += strip_rows, ++strip) {
    const std::size_t rows = std::min(strip_rows, height - top);
    copy_samples(frame, type, top * width, rows * width, samples.data());
    const auto size = static_cast<tmsize_t>(rows * row_bytes);
    require(TIFFWriteEncodedStrip(image.get(), strip, samples.data(), size) == size, target);
  }
  require(TIFFFlush(image.get()) == 1 && !target.has_error(), target);  // a tag may have been left out
}

}  // namespace frames
