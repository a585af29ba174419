// Readers of files. Their limit is reading the pixels' bytes and widening them into a new array.
#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "bench/left_open.h"
#include "bench/plain.h"
#include "bench/rows.h"
#include "support/files.h"
#include "support/memory.h"
#include "tests/formats/saint_header.h"
#include "xrdimage.h"

namespace bench {

namespace {

using Pixels = xrd::MallocArray<unsigned int>;

struct File {
  std::string path;
  std::size_t header_bytes = 0;
  std::vector<std::uint16_t> samples;  // for the limits
  Pixels pixels;
  LeftOpen stream;
};
using FileState = std::shared_ptr<File>;

Pixels new_pixels(std::size_t count) {
  return Pixels(static_cast<unsigned int*>(std::malloc(count * sizeof(unsigned int))));
}

// Reads the samples behind the header, 16 bits each.
void read_samples(File& file) {
  const xrd::FileHandle stream = xrd::open_file(file.path.c_str(), "r");
  std::fseek(stream.get(), static_cast<long>(file.header_bytes), SEEK_SET);
  static_cast<void>(std::fread(file.samples.data(), sizeof file.samples[0], file.samples.size(), stream.get()));
}

void read_and_widen(File& file) {
  read_samples(file);
  file.pixels = new_pixels(file.samples.size());
  std::ranges::copy(file.samples, file.pixels.get());
}

std::vector<std::uint16_t> low_words(const Frame& frame) {
  std::vector<std::uint16_t> words(frame.pixels());
  std::ranges::transform(frame.counts, words.begin(),
                         [](unsigned int count) { return static_cast<std::uint16_t>(std::min(count, 65535U)); });
  return words;
}

template <typename Sample>
FileState write_file(const std::string& name, const std::string& header, const std::vector<Sample>& samples) {
  const auto file = std::make_shared<File>();
  file->path = scratch_path(name);
  file->header_bytes = header.size();
  file->samples.resize(samples.size());
  const xrd::FileHandle stream = xrd::open_file(file->path.c_str(), "wb");
  std::fwrite(header.data(), 1, header.size(), stream.get());
  std::fwrite(samples.data(), sizeof(Sample), samples.size(), stream.get());
  return file;
}

using Reader = std::function<unsigned int*()>;

Row reader_row(const std::string& name, const FileState& file, const Reader& library, const Reader& plain,
               std::function<void()> limit) {
  return {.name = name,
          .prepare =
              [=] {
                file->stream.close_last();
                file->pixels.reset();
              },
          .library = [=] { file->pixels.reset(library()); },
          .plain = [=] { file->pixels.reset(plain()); },
          .limit = std::move(limit),
          .results = [=] { return bytes_of(file->pixels.get(), file->samples.size()); }};
}

Row read_raw_row(const Frame& frame) {
  const FileState file = write_file(frame.name + ".raw", "", low_words(frame));
  const std::string answers = scratch_path("answers");
  Row row = reader_row(
      "read_raw", file,
      [=] {
        unsigned int* pixels = nullptr;
        int width = 0;
        int height = 0;
        read_raw(file->path.c_str(), &pixels, &width, &height);
        return pixels;
      },
      [=] { return plain::read_words(file->path.c_str(), 0, file->samples.size()); }, [=] { read_and_widen(*file); });
  // The function asks for the size on standard input.
  const std::string answer = std::to_string(frame.width) + " " + std::to_string(frame.height) + "\n";
  std::fputs(answer.c_str(), xrd::open_file(answers.c_str(), "w").get());
  row.prepare = [answers, prepare = row.prepare] {
    prepare();
    static_cast<void>(std::freopen(answers.c_str(), "r", stdin));
  };
  return row;
}

Row read_saint_row(const Frame& frame) {
  const FileState file = write_file(frame.name + ".saint",
                                    test::saint_header({"NCOLS  : " + std::to_string(frame.width),
                                                        "NROWS  : " + std::to_string(frame.height), "   ENDING2: 1"}),
                                    low_words(frame));
  return reader_row(
      "read_saint", file,
      [=] {
        unsigned int* pixels = nullptr;
        int width = 0;
        int height = 0;
        read_saint(file->path.c_str(), &pixels, &width, &height);
        return pixels;
      },
      [=] { return plain::read_words(file->path.c_str(), file->header_bytes, file->samples.size()); },
      [=] { read_and_widen(*file); });
}

Row read_edf_row(const Frame& frame) {
  const std::string header = "{\nDim_1 = " + std::to_string(frame.width) +
                             " ;\nDim_2 = " + std::to_string(frame.height) + " ;\nBitsPerSample = 32 ;\n}\n";
  const FileState file = write_file(frame.name + ".edf", header, frame.counts);
  return reader_row(
      "read_edf", file,
      [=] {
        unsigned int* pixels = nullptr;
        int bits = -1;
        int width = 0;
        int height = 0;
        read_edf(file->path.c_str(), &pixels, &bits, &width, &height);
        return pixels;
      },
      [=] { return plain::read_edf(file->path.c_str(), file->header_bytes, file->samples.size()); },
      [=] {  // the pixels are as wide as the samples
        file->pixels = new_pixels(file->samples.size());
        const xrd::FileHandle stream = xrd::open_file(file->path.c_str(), "r");
        std::fseek(stream.get(), static_cast<long>(file->header_bytes), SEEK_SET);
        static_cast<void>(std::fread(file->pixels.get(), sizeof(unsigned int), file->samples.size(), stream.get()));
      });
}

Row read_bnl_row(const Frame& frame) {
  const std::string header = "{\nSIZE1=" + std::to_string(frame.width) + ";\nSIZE2=" + std::to_string(frame.height) +
                             ";\nBYTE_ORDER=little_endian;\n}\n";
  const FileState file = write_file(frame.name + ".img", header, low_words(frame));
  return reader_row(
      "read_bnl", file,
      [=] {
        unsigned int* pixels = nullptr;
        int width = 0;
        int height = 0;
        double values[5];
        read_bnl(file->path.c_str(), 0, &pixels, &width, &height, values, values + 1, values + 2, values + 3,
                 values + 4);
        return pixels;
      },
      [=] { return plain::read_bnl(file->path.c_str(), file->header_bytes, file->samples.size()); },
      [=] { read_and_widen(*file); });
}

// In strips of the size that libtiff proposes; the samples stand at the file's beginning.
FileState write_tiff(const Frame& frame) {
  const auto file = std::make_shared<File>();
  file->path = scratch_path(frame.name + ".tif");
  file->header_bytes = 8;
  file->samples = low_words(frame);
  TIFF* tiff = TIFFOpen(file->path.c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, frame.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, frame.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
  for (int row = 0; row < frame.height; ++row) {
    TIFFWriteScanline(tiff, file->samples.data() + static_cast<std::ptrdiff_t>(row) * frame.width,
                      static_cast<std::uint32_t>(row));
  }
  TIFFClose(tiff);
  return file;
}

Row read_tiff_row(const Frame& frame) {
  const FileState file = write_tiff(frame);
  return reader_row(
      "read_tiff", file,
      [=] {
        unsigned int* pixels = nullptr;
        int width = 0;
        int height = 0;
        read_tiff(file->path.c_str(), &pixels, 0, &width, &height);
        return pixels;
      },
      [=] { return plain::read_tiff(file->path.c_str(), file->samples.size()); }, [=] { read_and_widen(*file); });
}

// The binary header stands between the samples here; what it says matters for no pixel.
Row read_mar_ccd_row(const Frame& frame) {
  const FileState file = write_tiff(frame);
  return reader_row(
      "read_mar_ccd", file,
      [=] {
        ImageData data{};
        double distance = 0.0;
        read_mar_ccd(file->path.c_str(), &data, &distance);
        return data.Daten;
      },
      [=] { return plain::read_mar_ccd(file->path.c_str(), file->samples.size()); }, [=] { read_and_widen(*file); });
}

}  // namespace

Rows reading_rows(const Frame& frame) {
  return {read_raw_row(frame), read_saint_row(frame), read_edf_row(frame),
          read_bnl_row(frame), read_tiff_row(frame),  read_mar_ccd_row(frame)};
}

}  // namespace bench
