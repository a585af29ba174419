#include <array>
#include <string>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "tests/formats/saint_header.h"
#include "xrdimage.h"

namespace corpus {

namespace {

using test::little16;
using test::little32;
using test::saint_header;

void image_types(Run& run) {
  // grep finds its word in the path.
  const auto grep = [](const std::string& command) {
    const std::size_t bar = command.find(" | grep ");
    const std::string word = command.substr(bar + 8, command.find(" >") - bar - 8);
    return command.substr(0, bar).find(word) == std::string::npos ? 256 : 0;
  };
  for (const char* path : {"scan.tif", "TIFF", "frame.edf", "a.mar2300", "a.mar2000", "x.pck", "with blank.img",
                           "R.IFF", "-x.raw", "TRA", "it's tra", "taxi.dat", "nothing", "", "edf/x.pck"}) {
    test::ShellRecorder shell(grep);
    run.record([&] { return get_image_type(path); });
    for (const std::string& command : shell.commands()) run.digest.add(command);
  }
}

void raw_frames(Run& run) {
  run.write("frame.raw", run.random.bytes(1200));
  for (const char* name : {"frame.raw", "absent.raw"}) {
    for (const char* answer : {"30 20\n", "25 31\n", " 7 -9 \n", "0 5\n", "12\n", ""}) {
      unsigned int* daten = nullptr;
      int width = -7;
      int height = -8;
      test::with_input(answer, [&] { run.record([&] { return read_raw(name, &daten, &width, &height); }); });
      run.record_image(daten, width, height);
    }
  }
}

void bnl_frames(Run& run) {
  const std::string lines =
      "{\nHEADER_BYTES=512;\nDIM=2;\nBEAM_CENTER_X=94.25;\nBEAM_CENTER_Y=93.5;\nTYPE=unsigned_short;\nBIN=2x2;\n"
      "ADC=fast;\nDATE=Mon Jan 12 10:11:12 2004;\nAXIS=phi;\nDETECTOR_SN=907;\nPIXEL_SIZE=0.1024;\nPHI=3.5;\n"
      "CCD_IMAGE_SATURATION=65535;\nOSC_START=120.125;\nOSC_RANGE=0.3;\nTIME=12.5;\nWAVELENGTH=0.97934;\n";
  const std::string size = "SIZE1=12;\nSIZE2=9;\nDISTANCE=151.7;\n";
  const std::string pixels = run.random.bytes(216);
  run.write("little.img", lines + size + "BYTE_ORDER=little_endian;\n}\n" + pixels);
  run.write("big.img", lines + size + "BYTE_ORDER=big_endian\n}\n" + pixels);
  run.write("sizeless.img", lines + "}\n" + pixels);
  run.write("open.img", lines + size);
  for (const char* name : {"little.img", "big.img", "sizeless.img", "open.img", "absent.img"}) {
    unsigned int* daten = nullptr;
    int width = 8;
    int height = 4;
    std::array<double, 5> values{};
    run.record([&] {
      return read_bnl(name, 0, &daten, &width, &height, &values[0], &values[1], &values[2], &values[3], &values[4]);
    });
    run.digest.add(values.data(), values.size());
    run.record_image(daten, width, height);
  }
}

std::vector<std::string> edf_headers() {
  const std::string size = "Dim_1           = 10 ; \nDim_2           = 7 ; \n";
  const std::string rest = "DateTime = 2004 Jan 12 ;\nBinning = 2 ;\nByteOrder = LowByteFirst ;\n";
  return {"{\n" + size + rest + "DataType = UnsignedShort ; \n}\n",
          "{\n" + size + rest + "DataType = UnsignedInteger ; \n}\n",
          "{\n" + size + "BitsPerSample = 8 ;\n}\n",
          "{\n" + size + "BitsPerSample = 32 ;\nDataType = UnsignedShort ; \n}\n",
          "{\n" + size + "DataType = FloatValue ; \n}\n",
          "{\n" + rest + "BitsPerSample = 16 ;\n}\n",
          "{\n" + size};
}

void edf_frames(Run& run) {
  const std::string pixels = run.random.bytes(280);
  int number = 0;
  for (const std::string& header : edf_headers()) {
    const std::string name = std::to_string(++number) + ".edf";
    run.write(name, header + pixels);
    for (const int preset : {-1, 16}) {
      unsigned int* daten = nullptr;
      int bits = preset;
      int width = 3;
      int height = 4;
      test::with_input("9 6\n",
                       [&] { run.record([&] { return read_edf(name.c_str(), &daten, &bits, &width, &height); }); });
      run.digest.add(bits);
      run.record_image(daten, width, height);
    }
  }
  run.record([&] {
    int bits = -1;
    int width = 3;
    int height = 4;
    return read_edf("absent.edf", nullptr, &bits, &width, &height);
  });
}

void read_edf_headers(Run& run) {
  for (const std::string& header : edf_headers()) {
    const auto stream = test::stream_of(header + "pixels");
    int bits = -1;
    int width = 3;
    int height = 4;
    run.record([&] { return read_edf_header(stream.get(), &width, &height, &bits); });
    run.digest.add_all(width, height, bits, std::ftell(stream.get()));
  }
}

std::vector<std::string> saint_headers() {
  return {saint_header({"FORMAT :  86", "CREATED:12-Jan-2004 10:11:12", "NROWS  :  6", "NCOLS  :  11", "START  :  1.5",
                        "INCREME: 0.3", "DISTANC: 6.0", "WAVELEN: 0.71073", "ELAPSDR: 10.0", "ENDING2: 1"}),
          saint_header({"NCOLS  : 5", "ENDING2: 1", "NCOLS  : 6"}), saint_header({"NROWS:3", "NCOLS : 8"})};
}

void saint_frames(Run& run) {
  const std::string pixels = run.random.bytes(132);
  int number = 0;
  for (const std::string& header : saint_headers()) {
    const std::string name = std::to_string(++number) + ".sfrm";
    run.write(name, header + pixels);
    for (const std::string& path : {name, "absent-" + name}) {
      unsigned int* daten = nullptr;
      int width = 3;
      int height = 4;
      run.record([&] { return read_saint(path.c_str(), &daten, &width, &height); });
      run.record_image(daten, width, height);
    }
  }
}

void saint_headers_alone(Run& run) {
  for (const std::string& header : saint_headers()) {
    const auto stream = test::stream_of(header + "pixels");
    int columns = 3;
    int rows = 4;
    run.record([&] { return read_saint_header(stream.get(), &columns, &rows); });
    run.digest.add_all(columns, rows, std::ftell(stream.get()));
  }
}

// Sixteen-bit grey pixels in strips of `rows_per_strip` rows. The directory stands at `directory`, before the pixels.
std::string tiff(unsigned width, unsigned height, unsigned rows_per_strip, unsigned directory,
                 const std::string& pixels) {
  const unsigned strips = (height + rows_per_strip - 1) / rows_per_strip;
  constexpr unsigned kEntries = 8;
  const unsigned arrays = directory + 2 + kEntries * 12 + 4;
  const unsigned data = arrays + strips * 8;
  std::string bytes = "II" + little16(42) + little32(directory);
  bytes.resize(directory, '\0');
  bytes += little16(kEntries);
  const auto entry = [&](unsigned tag, unsigned type, unsigned count, unsigned value) {
    bytes += little16(tag) + little16(type) + little32(count) + little32(value);
  };
  const unsigned strip_bytes = rows_per_strip * width * 2;
  entry(256, 4, 1, width);
  entry(257, 4, 1, height);
  entry(258, 3, 1, 16);
  entry(259, 3, 1, 1);
  entry(262, 3, 1, 1);
  entry(273, 4, strips, strips == 1 ? data : arrays);
  entry(278, 4, 1, rows_per_strip);
  entry(279, 4, strips, strips == 1 ? width * height * 2 : arrays + strips * 4);
  bytes += little32(0);
  for (unsigned i = 0; i < strips; ++i) bytes += little32(data + i * strip_bytes);
  for (unsigned i = 0; i < strips; ++i) {
    bytes += little32(std::min(strip_bytes, (width * height * 2) - i * strip_bytes));
  }
  return bytes + pixels;
}

void tiff_images(Run& run) {
  const std::string pixels = run.random.bytes(std::size_t{13} * 10 * 2);
  run.write("one.tif", tiff(13, 10, 10, 8, pixels));
  run.write("many.tif", tiff(13, 10, 3, 8, pixels));
  for (const char* name : {"one.tif", "many.tif"}) {
    unsigned int* daten = nullptr;
    int width = 3;
    int height = 4;
    run.record([&] { return read_tiff(name, &daten, 0, &width, &height); });
    run.record_image(daten, width, height);
  }
}

std::string mar_ccd_file(Run& run) {
  std::string bytes = tiff(13, 10, 3, 4096, run.random.bytes(std::size_t{13} * 10 * 2));
  const auto set = [&](std::size_t offset, int value) {
    bytes.replace(offset, 4, little32(static_cast<std::uint32_t>(value)));
  };
  set(1160, run.random.between(0, 100));
  set(1680, run.random.between(0, 100000));
  for (const std::size_t offset : {1708U, 1720U, 1760U}) set(offset, run.random.between(-200000, 200000));
  set(1932, run.random.between(50000, 200000));
  return bytes;
}

void mar_ccd_frames(Run& run) {
  for (int round = 0; round < 5; ++round) {
    run.write("frame.mccd", mar_ccd_file(run));
    run.write("short.mccd", run.random.bytes(4095));
    for (const char* name : {"frame.mccd", "short.mccd", "absent.mccd"}) {
      ImageData data{};
      double distance = round == 0 ? 120.5 : -999.0;
      run.record([&] { return read_mar_ccd(name, &data, &distance); });
      run.digest.add_all(distance, data.host_first, data.overflows);
      run.digest.add(data.host_middle, 4);
      run.record_image(data.Daten, data.width, data.height);
    }
  }
}

void mar_ccd_headers(Run& run) {
  for (int round = 0; round < 5; ++round) {
    run.write("frame%05d.mccd", mar_ccd_file(run));
    run.write("short.mccd", run.random.bytes(4095));
    for (const char* name : {"frame%05d.mccd", "short.mccd", "absent.mccd"}) {
      ImageInfo info{};
      run.record([&] { return read_mar_ccd_header(name, &info); });
      run.digest.add_all(info.overflow_count, info.start_angle, info.reserved_angle, info.distance,
                         info.oscillation_range, info.wavelength, info.exposure_time, info.minimum, info.maximum,
                         info.average, info.file_name);
    }
  }
}

template <void (*write_edf)(const char*, const unsigned int*, int, int)>
void edf_files(Run& run) {
  for (const auto& [width, height] : {std::pair{5, 3}, {1, 1}, {40000, 2}, {0, 4}}) {
    const auto pixels =
        run.random.numbers<unsigned int>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    run.record([&, w = width, h = height] { write_edf("written.edf", pixels.data(), w, h); });
    run.record_file("written.edf");
  }
  const unsigned int pixel = 1;
  run.record([&] { write_edf("absent/written.edf", &pixel, 1, 1); });
  run.record([&] { write_edf("refused.edf", &pixel, -1, 1); });
}

}  // namespace

Functions readers_and_writers() {
  return {
      {"get_image_type", image_types},
      {"read_raw", raw_frames},
      {"read_bnl", bnl_frames},
      {"read_edf", edf_frames},
      {"read_edf_header", read_edf_headers},
      {"read_saint", saint_frames},
      {"read_saint_header", saint_headers_alone},
      {"read_tiff", tiff_images},
      {"read_mar_ccd", mar_ccd_frames},
      {"read_mar_ccd_header", mar_ccd_headers},
      {"edf16_write", edf_files<edf16_write>},
      {"edf32_write", edf_files<edf32_write>},
  };
}

}  // namespace corpus
