#include "program/terminal_drawing.h"

#include <cstdlib>

#include "pictures/png.h"
#include "tests/environment.h"
#include "tests/frames/mask.h"
#include "tests/pictures/frames_and_pixels.h"

namespace {

using pictures::Picture;
using program::Terminal;
using program::TerminalGraphics;

// Components of whole percents that are whole bytes, too.
const std::vector<pictures::Rgb> kPalette{{0, 0, 0}, {255, 255, 255}, {255, 0, 51}, {102, 153, 204}, {1, 2, 3}};

Picture patterned(int width, int height) {
  Picture picture{width, height, {}, kPalette};
  for (int i = 0; i < width * height; ++i) {
    picture.pixels.push_back(static_cast<std::uint8_t>(i / 5 % 3 == 0 ? 0 : (i * i / 7) % 4));
  }
  return picture;
}

std::string drawn(const frames::Frame& frame, const pictures::PictureOptions& options, const Terminal& terminal) {
  char* memory = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&memory, &size);
  frames::Remarks remarks;
  program::draw_in_terminal(frame, options, terminal, stream, remarks);
  std::fclose(stream);
  std::string text(memory, size);
  std::free(memory);
  return text;
}

TEST(Sixel, IsWrittenInBandsOfSixRows) {
  // Seven rows of four: black above, one white pixel in the second band.
  Picture picture{4, 7, std::vector<std::uint8_t>(28), kPalette};
  picture.pixels[27] = 1;
  EXPECT_EQ(program::sixel_drawing(picture),
            "\033P0;1;0q\"1;1;4;7#0;2;0;0;0#1;2;100;100;100#0!4~-#0@@@$#1???@-\033\\\n");
}

TEST(Sixel, IsDecodedToTheSamePixels) {
  for (const auto& [width, height] : {std::pair{1, 1}, {37, 23}, {300, 18}}) {
    const test::TemporaryDirectory directory;
    const Picture picture = patterned(width, height);
    const std::string file = directory.write("drawing", program::sixel_drawing(picture));
    const std::string out = directory.path("out.rgb");
    // ImageMagick's decoder leaves its pixels black: the colour table and the entries, which GIF pictures hold, are
    // right.
    const std::string gif = directory.path("out.gif");
    std::string command("/usr/bin/convert sixel:");
    command.append(file).append(" gif:").append(gif).append(" && /usr/bin/convert gif:").append(gif);
    ASSERT_EQ(std::system(command.append(" -depth 8 rgb:").append(out).c_str()), 0);
    const std::vector<std::uint8_t> expected = test::rgb_of(picture);
    EXPECT_TRUE(test::read_file(out) == std::string(expected.begin(), expected.end())) << width;
  }
}

std::string from_base64(const std::string& text) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char digit : text.substr(0, text.find('='))) {
    bits = (bits << 6 | static_cast<unsigned>(digits.find(digit))) & 0xFFFFFF;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xFF);
    }
  }
  return bytes;
}

TEST(Kitty, TheChunksAreThePngPicture) {
  for (const int size : {1, 2, 3, 4, 150}) {
    Picture picture = patterned(size, size);
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
      picture.pixels[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13) % 5;  // hardly to be compressed
    }
    std::string rest = program::kitty_drawing(picture);
    ASSERT_TRUE(rest.ends_with("\033\\\n"));
    rest.pop_back();
    std::string data;
    std::size_t chunks = 0;
    bool goes_on = true;
    while (!rest.empty()) {
      ASSERT_TRUE(goes_on);
      ++chunks;
      const std::string begin = chunks == 1 ? "\033_Gf=100,a=T,q=2,m=" : "\033_Gm=";
      ASSERT_TRUE(rest.starts_with(begin));
      goes_on = rest.at(begin.size()) == '1';
      const std::size_t end = rest.find("\033\\");
      const std::string chunk = rest.substr(begin.size() + 2, end - begin.size() - 2);
      EXPECT_LE(chunk.size(), 4096U);
      EXPECT_EQ(chunk.size() % 4, 0U);
      data += chunk;
      rest.erase(0, end + 2);
    }
    EXPECT_FALSE(goes_on);
    EXPECT_EQ(chunks, (data.size() + 4095) / 4096);
    EXPECT_EQ(chunks > 1, size == 150);
    EXPECT_EQ(from_base64(data), pictures::png_bytes(picture));
  }
}

TEST(Blocks, HaveTheUpperPixelInFrontOfTheLower) {
  const Picture picture{2, 2, {0, 1, 2, 3}, kPalette};
  EXPECT_EQ(program::block_drawing(picture, true),
            "\033[38;2;0;0;0m\033[48;2;255;0;51m▀\033[38;2;255;255;255m\033[48;2;102;153;204m▀\033[0m\n");
  EXPECT_EQ(program::block_drawing(picture, false),
            // 102 153 204 is nearest to 95 135 215, the cube's 16 + 36 + 2 * 6 + 4.
            "\033[38;5;16m\033[48;5;197m▀\033[38;5;231m\033[48;5;68m▀\033[0m\n");
}

TEST(Blocks, RepeatNoColourAndLeaveTheGroundBelowTheLastRow) {
  const Picture picture{2, 3, {1, 1, 1, 1, 1, 1}, kPalette};
  EXPECT_EQ(program::block_drawing(picture, false), "\033[38;5;231m\033[48;5;231m▀▀\033[0m\n\033[38;5;231m▀▀\033[0m\n");
}

TEST(Blocks, AFrameOfFourPixelsIsDrawnInTwoCharacters) {
  pictures::PictureOptions options;
  options.colors = pictures::ColorMap::kGrey;
  options.range = pictures::CountRange{0, 252};
  frames::Frame frame = test::frame_of(2, 2, {0, 252, 252, 9});
  frame.mask = test::unknown({false, false, false, true});
  EXPECT_EQ(drawn(frame, options, {2, 3, 0, 0, TerminalGraphics::kBlocks, true}),
            "\033[38;2;0;0;0m\033[48;2;255;255;255m▀\033[38;2;255;255;255m\033[48;2;255;0;0m▀\033[0m\n");
}

TEST(Ascii, LevelsAreLetters) {
  pictures::PictureOptions options;
  options.range = pictures::CountRange{0, 20};
  frames::Frame frame = test::frame_of(12, 1, {0, 3, 5, 7, 9, 11, 13, 15, 17, 19, 20, 0});
  frame.mask.assign(12, 0);
  frame.mask[11] = frames::kUnknown;
  // A character is as high as two are wide.
  EXPECT_EQ(drawn(frame, options, {24, 3, 0, 0, TerminalGraphics::kAscii, false}), "  ..::--==++**##%%@@@@??\n");
}

TEST(DrawInTerminal, LeavesTwoRowsAndTheAspectRatio) {
  const frames::Frame frame = test::empty_frame(440, 440);
  const auto lines = [](const std::string& text) { return std::ranges::count(text, '\n'); };
  const auto blocks = [](const std::string& text) {
    std::size_t count = 0;
    for (std::size_t i = text.find("▀"); i != std::string::npos; i = text.find("▀", i + 1)) ++count;
    return count;
  };
  Terminal terminal{80, 24, 0, 0, TerminalGraphics::kBlocks, false};
  EXPECT_EQ(lines(drawn(frame, {}, terminal)), 22);
  EXPECT_EQ(blocks(drawn(frame, {}, terminal)), 22U * 44U);
  pictures::PictureOptions with_bar;
  with_bar.bar = true;
  EXPECT_LE(lines(drawn(frame, with_bar, terminal)), 22);
  EXPECT_GT(lines(drawn(frame, with_bar, terminal)), 18);
  terminal.graphics = TerminalGraphics::kAscii;
  EXPECT_EQ(drawn(frame, {}, terminal), [] {
    std::string text;
    for (int row = 0; row < 22; ++row) text += std::string(44, ' ') + "\n";
    return text;
  }());
  terminal.graphics = TerminalGraphics::kSixel;
  EXPECT_TRUE(drawn(frame, {}, terminal).starts_with("\033P0;1;0q\"1;1;440;440#"));  // 800 x 480
  terminal.pixel_width = 300;
  terminal.pixel_height = 240;
  EXPECT_TRUE(drawn(frame, {}, terminal).starts_with("\033P0;1;0q\"1;1;220;220#"));  // 300 x 220
}

TEST(DrawInTerminal, NoTerminalIsLargerThanAScreen) {
  const std::string text = drawn(test::empty_frame(1, 1), {}, {65535, 65535, 0, 0, TerminalGraphics::kAscii, false});
  EXPECT_LE(text.find('\n'), 2000U);
  EXPECT_LE(std::ranges::count(text, '\n'), 2000);
}

TEST(DrawInTerminal, RingsStayWhereTheyBelong) {
  frames::Frame frame = test::empty_frame(88, 88);
  frame.header.wavelength = 1.0;
  frame.header.distance = 2.4;  // at 45 degrees of 2 theta 24 pixels: 6 of blocks of 4, below
  frame.header.pixel_size = frames::Point{0.1, 0.1};
  frame.header.beam_centre = frames::Point{41.5, 41.5};  // the middle of the tenth block
  pictures::PictureOptions options;
  options.rings = {1.3065629648763766};
  const std::string text = drawn(frame, options, {22, 13, 0, 0, TerminalGraphics::kAscii, false});
  // Characters are blocks of 4 x 8: the beam is in column 10, at row 4.75.
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size(); begin += 23) lines.push_back(text.substr(begin, 22));
  ASSERT_EQ(lines.size(), 11U);
  EXPECT_EQ(lines[5][16], 'o');
  EXPECT_EQ(lines[5][4], 'o');
  EXPECT_EQ(lines[2][10], 'o');  // 4.75 - 3
  EXPECT_EQ(lines[8][10], 'o');  // 4.75 + 3
  EXPECT_EQ(lines[5][10], ' ');
}

}  // namespace
