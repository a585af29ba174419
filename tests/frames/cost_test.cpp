// The files known that cost most for the image that they state: loading them takes no more than the image is worth.
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <functional>

#include "frames/bytes.h"
#include "frames/readers/header_items.h"
#include "tests/environment.h"
#include "tests/frames/compression.h"
#include "tests/frames/file_bytes.h"
#include "tests/frames/mask.h"
#include "tests/frames/tiff_file.h"
#include "tests/mar345/mar345_file.h"

namespace {

using frames::Frame;
using test::TiffFile;

long peak_kilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// Loads the file in a process of its own, whose processor time ends a hundred times later than it should need. Expects
// that it ends with the error, or with a frame for "", and with little memory.
void expect_cheap(const std::string& file, const std::string& error, std::size_t megabytes = 16) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", file);
  for (const bool force : {false, true}) {
    const auto load = [&] {
      constexpr rlimit kSeconds{20, 20};
      setrlimit(RLIMIT_CPU, &kSeconds);
      const long before = peak_kilobytes();
      frames::LoadOptions options;
      options.force = force;
      const std::string found = test::load_error([&] { frames::load_frame(path, options); });
      const bool is_small =
          static_cast<std::size_t>(peak_kilobytes() - before) < 1024 * megabytes + 2 * file.size() / 1024;
      std::fprintf(stderr, "[%s] %ld kB", found.c_str(), peak_kilobytes() - before);
      std::exit(is_small ? 0 : 1);  // NOLINT(concurrency-mt-unsafe): the process has one thread
    };
    malloc_trim(0);  // what was freed before would not count
    EXPECT_EXIT(load(), testing::ExitedWithCode(0), "\\[" + error + "\\]");
  }
}

// A row of pixels of 8 bits in blocks that share the bytes.
std::string sharing_blocks(TiffFile tiff, unsigned count, const std::string& bytes) {
  tiff.bits = 8;
  tiff.blocks.assign(count, "");
  tiff.blocks[0] = bytes;
  std::string file = tiff.bytes();
  // The arrays of the offsets and of the lengths end 20 bytes before the first block.
  const std::size_t begin = file.size() - bytes.size();
  for (unsigned i = 0; i < count; ++i) {
    test::put(file, begin - 20 - std::size_t{8} * count + std::size_t{4} * i, tiff.number(begin, 4));
    test::put(file, begin - 20 - std::size_t{4} * count + std::size_t{4} * i, tiff.number(bytes.size(), 4));
  }
  return file;
}

TiffFile strips_of(unsigned count) {
  TiffFile tiff;
  tiff.width = 8;
  tiff.height = count;
  tiff.rows_per_strip = 1;
  return tiff;
}

// A row of pixels.
TiffFile in_tall_tiles(unsigned width) {
  TiffFile tiff;
  tiff.width = width;
  tiff.height = 1;
  tiff.bits = 8;
  tiff.tile_width = 16;
  tiff.tile_height = 4194304;
  return tiff;
}

// A directory with these entries behind those of an image of 4 x 3 pixels, which are the file's first bytes.
std::string with_entries(std::size_t more, unsigned values, const std::string& behind) {
  const TiffFile numbers;
  std::string entries;
  const auto add = [&](unsigned tag, unsigned type, std::size_t count, std::size_t value) {
    entries += numbers.number(tag, 2) + numbers.number(type, 2) + numbers.number(count, 4) + numbers.number(value, 4);
  };
  add(256, 4, 1, 4);
  add(257, 4, 1, 3);
  add(258, 3, 1, 8);
  add(259, 3, 1, 1);
  add(262, 3, 1, 1);
  add(273, 4, 1, 8);
  add(278, 4, 1, 3);
  add(279, 4, 1, 12);
  for (unsigned i = 0; i < more; ++i) add(1000 + i, 1, values, 0);
  return "II" + numbers.number(42, 2) + numbers.number(8, 4) + numbers.number(8 + more, 2) + entries +
         numbers.number(behind.empty() ? 0 : 8 + 2 + 12 * (8 + more) + 4, 4) + behind;
}

TEST(FrameCost, TilesFarLargerThanATiffImage) {
  TiffFile tiff = in_tall_tiles(32000);
  tiff.compression = 8;
  const std::string zeros(std::size_t{16} << 22, '\0');
  std::string stream(100000, '\0');
  uLongf size = stream.size();
  ASSERT_EQ(compress(reinterpret_cast<Bytef*>(stream.data()), &size, reinterpret_cast<const Bytef*>(zeros.data()),
                     zeros.size()),
            Z_OK);
  expect_cheap(sharing_blocks(tiff, 2000, stream.substr(0, size)),
               "is a damaged TIFF file: its tiles hold far more than the image");
}

TEST(FrameCost, TilesThatATiffFileHasNoRoomFor) {
  TiffFile tiff = in_tall_tiles(1600000);
  tiff.blocks = {""};
  EXPECT_LT(tiff.bytes().size(), 200U);
  expect_cheap(tiff.bytes(), "is a damaged TIFF file: its tiles are too many for its length");
  TiffFile strips = strips_of(1000000);
  strips.blocks = {""};
  expect_cheap(strips.bytes(), "is a damaged TIFF file: its strips are too many for its length", 32);  // of libtiff
}

TEST(FrameCost, TiffStripsThatShareMuchOfTheFile) {
  // Deflate's blocks without content: much to read, and nothing comes of it.
  std::string empty = test::from_bytes({0x78, 0x01});
  for (int i = 0; i < 190000; ++i) empty += test::from_bytes({0, 0, 0, 0xFF, 0xFF});
  TiffFile tiff = strips_of(20000);
  tiff.compression = 8;
  expect_cheap(sharing_blocks(tiff, 20000, empty), "is a damaged TIFF file: its strips overlap in the file");
}

TEST(FrameCost, BlankTiffStripsMayShareTheirBytes) {
  const std::string file = sharing_blocks(strips_of(1000), 1000, std::string(8, '\7'));
  const Frame frame = frames::load_tiff(test::bytes_of(file), {});
  EXPECT_TRUE(frame.counts == test::Counts(8000, 7));
}

TEST(FrameCost, OneTileMayBeLargerThanATiffImage) {
  TiffFile tiff;
  tiff.width = 487;
  tiff.height = 195;
  tiff.bits = 8;
  tiff.tile_width = tiff.tile_height = 2048;
  tiff.blocks = {std::string(std::size_t{2048} * 2048, '\3')};
  EXPECT_TRUE(frames::load_tiff(test::bytes_of(tiff.bytes()), {}).counts == test::Counts(std::size_t{487} * 195, 3));
}

TEST(FrameCost, TiffDirectoriesWithManyEntries) {
  const std::string error = "is a damaged TIFF file: its directory is far larger than that of a frame";
  expect_cheap(with_entries(4080, 1, ""), error);
  expect_cheap(with_entries(500, 1 << 20, std::string(1 << 20, '\0')), error);  // of a megabyte each
  EXPECT_EQ(test::load_error(frames::load_tiff, with_entries(500, 1, "")), "");
}

TEST(FrameCost, TiffDirectoriesThatAreAMillion) {
  const TiffFile numbers;
  const std::size_t first = with_entries(0, 0, "").size();
  std::string chain;
  for (std::size_t i = 1; i <= 1000000; ++i) {
    chain += numbers.number(0, 2) + numbers.number(i == 1000000 ? 0 : first + 6 * i, 4);
  }
  const std::string file = with_entries(0, 0, chain);
  EXPECT_EQ(frames::load_tiff(test::bytes_of(file), {}).notes,
            std::vector<std::string>{"has several images; this is the first"});
  expect_cheap(file, "");
}

TEST(FrameCost, TiffCompressionsThatNoFrameHasAreNamed) {
  TiffFile tiff;
  tiff.width = tiff.height = 8;
  tiff.bits = 8;
  tiff.blocks = {std::string(64, '\0')};
  for (const unsigned compression : {7U, 34887U}) {  // JPEG, LERC
    tiff.compression = compression;
    EXPECT_EQ(test::load_error(frames::load_tiff, tiff.bytes()),
              "has TIFF compression " + std::to_string(compression) + ", which frames do not use");
  }
}

std::string saint(const std::string& format, const std::string& overflows) {
  const auto record = [](const std::string& key, const std::string& value) {
    return test::padded(test::padded(key, 7) + ":" + value, 80);
  };
  return test::padded(record("FORMAT", format) + record("NROWS", "1") + record("NCOLS", "2") +
                          record("NPIXELB", "1 1") + record("NOVERFL", overflows),
                      7680, '.') +
         "\x05\xFF";
}

TEST(FrameCost, SaintTablesWithMoreEntriesThanPixels) {
  const std::string tables = test::padded("", 20000000, '\0');
  for (const std::string& file : {saint("100", "20000000 0 0"), saint("100", "-1 3 0"), saint("86", "1000000")}) {
    EXPECT_EQ(test::load_error(frames::load_saint, file + tables),
              "is damaged: it states more overflows than it has pixels");
    const Frame frame = frames::load_saint(test::bytes_of(file + tables), test::forced());
    EXPECT_EQ(frame.counts[0], 5U);
    EXPECT_EQ(frame.mask, test::unknown({false, true}));
  }
  std::string many = saint("100", "20000000 0 0") + tables;
  expect_cheap(many, "(is damaged: it states more overflows than it has pixels)?");
}

TEST(FrameCost, SaintRecordsEndAfterAMegabyte) {
  std::string file = saint("100", "-1 0 0");
  test::put(file, 400, test::padded("HDRBLKS:100000", 80));
  file.resize(7680);
  while (file.size() < 20000000)
    file += test::padded(std::to_string(file.size() % 9999991), 7) + test::padded(":", 73, 'x');
  expect_cheap(file, "(is truncated: has 0 of 2 pixels)?");
}

TEST(FrameCost, HeadersOfAMegabyteOfItems) {
  std::string items = "{\nDim_1=2;Dim_2=1;DataType=UnsignedByte;";
  for (int i = 3; i < 100000; ++i) items += "k" + std::to_string(i) + "=;";
  items += "}\n";
  const frames::HeaderItems header(items);
  EXPECT_TRUE(header.has("k9999"));
  EXPECT_FALSE(header.has("k10000"));
  EXPECT_EQ(header.end(), items.size() - 1);
  expect_cheap(items + "\1\2", "");
}

// ------------------------------------------------------------------------------------------------------------------
// Compressed frames with something behind them
// ------------------------------------------------------------------------------------------------------------------

Frame load_compressed(const std::string& file) {
  const test::TemporaryDirectory directory;
  Frame frame = frames::load_frame(directory.write("frame", test::gzip(file)));
  EXPECT_TRUE(frames::load_frame(directory.write("frame", test::bzip2(file))).counts ==
              std::span<const std::uint32_t>(frame.counts.data(), frame.counts.size()));
  return frame;
}

std::string edf(unsigned edge, std::size_t header_bytes, const std::string& more = "") {
  const std::string size = std::to_string(edge);
  return test::padded("{\nDim_1 = " + size + " ;\nDim_2 = " + size + " ;\n" + more, header_bytes - 40) +
         test::padded("\nDataType = UnsignedShort ;", 38) + "}\n";
}

TEST(FrameCost, CompressedEdfSeriesAreKnownAsSuch) {
  const std::string image = edf(300, 512) + std::string(180000, '\1');
  std::string series;
  for (int i = 0; i < 20; ++i) series += image;
  const Frame frame = load_compressed(series);
  EXPECT_TRUE(frame.counts == test::Counts(90000, 257));
  EXPECT_EQ(frame.notes, std::vector<std::string>{"has several images; this is the first"});
}

TEST(FrameCost, HeadersMayBeLongerThanTheFirstLookAtACompressedFrame) {
  EXPECT_TRUE(load_compressed(edf(100, 300000) + std::string(20000, '\1')).counts == test::Counts(10000, 257));
  const std::string size = "EDF_HeaderSize = 400384 ;\n";
  EXPECT_TRUE(load_compressed(test::padded(edf(100, 512, size), 400384) + std::string(20000, '\1')).counts ==
              test::Counts(10000, 257));
}

TEST(FrameCost, CompressedBlankFramesAreLoaded) {
  const Frame frame = load_compressed(test::padded(edf(5000, 512), 50000512, '\0'));
  EXPECT_EQ(frame.counts.size(), 25000000U);
  EXPECT_TRUE(frame.notes.empty());
}

// A packed image that takes all the bytes that one can.
std::string packed_noise(int edge) {
  naive::Pixels pixels;
  for (int i = 0; i < edge * edge; ++i) pixels.push_back(i % 2 == 0 ? -32768 : 32767);
  return naive::pack(pixels, edge, edge);
}

TEST(FrameCost, CompressedPackedImagesAreUnpackedToTheirEnd) {
  const std::string file = packed_noise(700);
  ASSERT_GT(file.size(), 500000U);
  const Frame frame = load_compressed(file);
  EXPECT_EQ(frame.counts[0], 32768U);
  EXPECT_EQ(frame.counts[frame.counts.size() - 1], 32767U);
}

// So many that the image does not begin in the first look at the file.
TEST(FrameCost, CompressedImagePlatesMayHaveManyOverflows) {
  constexpr int kEdge = 800;
  const std::string image = packed_noise(kEdge);
  std::vector<mar345::OverflowRecord> records;
  for (int i = 1; i <= 60000; ++i) records.push_back({i, 100000 + i});
  for (const mar345::Layout layout : mar345::kLayouts) {
    const std::string file = mar345::header(layout, kEdge, static_cast<int>(records.size())) +
                             mar345::overflow_table(records, layout.swapped) + image;
    const Frame frame = load_compressed(file);
    EXPECT_TRUE(frame.notes.empty());
    EXPECT_TRUE(frames::load_frame(test::bytes_of(file), "").counts ==
                std::span<const std::uint32_t>(frame.counts.data(), frame.counts.size()));
  }
}

TEST(FrameCost, CompressedSaintHeadersMayBeLong) {
  const auto record = [](const std::string& key, const std::string& value) {
    return test::padded(test::padded(key, 7) + ":" + value, 80);
  };
  const std::string file = test::padded(record("HDRBLKS", "200") + record("NPIXELB", "2") + record("NOVERFL", "0") +
                                            record("NROWS", "600") + record("NCOLS", "600"),
                                        200 * 512, '.') +
                           std::string(720000, '\1');
  EXPECT_TRUE(load_compressed(file).counts == test::Counts(360000, 257));
}

// Bytes that are unpacked of the gzip file.
std::size_t unpacked_bytes(const std::string& file) {
  const auto enough = [](frames::Bytes front) { return frames::enough_of_file(front, "", {}); };
  const auto unpacked = frames::unpack(test::bytes_of(file), enough);
  return unpacked ? unpacked->size() : 0;
}

TEST(FrameCost, CompressedPackedImagesEndWhereTheirChunksDo) {
  constexpr std::size_t kRoom = (std::size_t{1} << 18) + 65536;
  for (const int edge : {1, 30, 700}) {
    const naive::Pixels pixels(static_cast<std::size_t>(edge) * static_cast<std::size_t>(edge), 5);
    const std::string file = naive::pack(pixels, edge, edge);
    const std::size_t most = 2 * std::max<std::size_t>(file.size(), 65536) + kRoom;
    EXPECT_LE(unpacked_bytes(test::gzip(file + std::string(50000000, '\0'))), most) << edge;
    EXPECT_LE(unpacked_bytes(test::gzip(file + std::string(50000000, '\xFF'))), most) << edge;
  }
  // Zeros are chunks of one pixel, in six bits.
  const std::string line = "CCP4 packed image, X: 2000, Y: 2000\n";
  EXPECT_LE(unpacked_bytes(test::gzip(line + std::string(50000000, '\0'))), 2 * (4000000U * 6 / 8) + kRoom);
}

TEST(FrameCost, ACompressedTiffDirectoryMayStandAnywhere) {
  TiffFile tiff;
  tiff.width = tiff.height = 500;
  tiff.blocks = {std::string(500000, '\1')};
  for (const std::size_t begin : {std::size_t{0}, std::size_t{4096}, std::size_t{20} << 20}) {
    tiff.data_begin = begin;
    EXPECT_TRUE(load_compressed(tiff.bytes()).counts == test::Counts(250000, 257)) << begin;
  }
  // A second image, far behind the first.
  tiff.data_begin = 4096;
  std::string file = tiff.bytes();
  const std::size_t link = 8 + 2 + 12 * 8;  // eight entries
  ASSERT_EQ(file.substr(link, 4), std::string(4, '\0'));
  for (const std::size_t second : {std::size_t{3000000}, std::size_t{40000000}}) {
    test::put(file, link, tiff.number(second, 4));
    test::put(file, second, std::string(6, '\0'));
    EXPECT_EQ(load_compressed(file).notes, std::vector<std::string>{"has several images; this is the first"});
  }
}

TEST(FrameCost, CompressedTiffFilesWhoseDirectoryNeverComes) {
  const std::string zeros(std::size_t{1} << 20, '\0');
  const std::string member = test::bzip2(zeros);
  std::string file = test::bzip2("II*" + test::from_bytes({0, 0, 0, 0, 0x7F}));
  for (int i = 0; i < 2000; ++i) file += member;
  expect_cheap(file,
               "(is too large: it unpacks to more than 201326592 bytes, which do not state the size of the frame|is a "
               "damaged TIFF file.*)",
               600);
}

}  // namespace
