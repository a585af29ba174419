#include <array>
#include <string>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace corpus {

namespace {

using Words = std::vector<std::uint32_t>;

std::string file_bytes(const Words& words, bool swapped) {
  std::string bytes;
  for (const std::uint32_t word : words) {
    std::string four = test::little32(word);
    if (swapped) std::reverse(four.begin(), four.end());
    bytes += four;
  }
  return bytes;
}

// The text behind the binary words. Each '#' becomes a number of its own.
std::string text_header(Run& run) {
  std::string text =
      "mar research  PROGRAM scan345 3.2\nDATE Mon Jan 12 10:11:12 2004\nFORMAT 2300 MAR345 5290000\nHIGH #\n"
      "PIXEL LENGTH 150 HEIGHT 150\nOFFSET ROFF # TOFF #\nWAVELENGTH 0.#\nDISTANCE #.5\nMULTIPLIER 1.000 TIME #.25\n"
      "INTENSITY      MIN #  MAX #.75  AVE #.#\nPHI            START #.5  END #.75  OSC 1\n";
  for (std::size_t at = text.find('#'); at != std::string::npos; at = text.find('#', at)) {
    text.replace(at, 1, std::to_string(run.random.between(0, 99999)));
  }
  return text;
}

struct Layout {
  bool is_new;
  bool swapped;
};
constexpr std::array<Layout, 4> kLayouts{{{true, false}, {true, true}, {false, false}, {false, true}}};

struct Frame {
  int size;
  int records;
  std::size_t records_end;
  std::string bytes;
};

// Overflow records, some of them beside the image, and a packed image.
Frame mar345_frame(Run& run, Layout layout) {
  const int size = layout.is_new ? run.random.between(2, 40) : run.random.between(101, 120);
  const int records = run.random.between(0, 30);
  const auto count = static_cast<std::uint32_t>(records);
  const auto edge = static_cast<std::uint32_t>(size);
  const Words header =
      layout.is_new ? Words{1234, edge, count, 0, 0, 0, 0, 0, 0, 0} : Words{edge, 0, 0, 0, count, 0, 0, 0, 0, 0};
  std::string bytes = file_bytes(header, layout.swapped);
  bytes.resize(128, ' ');
  bytes += text_header(run);
  bytes.resize(layout.is_new ? 4096 : 2 * static_cast<std::size_t>(size), ' ');
  for (int i = 0; i < records; ++i) {
    const auto position = static_cast<std::uint32_t>(run.random.between(-5, size * size + 5));
    bytes += file_bytes({position, static_cast<std::uint32_t>(run.random.between(-10, 300000))}, layout.swapped);
  }
  const std::size_t records_end = bytes.size();
  const auto pixel_count = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
  auto pixels = run.random.numbers<short>(pixel_count, 16);
  bytes += written([&](std::FILE* stream) { pack_wordimage_c(pixels.data(), size, size, stream); });
  return {size, records, records_end, bytes};
}

void record_header(Run& run, const Mar345Header& header) {
  Digest& digest = run.digest;
  digest.add_all(header.program, header.date, header.format, header.high, header.pixel_length, header.pixel_height,
                 header.roff, header.toff, header.adc_a, header.adc_b, header.add_a, header.add_b, header.multiplier,
                 header.gain, header.wavelength, header.distance, header.resolution, header.phi_start, header.phi_end,
                 header.phi_osc, header.omega_start, header.omega_end, header.omega_osc, header.chi, header.twotheta,
                 header.center_x, header.center_y, header.mode, header.time, header.counts_start, header.counts_end,
                 header.nmeas, header.intensity_min, header.intensity_max, header.intensity_avg, header.intensity_sig,
                 header.int_start, header.int_end, header.int_mean, header.int_sig, header.kv, header.ma, header.source,
                 header.collimator_width, header.collimator_height, header.slit1_x, header.slit1_y, header.slit2_x,
                 header.slit2_y, header.beamstop, header.xtal, header.trans1, header.trans2);
  digest.add(header.gap, 8);
  digest.add(header.histogram, 3);
}

std::vector<const char*> header_files(Run& run) {
  run.write("frame%d.mar2300", std::string(128, '\0') + text_header(run));
  run.write("words.mar2300", std::string(128, 'D') + "PROGRAM a DATE a b c FORMAT TIFF PHI START 1");
  run.write("empty.mar2300", "");
  return {"frame%d.mar2300", "words.mar2300", "empty.mar2300", "absent.mar2300"};
}

void text_headers(Run& run) {
  for (int round = 0; round < 5; ++round) {
    for (const char* name : header_files(run)) {
      Mar345Header header{};
      run.record([&] { return read_marheader(&header, name); });
      record_header(run, header);
    }
  }
}

void header_summaries(Run& run) {
  for (int round = 0; round < 5; ++round) {
    for (const char* name : header_files(run)) {
      ImageInfo info{};
      run.record([&] { return read_mar_header(name, &info); });
      run.digest.add_all(info.overflow_count, info.start_angle, info.reserved_angle, info.distance,
                         info.oscillation_range, info.wavelength, info.exposure_time, info.minimum, info.maximum,
                         info.average, info.file_name);
    }
  }
}

void printed_headers(Run& run) {
  const auto real = [&] { return run.random.between(-9999999, 9999999) / 512.0; };
  for (const char* name : header_files(run)) {
    Mar345Header header{};
    read_marheader(&header, name);
    for (int& gap : header.gap) gap = run.random.between(-9, 999);
    for (double* value :
         {&header.multiplier, &header.gain, &header.resolution, &header.omega_start, &header.omega_end, &header.chi,
          &header.twotheta, &header.center_x, &header.center_y, &header.intensity_sig, &header.int_mean, &header.kv,
          &header.ma, &header.collimator_width, &header.slit1_x, &header.beamstop, &header.trans2}) {
      *value = real();
    }
    header.mode[0] = 'T';
    header.source[0] = 'R';
    run.record([&] { return print_marheader(&header); });
  }
}

void frames(Run& run) {
  for (const Layout layout : kLayouts) {
    for (int round = 0; round < 5; ++round) {
      Frame frame = mar345_frame(run, layout);
      if (round == 4) frame.bytes.resize(frame.bytes.size() * 3 / 4);
      run.write("frame.mar2300", frame.bytes);
      unsigned int* daten = nullptr;
      int x = 3;
      int y = 4;
      run.record([&] { return new_read_pck("frame.mar2300", &daten, &x, &y); });
      run.record_image(daten, x, y);
    }
  }
  run.record([] { return new_read_pck("absent.mar2300", nullptr, nullptr, nullptr); });
}

void binary_headers(Run& run) {
  for (const unsigned first : {1234U, 99U, 100U, 101U, 2300U, 4999U, 5000U, 5001U, 0xD2040000U, 0xFC080000U}) {
    for (const std::size_t size : {40U, 39U, 5000U}) {
      std::string bytes = file_bytes(run.random.numbers<std::uint32_t>(1300, 20), false);
      bytes.replace(0, 4, test::little32(first));
      const auto stream = test::stream_of(bytes.substr(0, size));
      std::array<int, 4> values{-1, -2, -3, -4};
      run.record([&] { return gethead(&values[0], stream.get(), &values[1], &values[2], &values[3]); });
      run.digest.add(values.data(), values.size());
      run.digest.add(std::ftell(stream.get()));
    }
  }
}

void merged_overflows(Run& run) {
  for (const Layout layout : kLayouts) {
    for (const int missing : {0, 2}) {
      const Frame frame = mar345_frame(run, layout);
      run.write("frame.mar2300", frame.bytes);
      // The stream ends with the last record.
      const auto stream = test::stream_of(frame.bytes.substr(0, frame.records_end));
      std::vector<int> image(static_cast<std::size_t>(frame.size) * static_cast<std::size_t>(frame.size));
      std::array<int, 2> record{7, 8};
      run.record([&] {
        int_getpck(image.data(), record.data(), 0, 0, "frame.mar2300", layout.is_new ? 1 : 0, stream.get(), frame.size,
                   frame.size, frame.records + missing, layout.swapped ? 1 : 0, layout.is_new ? 256000 : 65356);
      });
      run.digest.add(image);
      run.digest.add(record.data(), record.size());
    }
  }
}

void reversed_words(Run& run) {
  for (int bytes = 0; bytes <= 41; ++bytes) {
    auto words = run.random.numbers<std::uint32_t>(12);
    swapword(words.data(), bytes);
    run.digest.add(words);
  }
}

void exchanged_bytes(Run& run) {
  for (int bytes = 0; bytes <= 41; ++bytes) {
    auto words = run.random.numbers<short>(24);
    swapbytes(words.data(), bytes);
    run.digest.add(words);
  }
}

void packed_values(Run& run) {
  for (int value = -3; value < 140000; ++value) run.digest.add(packi32(value));
  for (int i = 0; i < 1000; ++i) run.digest.add(packi32(static_cast<int>(run.random.next())));
}

void unpacked_codes(Run& run) {
  run.record([&] {
    for (int code = -32768; code <= 32767; ++code) run.digest.add(unpack_i32(static_cast<short>(code)));
  });
}

void characters(Run& run) {
  for (const unsigned shift : {0U, 24U, 27U, 30U}) {
    auto source = run.random.numbers<int>(50, shift);
    source.back() = 0;
    std::string target(60, '#');
    const char* result = long_to_char(source.data(), target.data());
    run.digest.add(result == target.data());
    run.digest.add(target);
  }
}

void turned_images(Run& run) {
  for (int n = 0; n <= 40; ++n) {
    auto image = run.random.numbers<unsigned short>(1600);
    rotate_clock1(image.data(), n);
    run.digest.add(image);
  }
}

}  // namespace

Functions mar345_files() {
  return {
      {"read_marheader", text_headers}, {"read_mar_header", header_summaries}, {"print_marheader", printed_headers},
      {"new_read_pck", frames},         {"gethead", binary_headers},           {"int_getpck", merged_overflows},
      {"swapword", reversed_words},     {"swapbytes", exchanged_bytes},        {"packi32", packed_values},
      {"unpack_i32", unpacked_codes},   {"long_to_char", characters},          {"rotate_clock1", turned_images},
  };
}

}  // namespace corpus
