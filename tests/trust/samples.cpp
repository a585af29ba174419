#include "tests/trust/samples.h"

#include <fstream>

#include "tests/corpus/run.h"
#include "tests/formats/saint_header.h"
#include "tests/formats/tiff_builder.h"
#include "tests/mar345/mar345_file.h"
#include "tests/pack/naive_pack.h"

namespace trust {

namespace {

std::string noise(std::size_t bytes) {
  return corpus::Random(bytes).bytes(bytes);
}

// Background with a little noise, as detectors see it.
naive::Pixels pixels(int width, int height) {
  corpus::Random random(1);
  naive::Pixels image(naive::pixel_count(width, height));
  for (short& pixel : image) pixel = static_cast<short>(random.between(0, 9) == 0 ? random.between(0, 65535) : 40);
  return image;
}

Sample with_header(const std::string& header, const std::string& rest) {
  return {header + rest, header.size()};
}

// Bytes as they are, in runs of up to 128.
std::string packbits(const std::string& bytes) {
  std::string packed;
  for (std::size_t first = 0; first < bytes.size(); first += 128) {
    const std::string run = bytes.substr(first, 128);
    packed += static_cast<char>(run.size() - 1) + run;
  }
  return packed;
}

test::TiffBuilder tiff_of(unsigned width, unsigned height, std::uint32_t compression) {
  constexpr std::uint32_t kRows = 3;
  test::TiffBuilder builder(width, height);
  builder.tag(test::kRowsPerStrip, kRows).short_tag(test::kCompression, compression);
  for (unsigned row = 0; row < height; row += kRows) {
    const std::string bytes = noise(std::size_t{2} * width * std::min(kRows, height - row));
    builder.strip(compression == test::kPackBits ? packbits(bytes) : bytes);
  }
  return builder;
}

}  // namespace

Sample raw_sample() {
  return {noise(std::size_t{12} * 9 * 2), 0};
}

Sample bnl_sample() {
  return with_header(
      "{\nHEADER_BYTES=512;\nDIM=2;\nBEAM_CENTER_X=94.25;\nBEAM_CENTER_Y=93.5;\nTYPE=unsigned_short;\nBIN=2x2;\n"
      "ADC=fast;\nDATE=Mon Jan 12 10:11:12 2004;\nAXIS=phi;\nDETECTOR_SN=907;\nPIXEL_SIZE=0.1024;\nPHI=3.5;\n"
      "CCD_IMAGE_SATURATION=65535;\nOSC_START=120.125;\nOSC_RANGE=0.3;\nTIME=12.5;\nWAVELENGTH=0.97934;\n"
      "SIZE1=12;\nSIZE2=9;\nDISTANCE=151.7;\nBYTE_ORDER=little_endian;\n}\n",
      noise(std::size_t{12} * 9 * 2));
}

Sample edf_sample() {
  return with_header(
      "{\nHeaderID        = EH:000001:000000:000000 ; \nByteOrder       = LowByteFirst ; \n"
      "DataType        = UnsignedShort ; \nSize            = 140 ; \nDim_1           = 10 ; \nDim_2           = 7 ; \n"
      "Image           = 1 ; \nDateTime = 2004 Jan 12 ;\nBinning = 2 ;\n\n}\n",
      noise(std::size_t{10} * 7 * 2));
}

Sample saint_sample() {
  const std::string header = test::saint_header({"FORMAT :  86", "CREATED:12-Jan-2004 10:11:12", "NROWS  :  6",
                                                 "NCOLS  :  11", "START  :  1.5", "INCREME: 0.3", "DISTANC: 6.0",
                                                 "WAVELEN: 0.71073", "ELAPSDR: 10.0", "ENDING2: 1"});
  return with_header(header, noise(std::size_t{11} * 6 * 2));
}

Sample tiff_sample() {
  const std::string bytes = tiff_of(13, 10, test::kPackBits).bytes();
  const std::size_t strips = packbits(noise(std::size_t{13} * 3 * 2)).size() * 3 + packbits(noise(26)).size();
  return {bytes, bytes.size() - strips};
}

Sample mar_ccd_sample() {
  std::string bytes = tiff_of(13, 10, test::kUncompressed).strips_at(4096).bytes();
  const std::pair<std::size_t, std::uint32_t> values[] = {{1160, 5},      {1680, 12000}, {1708, 45000},
                                                          {1720, 150750}, {1760, 1000},  {1932, 97934}};
  for (const auto& [offset, value] : values) bytes.replace(offset, 4, test::little32(value));
  return {bytes, 4096};
}

Sample packed_sample() {
  const std::string line = naive::header_line(70, 20);
  return with_header(line, naive::pack_stream(pixels(70, 20), 70, 20));
}

Sample pck_sample() {
  std::string header = test::little32(1200) + test::little32(1200);
  header.resize(2400, '.');
  const Sample packed = packed_sample();
  return {header + packed.bytes, header.size() + packed.header};
}

Sample mar345_sample(Mar345Layout layout) {
  constexpr int kSize = 102;
  const std::vector<mar345::OverflowRecord> records{{5, 70000}, {600, 300000}, {700, -4}};
  std::string header = mar345::header({layout.is_new, layout.swapped}, kSize, static_cast<int>(records.size()));
  const std::string text =
      "mar research\nPROGRAM        scanner Version 2\nDATE           Mon Jun  8 15:49:26 2009\n"
      "FORMAT         102  PCK 4\nHIGH           3\nPIXEL          LENGTH 150  HEIGHT 150\n"
      "OFFSET         ROFF 1  TOFF 2\nWAVELENGTH     1.54179\nDISTANCE       100.500\n"
      "INTENSITY      MIN 1  MAX 65000  AVE 44.5\nPHI            START 10.000  END 11.500  OSC 1\n";
  if (layout.is_new) header.replace(128, text.size(), text);
  header += mar345::overflow_table(records, layout.swapped);
  return with_header(header, naive::pack(pixels(kSize, kSize), kSize, kSize));
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace trust
