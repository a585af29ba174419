// The text header of mar345 image plate files: 4096 bytes, of which the first 128 are binary words.
#include <array>
#include <cstdio>
#include <cstring>

#include "mar345/binary_header.h"
#include "support/arithmetic.h"
#include "support/c_locale.h"
#include "support/conversation.h"
#include "support/files.h"
#include "support/format_text.h"
#include "support/print_numbers.h"
#include "support/reading.h"
#include "support/text_field.h"
#include "xrdimage.h"

namespace {

using xrd::mar345::kTextBegin;
using xrd::mar345::kTextBytes;
constexpr std::size_t kHeaderBytes = xrd::mar345::kNewHeaderBytes;

using HeaderText = std::array<char, kTextBytes + 1>;  // ends with a NUL, and may hold others before
using Word = std::array<char, kTextBytes + 1>;        // as long as the text can make it

// Walks the text from keyword to keyword. The search looks at single letters only, not at whole keywords: callers rely
// on what it misses in real headers. It ends at the text's end, where every parse fails.
class Cursor {
 public:
  explicit Cursor(const HeaderText& text) : text_(text) {}

  const char* seek(char letter) {
    while (!at_end() && text_[position_] != letter) ++position_;
    return here();
  }

  // Also stops one short of `next`.
  const char* seek(char letter, char next) {
    while (!at_end() && text_[position_] != letter && text_[position_ + 1] != next) ++position_;
    return here();
  }

 private:
  bool at_end() const { return position_ == kTextBytes; }
  const char* here() const { return text_.data() + position_; }

  const HeaderText& text_;
  std::size_t position_ = 0;
};

bool read_text(HeaderText& text, const char* path) {
  const xrd::FileHandle stream = xrd::open_file(path, "r");
  if (!stream) return false;
  std::array<char, kHeaderBytes> header{};
  xrd::read_bytes(header.data(), header.size(), stream.get());
  std::memcpy(text.data(), header.data() + kTextBegin, kTextBytes);
  return true;
}

// The date is always rewritten; words that are missing are empty, and long ones are cut.
void parse_date(const char* text, char (&date)[256]) {
  std::array<Word, 5> words{};
  // cppcheck-suppress invalidscanf ; each word has room for the whole text
  static_cast<void>(std::sscanf(text, "DATE %s %s %s %s %s\n", words[0].data(), words[1].data(), words[2].data(),
                                words[3].data(), words[4].data()));
  std::snprintf(date, sizeof date, "%.31s %.31s %.31s %.31s %.31s", words[0].data(), words[1].data(), words[2].data(),
                words[3].data(), words[4].data());
}

int parse_text(const HeaderText& text, Mar345Header& header) {
  const xrd::CLocale locale;
  Cursor cursor(text);
  Word word{};
  // cppcheck-suppress invalidscanf ; likewise
  if (std::sscanf(cursor.seek('P'), "PROGRAM %s\n", word.data()) == 1) xrd::copy_cut(header.program, word.data());
  parse_date(cursor.seek('D'), header.date);
  // cppcheck-suppress invalidscanf ; likewise
  if (std::sscanf(cursor.seek('F'), "FORMAT %s\n", word.data()) == 1) xrd::copy_cut(header.format, word.data());
  static_cast<void>(std::sscanf(cursor.seek('H'), "HIGH %d\n", &header.high));
  static_cast<void>(std::sscanf(cursor.seek('L'), "LENGTH %d HEIGHT %d\n", &header.pixel_length, &header.pixel_height));
  static_cast<void>(std::sscanf(cursor.seek('R'), "ROFF %d TOFF %d\n", &header.roff, &header.toff));
  static_cast<void>(std::sscanf(cursor.seek('W'), "WAVELENGTH %lf", &header.wavelength));
  static_cast<void>(std::sscanf(cursor.seek('D'), "DISTANCE %lf\n", &header.distance));
  // The pair test makes the search stay on the D of DISTANCE, so that the time of such headers is not read.
  static_cast<void>(std::sscanf(cursor.seek('T', 'I'), "TIME %lf\n", &header.time));
  static_cast<void>(std::sscanf(cursor.seek('I'), "INTENSITY      MIN %lf  MAX %lf  AVE %lf", &header.intensity_min,
                                &header.intensity_max, &header.intensity_avg));
  const int phi_values =
      std::sscanf(cursor.seek('P'), "PHI            START %lf  END %lf  ", &header.phi_start, &header.phi_end);
  header.phi_osc = header.phi_end - header.phi_start;
  return phi_values;
}

}  // namespace

extern "C" int read_marheader(Mar345Header* header, const char* path) {
  HeaderText text{};
  if (!read_text(text, path)) return 0;
  return parse_text(text, *header);
}

extern "C" int print_marheader(const Mar345Header* header) {
  const Mar345Header& h = *header;
  xrd::print("Program %.256s\n", h.program);
  xrd::print("Date %.256s\n", h.date);
  xrd::print("Format %.256s\n", h.format);
  xrd::print("%d high, Pixelsize %d x %d nm\n", h.high, h.pixel_length, h.pixel_height);
  xrd::print("Offset Roff %d Toff %d\n", h.roff, h.toff);
  xrd::print("Gaps %d %d %d %d %d %d %d %d\n", h.gap[0], h.gap[1], h.gap[2], h.gap[3], h.gap[4], h.gap[5], h.gap[6],
             h.gap[7]);
  xrd::print("ADC A %d B %d add_a %d add_b %d\n", h.adc_a, h.adc_b, h.add_a, h.add_b);
  xrd::print_numbers("Mult %g Gain %g\n", h.multiplier, h.gain);
  xrd::print_numbers("Lambda %g Distance %g Resolution %g\n", h.wavelength, h.distance, h.resolution);
  xrd::print_numbers("Phi   %g - %g (%g)\n", h.phi_start, h.phi_end, h.phi_osc);
  xrd::print_numbers("Omega %g - %g (%g)\n", h.omega_start, h.omega_end, h.omega_osc);
  xrd::print_numbers("Chi %g 2Theta %g\n", h.chi, h.twotheta);
  xrd::print_numbers("Center %g %g\n", h.center_x, h.center_y);
  xrd::print("Mode %.256s\n", h.mode);
  xrd::print_numbers("Time %g\n", h.time);
  xrd::print_numbers("Counts %d -> %d (nmeas %d) min %g max %g avr %g sig %g\n", h.counts_start, h.counts_end, h.nmeas,
                     h.intensity_min, h.intensity_max, h.intensity_avg, h.intensity_sig);
  xrd::print_numbers("Int %d -> %d mittl %g sig %g\n", h.int_start, h.int_end, h.int_mean, h.int_sig);
  xrd::print("Histogram %d %d %d\n", h.histogram[0], h.histogram[1], h.histogram[2]);
  xrd::print_numbers("Setting %g kV %g mA %.256s Collimator %g x %g\n", h.kv, h.ma, h.source, h.collimator_width,
                     h.collimator_height);
  return xrd::print_numbers("Slit_1 %g x %g Slit_2 %g x %g Beamstop %g Xtal %g trans %g %g\n", h.slit1_x, h.slit1_y,
                            h.slit2_x, h.slit2_y, h.beamstop, h.xtal, h.trans1, h.trans2);
}

extern "C" int read_mar_header(const char* path, ImageInfo* info) {
  Mar345Header header{};
  read_marheader(&header, path);
  print_marheader(&header);
  xrd::format_text(info->file_name, path);
  info->start_angle = header.omega_start;
  info->reserved_angle = 0.0;
  info->distance = header.distance;
  info->oscillation_range = header.phi_osc;
  info->wavelength = header.wavelength;
  info->minimum = xrd::truncate_to_int(header.intensity_min);
  info->maximum = xrd::truncate_to_int(header.intensity_max);
  info->average = header.intensity_avg;
  return 1;
}
