// A frame that a real detector wrote.
#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

constexpr std::string_view kPackedLine = "\nCCP4 packed image, X: ";

class RealFrame : public testing::Test {
 protected:
  void SetUp() override {
    path_ = test::sample_frame("nx09_strain_011.mar2300");
    if (path_.empty()) GTEST_SKIP() << "the shared sample frames are absent";
    bytes_ = test::read_file(path_);
  }
  const std::string& path() const { return path_; }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string path_;
  std::string bytes_;
};

// The word behind `keyword` in the line.
std::string value_of(const std::string& line, const std::string& keyword) {
  std::istringstream words(line);
  std::string word;
  while (words >> word) {
    if (word == keyword && words >> word) return word;
  }
  ADD_FAILURE() << "no " << keyword << " in: " << line;
  return "0";
}

// Half of the last digit that is printed.
double rounding_of(const std::string& number) {
  const std::size_t point = number.find('.');
  const auto decimals = point == std::string::npos ? 0 : static_cast<int>(number.size() - point - 1);
  return 0.5 * std::pow(10.0, -decimals);
}

}  // namespace

TEST_F(RealFrame, MatchesTheIntensitiesOfItsOwnHeader) {
  const std::string text = bytes().substr(128, 4096 - 128);
  const std::size_t begin = text.find("\nINTENSITY ");
  ASSERT_NE(begin, std::string::npos);
  const std::string line = text.substr(begin + 1, text.find('\n', begin + 1) - begin - 1);

  unsigned* daten = nullptr;
  int width = 0;
  int height = 0;
  const auto output = test::capture([&] { EXPECT_EQ(new_read_pck(path().c_str(), &daten, &width, &height), 1); });
  const auto owner = test::own(daten);
  EXPECT_EQ(output.out + output.err, "");
  ASSERT_EQ(width, 2300);
  ASSERT_EQ(height, 2300);

  unsigned largest = 0;
  unsigned smallest = std::numeric_limits<unsigned>::max();
  double sum = 0;
  double count = 0;
  for (std::size_t i = 0; i < std::size_t{2300} * 2300; ++i) {
    largest = std::max(largest, daten[i]);
    if (daten[i] == 0) continue;
    smallest = std::min(smallest, daten[i]);
    sum += daten[i];
    count += 1;
  }
  EXPECT_EQ(largest, std::stod(value_of(line, "MAX"))) << line;
  EXPECT_EQ(smallest, std::stod(value_of(line, "MIN"))) << line;
  const std::string average = value_of(line, "AVE");
  EXPECT_NEAR(sum / count, std::stod(average), rounding_of(average) * (1 + 1e-9)) << line;
}

TEST_F(RealFrame, PacksAgainToItsOwnBytes) {
  const std::size_t begin = bytes().find(kPackedLine);
  ASSERT_NE(begin, std::string::npos);
  std::vector<short> image(std::size_t{2300} * 2300);
  readpck(image.data(), path().c_str());
  const auto stream = test::stream_of("");
  pack_wordimage_c(image.data(), 2300, 2300, stream.get());
  std::string packed(static_cast<std::size_t>(std::ftell(stream.get())), '\0');
  std::rewind(stream.get());
  ASSERT_EQ(std::fread(packed.data(), 1, packed.size(), stream.get()), packed.size());
  EXPECT_EQ(packed.size(), bytes().size() - begin);
  EXPECT_TRUE(packed == bytes().substr(begin));
}

TEST_F(RealFrame, HeaderFillsWhatTheSearchForLettersReaches) {
  const std::string text = bytes().substr(128, 4096 - 128);
  const auto stated = [&](const std::string& line, const std::string& keyword) {
    const std::size_t begin = text.find("\n" + line);
    EXPECT_NE(begin, std::string::npos) << line;
    return value_of(text.substr(begin), keyword);
  };
  Mar345Header record{};
  EXPECT_EQ(read_marheader(&record, path().c_str()), 2);
  EXPECT_EQ(record.program, value_of(text, "PROGRAM"));
  EXPECT_EQ(record.format, stated("FORMAT", "FORMAT"));
  EXPECT_EQ(record.high, std::stoi(stated("HIGH", "HIGH")));
  EXPECT_EQ(record.roff, std::stoi(stated("OFFSET", "ROFF")));
  EXPECT_EQ(record.toff, std::stoi(stated("OFFSET", "TOFF")));
  EXPECT_EQ(record.wavelength, std::stod(stated("WAVELENGTH", "WAVELENGTH")));
  EXPECT_EQ(record.distance, std::stod(stated("DISTANCE", "DISTANCE")));
  EXPECT_EQ(record.phi_end, std::stod(stated("PHI", "END")));
  // The program is "scan345 (ESD)", whose D stands before DATE; PIXEL has an L before LENGTH.
  EXPECT_STREQ(record.date, "    ");
  EXPECT_EQ(record.pixel_length, 0);
}
