#include "tests/mar345/mar345_file.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "tests/environment.h"
#include "tests/frames/load_bytes.h"

namespace {

using frames::load_mar345;
using mar345::kLayouts;
using mar345::Layout;
using test::bytes_of;
using test::Counts;

constexpr int kSize = 104;  // the older layout's sizes tell the byte order only above 100

// Every pixel counts 65400 but the first ones: 10, 20, 65535.
mar345::Frame frame_of(Layout layout, const std::vector<mar345::OverflowRecord>& records = {}) {
  mar345::Frame frame{layout, kSize, records, naive::filled(kSize, kSize, 65400 - 65536)};
  frame.pixels[0] = 10;
  frame.pixels[1] = 20;
  frame.pixels[2] = -1;
  return frame;
}

std::string with_text(std::string file, const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + std::string(63 - line.size(), ' ') + '\n';
  test::put(file, 128, text);
  return file;
}

const std::vector<std::string> kText{"mar research",
                                     "PROGRAM        scan345 (ESD) Version 5.1",
                                     "DATE           Mon Jun  8 15:49:26 2009",
                                     "PIXEL          LENGTH 150  HEIGHT 100",
                                     "WAVELENGTH     1.54179",
                                     "DISTANCE       100.500",
                                     "PHI            START 10.500  END 12.000  OSC 3",
                                     "OMEGA          START 1.000  END 2.000  OSC 0",
                                     "CENTER         X 1150.000  Y 1149.500",
                                     "MODE           TIME",
                                     "TIME           60.25",
                                     "REMARK         TIME 7 DISTANCE 8 PHI START 9",
                                     "DETECTOR       mar345 plate",
                                     "END OF HEADER",
                                     "DISTANCE       999.000"};

TEST(Mar345Frame, BothLayoutsAndByteOrdersKeepAll16Bits) {
  for (const Layout layout : kLayouts) {
    const std::string file = frame_of(layout).bytes();
    ASSERT_TRUE(frames::is_mar345(bytes_of(file)));
    const frames::Frame frame = load_mar345(bytes_of(file), {});
    EXPECT_EQ(frame.format, frames::Format::kMar345);
    EXPECT_EQ(frame.width, kSize);
    EXPECT_EQ(frame.height, kSize);
    Counts expected(std::size_t{kSize} * kSize, 65400);
    expected[0] = 10;
    expected[1] = 20;
    expected[2] = 65535;
    EXPECT_EQ(frame.counts, expected);
    EXPECT_TRUE(frame.mask.empty());
    EXPECT_TRUE(frame.notes.empty());
  }
}

TEST(Mar345Frame, OverflowRecordsReplaceTheirPixels) {
  for (const Layout layout : kLayouts) {
    // Positions are indices in the newer layout and begin with 1 in the older one.
    const int first = layout.new_layout ? 0 : 1;
    const std::string file =
        frame_of(layout, {{first + 5, 70000}, {first + 6, 300000}, {first + 7, 2147483647}, {first + 8, 5}}).bytes();
    const frames::Frame frame = load_mar345(bytes_of(file), {});
    EXPECT_EQ(Counts(frame.counts.begin() + 4, frame.counts.begin() + 10),
              (Counts{65400, 70000, 300000, 2147483647, 5, 65400}));
    EXPECT_TRUE(frame.mask.empty());
  }
}

TEST(Mar345Frame, NegativeValuesAreUnknown) {
  for (const Layout layout : kLayouts) {
    const int first = layout.new_layout ? 0 : 1;
    const std::string file = frame_of(layout, {{first + 5, -1}, {first + 6, -9}, {first + 6, 80000}}).bytes();
    const frames::Frame frame = load_mar345(bytes_of(file), {});
    EXPECT_EQ(frame.counts[5], 256001U);
    EXPECT_EQ(frame.counts[6], 80000U);
    std::vector<std::uint8_t> unknown(frame.counts.size());
    unknown[5] = frames::kUnknown;
    EXPECT_EQ(frame.mask, unknown);
  }
}

TEST(Mar345Frame, WithoutAnUnknownPixelThereIsNoMask) {
  const Layout layout{true, false};
  const frames::Frame frame = load_mar345(bytes_of(frame_of(layout, {{6, -9}, {6, 80000}}).bytes()), {});
  EXPECT_EQ(frame.counts[6], 80000U);
  EXPECT_TRUE(frame.mask.empty());
}

TEST(Mar345Frame, RecordsOutsideTheImageAreIgnored) {
  for (const Layout layout : kLayouts) {
    const int pixels = kSize * kSize;
    const std::string file = frame_of(layout, {{0, 1}, {-5, 2}, {pixels + 1, 3}, {2147483647, 4}}).bytes();
    const frames::Frame frame = load_mar345(bytes_of(file), {});
    EXPECT_EQ(frame.counts, load_mar345(bytes_of(frame_of(layout).bytes()), {}).counts);
  }
  // The position equal to the number of pixels is the older layout's last pixel and none of the newer one's.
  const std::vector<mar345::OverflowRecord> last{{kSize * kSize, 77}};
  const std::string older = frame_of({false, false}, last).bytes();
  EXPECT_EQ(load_mar345(bytes_of(older), {}).counts.back(), 77U);
  const std::string newer = frame_of({true, false}, last).bytes();
  EXPECT_EQ(load_mar345(bytes_of(newer), {}).counts.back(), 65400U);
}

TEST(Mar345Frame, MissingRecordsAreANote) {
  for (const Layout layout : kLayouts) {
    mar345::Frame source = frame_of(layout, {{5, 70000}});
    const std::string file = mar345::header(layout, kSize, 3) + mar345::overflow_table(source.records, layout.swapped) +
                             naive::pack(source.pixels, kSize, kSize);
    const frames::Frame frame = load_mar345(bytes_of(file), {});
    EXPECT_EQ(frame.notes, std::vector<std::string>{"2 of 3 overflow records are missing"});
    EXPECT_EQ(frame.counts[layout.new_layout ? 5 : 4], 70000U);
  }
}

TEST(Mar345Frame, TextHeaderIsReadByKeywordsAtLineStarts) {
  for (const bool swapped : {false, true}) {
    const std::string file = with_text(frame_of({true, swapped}).bytes(), kText);
    const frames::Header header = load_mar345(bytes_of(file), {}).header;
    EXPECT_EQ(header.wavelength, 1.54179);
    EXPECT_EQ(header.distance, 100.5);
    EXPECT_EQ(header.oscillation_start, 10.5);
    EXPECT_EQ(header.oscillation_range, 1.5);
    EXPECT_EQ(header.exposure_time, 60.25);
    EXPECT_DOUBLE_EQ(header.pixel_size.value().x, 0.15);
    EXPECT_DOUBLE_EQ(header.pixel_size.value().y, 0.1);
    EXPECT_EQ(header.beam_centre.value().x, 1150);
    EXPECT_EQ(header.beam_centre.value().y, 1149.5);
    EXPECT_EQ(header.date, "Mon Jun  8 15:49:26 2009");
    EXPECT_EQ(header.detector, "mar345 plate");
    EXPECT_FALSE(header.saturation);
  }
}

TEST(Mar345Frame, ValuesThatTheHeaderLacksAreAbsent) {
  const std::string file = with_text(frame_of({true, false}).bytes(),
                                     {"WAVELENGTH     0.00000", "DISTANCE", "PHI            START x", "DATE",
                                      "PIXEL          LENGTH 150", "CENTER         X 5", "TIME           ?"});
  const frames::Header header = load_mar345(bytes_of(file), {}).header;
  EXPECT_FALSE(header.wavelength);
  EXPECT_FALSE(header.distance);
  EXPECT_FALSE(header.oscillation_start);
  EXPECT_FALSE(header.oscillation_range);
  EXPECT_FALSE(header.exposure_time);
  EXPECT_FALSE(header.pixel_size);
  EXPECT_FALSE(header.beam_centre);
  EXPECT_FALSE(header.date);
  EXPECT_FALSE(header.detector);
}

TEST(Mar345Frame, PackedFilesAreNotTakenForTheOlderLayout) {
  const std::string packed = naive::pack(naive::filled(kSize, kSize, 1), kSize, kSize);
  std::string header = test::little32(kSize) + test::little32(kSize);
  header.resize(2400, ' ');
  EXPECT_FALSE(frames::is_mar345(bytes_of(header + packed)));
  EXPECT_FALSE(frames::is_mar345(bytes_of(packed)));
}

TEST(Mar345Frame, DamagedHeadersAreErrors) {
  const std::string file = with_text(frame_of({true, false}).bytes(), kText);
  const auto error_of = [](const std::string& bytes) {
    return test::load_error([&] { load_mar345(bytes_of(bytes), {}); });
  };
  EXPECT_EQ(error_of(file.substr(0, 39)), "is truncated: the header is incomplete");
  std::string wrong_word = file;
  test::put(wrong_word, 0, std::string(4, '\x7F'));
  EXPECT_TRUE(frames::is_mar345(bytes_of(wrong_word)));  // by its text
  EXPECT_EQ(error_of(wrong_word), "is damaged: its first word does not belong to a mar345 frame");
  std::string wrong_size = file;
  test::put(wrong_size, 4, test::little32(0xFFFFFFFF));
  EXPECT_EQ(error_of(wrong_size), "is damaged: it states a size of -1 x -1 pixels");
}

TEST(Mar345Frame, ImagesThatEndEarlyAreDamage) {
  for (const Layout layout : kLayouts) {
    const std::string file = frame_of(layout).bytes();
    const std::size_t stream = file.find("CCP4") + 36;
    // The encoder may end with a byte that no pixel needs.
    for (const std::size_t length : {file.size() - 2, stream + 1, stream}) {
      const std::string cut = file.substr(0, length);
      EXPECT_EQ(test::load_error([&] { load_mar345(bytes_of(cut), {}); }), "is truncated: the packed image ends early");
      EXPECT_EQ(load_mar345(bytes_of(cut), test::forced()).notes.size(), 1U);
    }
    const std::string cut = file.substr(0, stream - 1);
    const std::string missing = "is truncated or damaged: it holds no packed image";
    EXPECT_EQ(test::load_error([&] { load_mar345(bytes_of(cut), {}); }), missing);
    const frames::Frame frame = load_mar345(bytes_of(cut), test::forced());
    EXPECT_EQ(frame.notes, std::vector<std::string>{missing});
    EXPECT_EQ(frame.counts, Counts(std::size_t{kSize} * kSize));
  }
}

TEST(Mar345Frame, APackedImageOfAnotherSizeIsDamage) {
  for (const Layout layout : kLayouts) {
    const std::string file = mar345::header(layout, kSize, 0) + naive::pack(naive::filled(2, 3, 7), 2, 3);
    const std::string wrong = "is damaged: the packed image has 2 x 3 pixels, the header says 104 x 104";
    EXPECT_EQ(test::load_error([&] { load_mar345(bytes_of(file), {}); }), wrong);
    const frames::Frame frame = load_mar345(bytes_of(file), test::forced());
    EXPECT_EQ(frame.notes, std::vector<std::string>{wrong});
    EXPECT_EQ(std::accumulate(frame.counts.begin(), frame.counts.end(), 0U), 6U * 7U);
  }
}

TEST(Mar345Frame, RealFrameHasItsHeadersStatistics) {
  const std::string path = test::sample_frame("nx09_strain_011.mar2300");
  if (path.empty()) GTEST_SKIP() << "the shared sample frames are absent";
  const frames::Frame frame = frames::load_frame(path);
  EXPECT_EQ(frame.format, frames::Format::kMar345);
  ASSERT_EQ(frame.width, 2300);
  ASSERT_EQ(frame.height, 2300);
  EXPECT_TRUE(frame.mask.empty());
  EXPECT_TRUE(frame.notes.empty());

  // INTENSITY MIN 7  MAX 67080  AVE 117.3, of the pixels that the round plate has.
  Counts hit;
  std::ranges::copy_if(frame.counts, std::back_inserter(hit), [](std::uint32_t count) { return count != 0; });
  EXPECT_EQ(*std::ranges::min_element(hit), 7U);
  EXPECT_EQ(*std::ranges::max_element(hit), 67080U);
  const double sum = std::accumulate(hit.begin(), hit.end(), 0.0);
  EXPECT_NEAR(sum / static_cast<double>(hit.size()), 117.3, 0.05);

  EXPECT_EQ(frame.header.wavelength, 1.54179);
  EXPECT_EQ(frame.header.distance, 100.0);
  EXPECT_EQ(frame.header.oscillation_start, 0.0);
  EXPECT_EQ(frame.header.oscillation_range, 0.0);
  EXPECT_EQ(frame.header.exposure_time, 60.0);
  EXPECT_DOUBLE_EQ(frame.header.pixel_size.value().x, 0.15);
  EXPECT_DOUBLE_EQ(frame.header.pixel_size.value().y, 0.15);
  EXPECT_EQ(frame.header.beam_centre.value().x, 1150);
  EXPECT_EQ(frame.header.beam_centre.value().y, 1150);
  EXPECT_EQ(frame.header.date, "Mon Jun  8 15:49:26 2009");
  EXPECT_EQ(frame.header.detector, "mar345");
}

TEST(Mar345Frame, RecordsGoWhereTheLibraryPutsThem) {
  const int pixels = kSize * kSize;
  const test::TemporaryDirectory directory;
  for (const Layout layout : kLayouts) {
    std::vector<mar345::OverflowRecord> records;
    for (const int position : {1, 2, kSize - 1, kSize, kSize + 1, 2 * kSize - 1, 2 * kSize, 2 * kSize + 1, 5000,
                               pixels - kSize, pixels - 1, pixels, pixels + 1}) {
      records.push_back({position, 1000 + position});  // below both limits
    }
    const std::string path = directory.write("frame.mar2300", frame_of(layout, records).bytes());
    unsigned* daten = nullptr;
    int width = 0;
    int height = 0;
    ASSERT_EQ(new_read_pck(path.c_str(), &daten, &width, &height), 1);
    const auto owner = test::own(daten);
    const frames::Frame frame = frames::load_frame(path);
    for (std::size_t i = 0; i < frame.counts.size(); ++i) {
      // The library knows no counts above the older layout's limit.
      if (daten[i] == OVERFLOW_MARK) {
        EXPECT_GE(frame.counts[i], 65356U) << i;
      } else {
        EXPECT_EQ(frame.counts[i], daten[i]) << i;
      }
    }
  }
}

TEST(Mar345Frame, CountsOfAllBitsWithoutARecordAreKept) {
  for (const Layout layout : kLayouts) {
    const frames::Frame frame = load_mar345(bytes_of(frame_of(layout, {{50, 70000}}).bytes()), {});
    EXPECT_EQ(frame.counts[2], 65535U);
    EXPECT_TRUE(frame.mask.empty());
  }
}

}  // namespace
