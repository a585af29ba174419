#include "pictures/png.h"

#include <cerrno>

#include "tests/environment.h"
#include "tests/pictures/frames_and_pixels.h"
#include "tests/pictures/png_file.h"

namespace {

using pictures::Picture;

Picture small_picture() {
  return {3, 2, {2, 0, 1, 0, 1, 2}, {{0, 0, 0}, {10, 20, 30}, {255, 254, 1}}};
}

TEST(PicturePng, PaletteColoursComeBack) {
  const test::Png decoded = test::decode_png(pictures::png_bytes(small_picture()));
  EXPECT_EQ(decoded.width, 3U);
  EXPECT_EQ(decoded.height, 2U);
  EXPECT_TRUE(decoded.has_palette);
  EXPECT_EQ(decoded.rgb, test::rgb_of(small_picture()));
}

TEST(PicturePng, WithoutAPalettePixelsAreGreyValues) {
  const test::Png decoded = test::decode_png(pictures::png_bytes({3, 1, {0, 127, 255}, {}}));
  EXPECT_TRUE(decoded.is_grey);
  EXPECT_EQ(decoded.rgb, (std::vector<std::uint8_t>{0, 0, 0, 127, 127, 127, 255, 255, 255}));
}

TEST(PicturePng, TheFileHoldsTheSameBytes) {
  const test::Stream stream = test::stream_of("");
  pictures::write_png(small_picture(), stream.get());
  EXPECT_EQ(std::ferror(stream.get()), 0);
  const std::string bytes = pictures::png_bytes(small_picture());
  std::rewind(stream.get());
  std::string written(bytes.size() + 1, '\0');
  written.resize(std::fread(written.data(), 1, written.size(), stream.get()));
  EXPECT_EQ(written, bytes);
}

TEST(PicturePng, WriteErrorsStayWithTheStream) {
  const test::Stream full(std::fopen("/dev/full", "wb"));
  std::setvbuf(full.get(), nullptr, _IONBF, 0);
  EXPECT_NO_THROW(pictures::write_png(small_picture(), full.get()));
  EXPECT_NE(std::ferror(full.get()), 0);
}

TEST(PicturePng, ImpossiblePicturesAreRefused) {
  const test::Stream stream = test::stream_of("");
  EXPECT_THROW(pictures::write_png({0, 0, {}, {{0, 0, 0}}}, stream.get()), std::runtime_error);
  EXPECT_THROW(pictures::png_bytes({1, 1, {0}, std::vector<pictures::Rgb>(257)}), std::runtime_error);
}

}  // namespace
