// CCD frames with an ADSC-style text header: lines KEY=value; between braces, then 16-bit pixels.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <utility>

#include "support/conversation.h"
#include "support/files.h"
#include "support/header_keys.h"
#include "support/image_size.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/pixels.h"
#include "support/print_numbers.h"
#include "xrdimage.h"

namespace {

// Header values that the caller does not receive; printed in the summary.
struct Summary {
  int detector_serial = -1;
  int dimensions = -1;
  int saturation = -1;
  double pixel_size = -1.0;
  double beam_x = 0.0;
  double beam_y = 0.0;
  char byte_order[32] = "";
  char type[32] = "";
  char adc[16] = "";
  char bin[16] = "";
  char axis[16] = "";
  std::array<xrd::HeaderWord, 5> date_words{};
};

// Header values for the caller.
struct Values {
  int width;
  int height;
  double* distance;
  double* wavelength;
  double* osc_start;
  double* osc_range;
  double* time;
};

void read_header(std::FILE* stream, Values& values, Summary& summary) {
  int ignored_int = 0;
  double ignored_real = 0.0;
  const xrd::HeaderKey keys[] = {
      {"HEADER_BYTES=%d;", &ignored_int},  // the pixels follow the closing brace, whatever this says
      {"WAVELENGTH=%lf;", values.wavelength},
      {"BYTE_ORDER=%s;", summary.byte_order},
      {"TYPE=%s;", summary.type},
      {"ADC=%s;", summary.adc},
      {"BIN=%s;", summary.bin},
      {"DATE=%s %s %s %s %s;", xrd::HeaderWords{summary.date_words.data(), 5}},
      {"AXIS=%s;", summary.axis},
      {"SIZE1=%d;", &values.width},
      {"SIZE2=%d;", &values.height},
      {"DIM=%d;", &summary.dimensions},
      {"DETECTOR_SN=%d;", &summary.detector_serial},
      {"CCD_IMAGE_SATURATION=%d;", &summary.saturation},
      {"PIXEL_SIZE=%lf;", &summary.pixel_size},
      {"BEAM_CENTER_X=%lf;", &summary.beam_x},
      {"BEAM_CENTER_Y=%lf;", &summary.beam_y},
      {"TIME=%lf;", values.time},
      {"DISTANCE=%lf;", values.distance},
      {"OSC_RANGE=%lf;", values.osc_range},
      {"OSC_START=%lf;", values.osc_start},
      {"PHI=%lf;", &ignored_real},
  };
  xrd::read_braced_header(stream, keys);
}

void print_summary(const Values& values, const Summary& summary) {
  std::array<char, 80> date{};
  const auto& words = summary.date_words;
  if (words[0][0] != '\0') {
    std::snprintf(date.data(), date.size(), "%.9s %.9s %.9s %.9s %.9s", words[0].data(), words[1].data(),
                  words[2].data(), words[3].data(), words[4].data());
  }
  xrd::print("# detector=%d type=%s adc=%s bin=%s saturation=%d\n", summary.detector_serial, summary.type, summary.adc,
             summary.bin, summary.saturation);
  xrd::print_numbers("# Dim=%d, x=%d y=%d, Beam_x=%3.1f, Beam_y=%3.1f pixelsize=%6.5f\n", summary.dimensions,
                     values.width, values.height, summary.beam_x, summary.beam_y, summary.pixel_size);
  xrd::print("# Date=%s\n", date.data());
  // The line prints the oscillation range as the end; callers rely on it.
  xrd::print_numbers("# Lambda=%5.4f, Axis=%s start=%4.3f, end=%4.3f, time=%g\n", *values.wavelength, summary.axis,
                     *values.osc_start, *values.osc_range, *values.time);
}

// Exchanges the lower two bytes of each 32-bit word, that is of every second sample; callers rely on exactly this.
void convert_byte_order(unsigned int* words, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    words[i] = (words[i] & 0xFFFF0000U) | (words[i] >> 8 & 0xFFU) | (words[i] & 0xFFU) << 8;
  }
}

}  // namespace

extern "C" int read_bnl(const char* filename, int /*reserved*/, unsigned int** daten, int* width, int* height,
                        double* distance, double* wavelength, double* osc_start, double* osc_range, double* time) {
  *distance = *wavelength = *osc_start = *osc_range = *time = -1.0;
  xrd::FileHandle stream = xrd::open_file(filename, "r");
  if (!stream) {
    xrd::print("# " XRD_PLAIN_ERROR " reading File %s\n", filename);
    return 0;
  }
  Values values{*width, *height, distance, wavelength, osc_start, osc_range, time};
  Summary summary;
  read_header(stream.get(), values, summary);
  print_summary(values, summary);

  const auto pixels = xrd::allocatable_pixels(values.width, values.height);
  auto image = pixels ? xrd::allocate_unset<unsigned int>(*pixels) : nullptr;
  if (!image) {
    xrd::print("# " XRD_PLAIN_ERROR " reading File %s: cannot allocate %d x %d pixels\n", filename, values.width,
               values.height);
    return 0;
  }
  // The samples stay side by side: they fill the array's first half, two to a word.
  const std::size_t bytes =
      xrd::read_zero_padded(std::span(image.get(), *pixels), *pixels * sizeof(std::uint16_t), stream.get());
  stream.reset();
  if (std::strcmp(summary.byte_order, "big_endian") == 0) {
    xrd::print("# Byte_order is OK. No convertion needed\n");
  } else {
    xrd::print("# Byte_order convertion needed....");
    convert_byte_order(image.get(), (bytes + 3) / 4);  // all others are 0
    xrd::print("# done\n");
  }
  xrd::print("# %d %d * %d bereitgestellt\n", values.width, values.height, 4);
  *width = values.width;
  *height = values.height;
  *daten = image.release();
  return 0;
}
