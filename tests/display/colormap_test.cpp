#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using Values = std::vector<int>;
using Lines = std::vector<std::string>;

// first, first + step and so on, up to (or down to) last.
Values range(int first, int last, int step) {
  Values values;
  for (int value = first; step > 0 ? value <= last : value >= last; value += step) values.push_back(value);
  return values;
}

// A single value stands for all lines of the ramp.
int value_at(const Values& values, std::size_t line) {
  return values.size() == 1 ? values.front() : values.at(line);
}

void append_ramp(Lines& lines, std::size_t count, const Values& red, const Values& green, const Values& blue) {
  for (std::size_t i = 0; i < count; ++i) {
    lines.push_back(std::to_string(value_at(red, i)) + " " + std::to_string(value_at(green, i)) + " " +
                    std::to_string(value_at(blue, i)));
  }
}

Lines expected_lines() {
  Lines lines;
  append_ramp(lines, 12, {0}, {0}, range(0, 231, 21));
  append_ramp(lines, 26, range(0, 250, 10), {0}, {255});
  append_ramp(lines, 12, {255}, range(0, 55, 5), {255});
  append_ramp(lines, 13, {255}, {60}, range(250, 10, -20));
  append_ramp(lines, 12, {255}, {65, 75, 85, 95, 105, 120, 140, 160, 180, 200, 220, 240}, {0});
  append_ramp(lines, 25, range(250, 10, -10), {255}, {0});
  append_ramp(lines, 13, {0}, {255}, {5, 20, 35, 50, 65, 70, 90, 110, 120, 160, 200, 240, 255});
  append_ramp(lines, 13, {20, 40, 60, 100, 140, 180, 190, 195, 200, 205, 210, 220, 240}, {255}, {255});
  append_ramp(lines, 13, {0}, {0}, range(0, 240, 20));
  append_ramp(lines, 26, range(0, 250, 10), {0}, {255});
  append_ramp(lines, 12, {255}, range(0, 55, 5), {255});
  append_ramp(lines, 21, {255}, {60}, range(250, 10, -12));
  append_ramp(lines, 11, {255}, range(65, 245, 18), {0});
  append_ramp(lines, 26, range(250, 0, -10), {255}, {0});
  append_ramp(lines, 10, {0}, {255}, {25, 50, 75, 100, 125, 150, 175, 200, 225, 255});
  append_ramp(lines, 10, {25, 50, 75, 100, 125, 150, 175, 200, 225, 255}, {255}, {255});
  return lines;
}

// The lines of the file that write_colormap makes. Each ends with a line feed.
Lines written_lines() {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("colormap.zimg");
  const auto output = test::capture([&] { write_colormap(path.c_str()); });
  EXPECT_EQ(output.out + output.err, "");
  const std::string text = test::read_file(path);
  Lines lines;
  std::size_t start = 0;
  for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  EXPECT_EQ(start, text.size());
  return lines;
}

}  // namespace

TEST(Colormap, Has255Lines) {
  EXPECT_EQ(written_lines().size(), 255U);
}

TEST(Colormap, RunsTwiceFromBlackToWhite) {
  const Lines lines = written_lines();
  ASSERT_EQ(lines.size(), 255U);
  EXPECT_EQ(lines[0], "0 0 0");
  EXPECT_EQ(lines[1], "0 0 21");
  EXPECT_EQ(lines[11], "0 0 231");
  EXPECT_EQ(lines[12], "0 0 255");
  EXPECT_EQ(lines[125], "240 255 255");
  EXPECT_EQ(lines[126], "0 0 0");
  EXPECT_EQ(lines[127], "0 0 20");
  EXPECT_EQ(lines[253], "225 255 255");
  EXPECT_EQ(lines[254], "255 255 255");
}

TEST(Colormap, EachLineIsThatOfItsRamp) {
  const Lines lines = written_lines();
  const Lines expected = expected_lines();
  ASSERT_EQ(expected.size(), 255U);
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(lines.at(i), expected[i]) << "line " << i + 1;
}

TEST(Colormap, ReplacesAnOlderFileAndClosesItsOwn) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("colormap.zimg", std::string(100000, 'x'));
  const std::size_t before = test::open_descriptors();
  write_colormap(path.c_str());
  EXPECT_EQ(test::open_descriptors(), before);
  EXPECT_EQ(test::read_file(path).substr(0, 13), "0 0 0\n0 0 21\n");
  EXPECT_EQ(test::read_file(path).find('x'), std::string::npos);
}

TEST(Colormap, OpenFailureIsReportedWithoutLineFeed) {
  const auto output = test::capture([] { write_colormap("/nonexistent/colormap%d"); });
  EXPECT_EQ(output.out, "# \033[31;1mERROR\033[0m opening /nonexistent/colormap%d");
  EXPECT_EQ(output.err, "");
}
