#include <limits>
#include <string>
#include <utility>

#include "tests/environment.h"
#include "tests/formats/impossible_sizes.h"
#include "tests/formats/naive_headers.h"
#include "xrdimage.h"

namespace {

const std::string kPrompt = "# Detector x y [1242 1152]> ";

std::string scanned(const std::string& date, const std::string& order, int bits, int binning) {
  return "\n# Scanned: " + date + "\n# ByteOrder: " + order + ", BitsPerSample: " + std::to_string(bits) +
         ", Binning: " + std::to_string(binning) + "\n\n";
}

// Where the header states no more than the bits.
std::string scanned(int bits) {
  return scanned("-1 -1 -1", "", bits, -1);
}

std::string kibibytes(int count) {
  return "# " + std::to_string(count) + " kB f\xFCr Daten bereitgestellt\n";
}

std::string read_line(int width, int height, int bits) {
  return "# " + std::to_string(width) + " x " + std::to_string(height) + " " + std::to_string(bits) + "bit char read\n";
}

// What read_edf_header printed and handed out.
struct Header {
  int width = 501;
  int height = 502;
  int bits = -1;
  int result = -1;
  std::string text;
  std::string rest;  // what the stream holds behind the header
};

Header read_header(std::FILE* stream, int bits = -1) {
  Header header;
  header.bits = bits;
  test::Output output =
      test::capture([&] { header.result = read_edf_header(stream, &header.width, &header.height, &header.bits); });
  EXPECT_EQ(output.err, "");
  header.text = std::move(output.out);
  for (int byte = std::fgetc(stream); byte != EOF; byte = std::fgetc(stream)) header.rest += static_cast<char>(byte);
  return header;
}

Header read_header(const std::string& bytes, int bits = -1) {
  return read_header(test::stream_of(bytes).get(), bits);
}

// What read_edf printed and handed out.
struct Frame {
  int width = 501;
  int height = 3;
  int bits = -1;
  int result = -1;
  bool allocated = false;
  std::string bytes;  // the array's
  std::string text;   // on standard output
};

void read_into(Frame& frame, const std::string& path) {
  unsigned int untouched = 0;
  unsigned int* daten = &untouched;
  frame.result = read_edf(path.c_str(), &daten, &frame.bits, &frame.width, &frame.height);
  frame.allocated = daten != &untouched;
  if (!frame.allocated) return;
  const auto pixels = test::own(daten);
  const std::size_t count = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
  frame.bytes.assign(reinterpret_cast<const char*>(pixels.get()), count * 4);
}

Frame read_path(const std::string& path, int bits = -1, const std::string& answer = "") {
  Frame frame;
  frame.bits = bits;
  test::Output output;
  test::with_input(answer, [&] { output = test::capture([&] { read_into(frame, path); }); });
  EXPECT_EQ(output.err, "");
  frame.text = std::move(output.out);
  return frame;
}

Frame read_bytes(const std::string& bytes, int bits = -1, const std::string& answer = "") {
  const test::TemporaryDirectory directory;
  return read_path(directory.write("frame.edf", bytes), bits, answer);
}

// A header of 2 x 3 pixels of so many bits.
std::string header_of_bits(const std::string& bits) {
  return "{\nDim_1 = 2 ;\nDim_2 = 3 ;\nBitsPerSample = " + bits + " ;\n}\n";
}

// 48 bytes that differ.
std::string counting_bytes() {
  std::string bytes;
  for (char i = 1; i <= 48; ++i) bytes += i;
  return bytes;
}

}  // namespace

TEST(EdfHeader, EveryKeyIsHandedOutOrPrinted) {
  const Header header = read_header(
      "{\n"
      "HeaderID        = EH:000001:000000:000000 ; \n"
      "Dim_1           = 1242 ; \n"
      "Dim_2           = 1152 ; \n"
      "DateTime        = 12.01.2004 10:11:12 MEZ+1h ; \n"
      "Binning         = 2 ; \n"
      "BitsPerSample   = 24 ; \n"
      "ByteOrder       = LowByteFirst ; \n"
      "DataType        = UnsignedShort ; \n"
      "Size            = 5 ; \n"
      "Image           = 6 ; \n"
      "}\n"
      "pixels");
  EXPECT_EQ(header.result, 0);
  EXPECT_EQ(header.width, 1242);
  EXPECT_EQ(header.height, 1152);
  EXPECT_EQ(header.bits, 24);
  EXPECT_EQ(header.text,
            "\n# Scanned: 12.01.2004 10:11:12 MEZ+1h\n# ByteOrder: LowByteFirst, BitsPerSample: 24, Binning: 2\n\n");
  EXPECT_EQ(header.rest, "pixels");
}

TEST(EdfHeader, KeysMayComeInAnyOrder) {
  const Header header = read_header(
      "{\nDataType = FloatValue ;\nByteOrder = HighByteFirst ;\nBitsPerSample = 8 ;\nBinning = 4 ;\n"
      "DateTime = a b c ;\nDim_2 = 7 ;\nDim_1 = 6 ;\n}\n");
  EXPECT_EQ(std::pair(header.width, header.height), std::pair(6, 7));
  EXPECT_EQ(header.bits, 8);
  EXPECT_EQ(header.text, scanned("a b c", "HighByteFirst", 8, 4));
}

TEST(EdfHeader, HeaderWithoutKeysLeavesTheOutputs) {
  const Header header = read_header("{\n}\n", 12);
  EXPECT_EQ(header.result, 0);
  EXPECT_EQ(std::pair(header.width, header.height), std::pair(501, 502));
  EXPECT_EQ(header.bits, 12);
  EXPECT_EQ(header.text, "\n# Scanned: -1 -1 -1\n# ByteOrder: , BitsPerSample: 12, Binning: -1\n\n");
}

TEST(EdfHeader, RepeatedKeyKeepsItsLastValue) {
  const Header header = read_header(
      "{\nDim_1 = 1 ;\nDim_1 = 2 ;\nDim_2 = 3 ;\nDim_2 = 4 ;\nBinning = 5 ;\nBinning = 6 ;\nByteOrder = long_one ;\n"
      "ByteOrder = b ;\nDateTime = 1 2 3 ;\nDateTime = 4 5 6 ;\nBitsPerSample = 7 ;\nBitsPerSample = 8 ;\n}\n");
  EXPECT_EQ(std::pair(header.width, header.height), std::pair(2, 4));
  EXPECT_EQ(header.bits, 8);
  EXPECT_EQ(header.text, scanned("4 5 6", "b", 8, 6));
  EXPECT_EQ(read_header("DataType = UnsignedInteger ;\nDataType = UnsignedShort ;\n}\n").bits, 16);
}

TEST(EdfHeader, ValueThatDoesNotConvertChangesNothing) {
  const Header header = read_header(
      "{\nDim_1 = 5 ;\nDim_1 = x ;\nDim_1 = ;\nDim_1 =\nDim_1\nDim_2 =6 ;\nBinning = - ;\nBitsPerSample = none ;\n"
      "ByteOrder = a ;\nByteOrder =\nDateTime = 1 2 3\nDateTime = 4 5\n}\n",
      9);
  EXPECT_EQ(std::pair(header.width, header.height), std::pair(5, 502));
  EXPECT_EQ(header.text, scanned("1 2 3", "a", 9, -1));
}

TEST(EdfHeader, OneWordIsSkippedBehindTheKey) {
  const auto width = [](const std::string& line) { return read_header(line + "\n}\n", 8).width; };
  EXPECT_EQ(width("Dim_1 = 5 ;"), 5);
  EXPECT_EQ(width("Dim_1 = 5"), 5);
  EXPECT_EQ(width("Dim_1 = 5;"), 5);
  EXPECT_EQ(width("Dim_1= 5 ;"), 5);
  EXPECT_EQ(width("Dim_1\t:=\t 5.9 ;"), 5);
  EXPECT_EQ(width("Dim_1 is 5 ;"), 5);
  EXPECT_EQ(width("Dim_12 5 ;"), 5);
  EXPECT_EQ(width("Dim_1 5 ;"), 501);
  EXPECT_EQ(width("Dim_1 =5 ;"), 501);
  EXPECT_EQ(width("Dim_1=5 ;"), 501);
  EXPECT_EQ(width("Dim_1=5 6 ;"), 6);
  EXPECT_EQ(width("Dim_1 = = 5 ;"), 501);
}

TEST(EdfHeader, KeyMustBeginItsLineExactly) {
  const Header header =
      read_header("{\n Dim_1 = 5 ;\ndim_1 = 5 ;\nDIM_1 = 5 ;\nxDim_2 = 5 ;\nDim _2 = 5 ;\n;Binning = 5 ;\n}\n", 8);
  EXPECT_EQ(std::pair(header.width, header.height), std::pair(501, 502));
  EXPECT_EQ(header.text, scanned(8));
}

TEST(EdfHeader, BitsOfTheHeaderReplaceTheCallers) {
  EXPECT_EQ(read_header("BitsPerSample = 32 ;\n}\n", 16).bits, 32);
  EXPECT_EQ(read_header("BitsPerSample = 0 ;\n}\n", 16).bits, 0);
  EXPECT_EQ(read_header("BitsPerSample = -1 ;\nDataType = UnsignedInteger ;\n}\n", 16).bits, 32);
}

TEST(EdfHeader, MissingBitsComeFromTheDataType) {
  const Header integer = read_header("{\nDataType = UnsignedInteger ;\n}\n");
  EXPECT_EQ(integer.bits, 32);
  EXPECT_EQ(integer.text, "# UnsignedInteger found -> 32bit\n" + scanned(32));
  const Header half = read_header("{\nDataType = UnsignedShort ;\n}\n");
  EXPECT_EQ(half.bits, 16);
  EXPECT_EQ(half.text, "# UnsignedShort found -> 16bit\n" + scanned(16));
}

TEST(EdfHeader, KnownBitsKeepTheDataTypeOut) {
  const Header callers = read_header("{\nDataType = UnsignedInteger ;\n}\n", 8);
  EXPECT_EQ(callers.bits, 8);
  EXPECT_EQ(callers.text, scanned(8));
  const Header headers = read_header("{\nDataType = FloatValue ;\nBitsPerSample = 32 ;\n}\n");
  EXPECT_EQ(headers.bits, 32);
  EXPECT_EQ(headers.text, scanned(32));
}

TEST(EdfHeader, UnknownDataTypeIsReportedAlone) {
  const auto report = [](const std::string& line) {
    const Header header = read_header("{\nDim_1 = 5 ;\n" + line + "Binning = 2 ;\n}\npixels");
    EXPECT_EQ(header.result, 0);
    EXPECT_EQ(header.width, 5);
    EXPECT_EQ(header.bits, -1);
    EXPECT_EQ(header.rest, "pixels");
    return header.text;
  };
  EXPECT_EQ(report("DataType = FloatValue ;\n"), "# Datatype FloatValue nicht bekannt. Bitte mit -b <bits> starten\n");
  EXPECT_EQ(report("DataType = UnsignedShort;\n"),
            "# Datatype UnsignedShort; nicht bekannt. Bitte mit -b <bits> starten\n");
  EXPECT_EQ(report("DataType = unsignedshort ;\n"),
            "# Datatype unsignedshort nicht bekannt. Bitte mit -b <bits> starten\n");
  EXPECT_EQ(report("DataType = UnsignedIntegers ;\n"),
            "# Datatype UnsignedIntegers nicht bekannt. Bitte mit -b <bits> starten\n");
  EXPECT_EQ(report(""), "# Datatype  nicht bekannt. Bitte mit -b <bits> starten\n");
}

TEST(EdfHeader, TextsAreCutAtTheirLengths) {
  std::string digits;
  while (digits.size() < 100) digits += "1234567890";
  const Header header =
      read_header("{\nByteOrder = " + digits + "\nDateTime = " + digits + "A " + digits + "B 3\n}\n", 8);
  EXPECT_EQ(header.text,
            scanned(digits.substr(0, 79) + " " + digits.substr(0, 79) + " 3", digits.substr(0, 79), 8, -1));
  EXPECT_EQ(read_header("DataType = " + digits + " ;\n}\n").text,
            "# Datatype " + digits.substr(0, 79) + " nicht bekannt. Bitte mit -b <bits> starten\n");
}

TEST(EdfHeader, ThirdDateWordIsKeptWholeAndDisturbsNothing) {
  const std::string third(230, 'z');
  const Header header = read_header("{\nDataType = UnsignedShort ;\nDateTime = 1 2 " + third + "\n}\n");
  EXPECT_EQ(header.text, "# UnsignedShort found -> 16bit\n" + scanned("1 2 " + third, "", 16, -1));
}

TEST(EdfHeader, PercentSignsInTextsAreConversions) {
  const Header header = read_header("{\nByteOrder = a%db%%c%s%n%c%5d ;\nDateTime = %x %05d %.1f ;\n}\n", 8);
  EXPECT_EQ(header.text, scanned("0 00000 0.0", "a0b%c    0", 8, -1));
  EXPECT_EQ(read_header("DataType = Unsigned%sShort ;\n}\n").bits, 16);
  EXPECT_EQ(read_header("DataType = %500d ;\n}\n").text,
            "# Datatype " + std::string(79, ' ') + " nicht bekannt. Bitte mit -b <bits> starten\n");
}

TEST(EdfHeader, PercentSignAtATextsEndIsDropped) {
  EXPECT_EQ(read_header("DataType = 50% ;\n}\n").text, "# Datatype 50 nicht bekannt. Bitte mit -b <bits> starten\n");
}

TEST(EdfHeader, StreamIsLeftBehindTheClosingBraceLine) {
  EXPECT_EQ(read_header("{\n}\n\1\2", 8).rest, "\1\2");
  EXPECT_EQ(read_header("{\r\n}\r\n\1\2", 8).rest, "\1\2");
  EXPECT_EQ(read_header("{\n} behind ; it\n\n}\n", 8).rest, "\n}\n");
  EXPECT_EQ(read_header("}" + std::string(254, ' ') + "\1\2", 8).rest, "\1\2");
  EXPECT_EQ(read_header("}" + std::string(254, ' ') + "\n\1\2", 8).rest, "\n\1\2");
  EXPECT_EQ(read_header("{\n }\nDim_1 = 4 ;\n", 8).rest, "");
  EXPECT_EQ(read_header("", 8).rest, "");
}

TEST(EdfHeader, IsReadFromAPipeWithoutAByteTooMuch) {
  const test::Stream pipe = test::pipe_of("{\nDim_1 = 4 ;\n}\npixels");
  const Header header = read_header(pipe.get(), 8);
  EXPECT_EQ(header.width, 4);
  EXPECT_EQ(header.rest, "pixels");
}

TEST(EdfHeader, NullStreamChangesNothing) {
  int width = 1;
  int height = 2;
  int bits = -1;
  const auto output = test::capture([&] { EXPECT_EQ(read_edf_header(nullptr, &width, &height, &bits), 0); });
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(width, 1);
  EXPECT_EQ(height, 2);
  EXPECT_EQ(bits, -1);
}

TEST(EdfHeader, LongLineCountsAsSeveral) {
  const auto width_behind = [](std::size_t length) {
    return read_header(std::string(length, 'x') + "Dim_1 = 5 ;\n}\n", 8).width;
  };
  EXPECT_EQ(width_behind(254), 501);
  EXPECT_EQ(width_behind(255), 5);
  EXPECT_EQ(width_behind(256), 501);
  EXPECT_EQ(width_behind(1000), 501);
  EXPECT_EQ(width_behind(1020), 5);
  EXPECT_EQ(read_header("Dim_1 =" + std::string(247, ' ') + "57 ;\n}\n", 8).width, 5);
  EXPECT_EQ(read_header(std::string(255, 'x') + "}\npixels", 8).rest, "pixels");
}

TEST(EdfHeader, LineEndsAtANul) {
  const std::string nul(1, '\0');
  EXPECT_EQ(read_header("Dim_1 = 5" + nul + "7 ;\n}\n", 8).width, 5);
  EXPECT_EQ(read_header(nul + "Dim_1 = 5 ;\n}\n", 8).width, 501);
}

TEST(Edf, Reads32BitPixels) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nDataType = UnsignedInteger ;\n}\n" + counting_bytes());
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(2, 3));
  EXPECT_EQ(frame.bits, 32);
  EXPECT_EQ(frame.text, "# UnsignedInteger found -> 32bit\n" + scanned(32) + kibibytes(0) + read_line(2, 3, 32));
  EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 24));
}

TEST(Edf, Reads16BitSamplesSideBySide) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nDataType = UnsignedShort ;\n}\n" + counting_bytes());
  EXPECT_EQ(frame.bits, 16);
  EXPECT_EQ(frame.text, "# UnsignedShort found -> 16bit\n" + scanned(16) + kibibytes(0) + read_line(2, 3, 16));
  EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 12) + test::zeros(12));
}

TEST(Edf, BitsPerSampleWinsOverDataType) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nDataType = UnsignedShort ;\nBitsPerSample = 32 ;\n}\n" +
                                 counting_bytes());
  EXPECT_EQ(frame.bits, 32);
  EXPECT_EQ(frame.text, scanned(32) + kibibytes(0) + read_line(2, 3, 32));
  EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 24));
}

TEST(Edf, SamplesOfAnyWidthArePackedAndBoundedByTheArray) {
  const auto bytes = [](const std::string& bits) {
    const Frame frame = read_bytes(header_of_bits(bits) + counting_bytes());
    EXPECT_EQ(frame.text, scanned(std::stoi(bits)) + kibibytes(0) + read_line(2, 3, std::stoi(bits)));
    return frame.bytes;
  };
  const std::string data = counting_bytes();
  EXPECT_EQ(bytes("8"), data.substr(0, 6) + test::zeros(18));
  EXPECT_EQ(bytes("12"), data.substr(0, 6) + test::zeros(18));
  EXPECT_EQ(bytes("15"), data.substr(0, 6) + test::zeros(18));
  EXPECT_EQ(bytes("17"), data.substr(0, 12) + test::zeros(12));
  EXPECT_EQ(bytes("24"), data.substr(0, 18) + test::zeros(6));
  EXPECT_EQ(bytes("40"), data.substr(0, 24));
  EXPECT_EQ(bytes("64"), data.substr(0, 24));
  EXPECT_EQ(bytes("2147483647"), data.substr(0, 24));
  EXPECT_EQ(bytes("0"), test::zeros(24));
  EXPECT_EQ(bytes("7"), test::zeros(24));
  EXPECT_EQ(bytes("-7"), test::zeros(24));
  EXPECT_EQ(bytes("-8"), test::zeros(24));
  EXPECT_EQ(bytes("-32"), test::zeros(24));
  EXPECT_EQ(bytes("-2147483648"), test::zeros(24));
}

TEST(Edf, WideSamplesFillAnOddArrayToItsEnd) {
  EXPECT_EQ(read_bytes("{\nDim_1 = 3 ;\nDim_2 = 1 ;\nBitsPerSample = 64 ;\n}\n" + counting_bytes()).bytes,
            counting_bytes().substr(0, 12));
}

TEST(Edf, CallersBitsCountWithoutBitsPerSample) {
  const Frame frame =
      read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nDataType = UnsignedInteger ;\n}\n" + counting_bytes(), 8);
  EXPECT_EQ(frame.bits, 8);
  EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 6) + test::zeros(18));
}

TEST(Edf, UnknownDataTypeReadsNothing) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nDataType = FloatValue ;\n}\n" + counting_bytes());
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.bits, -1);
  EXPECT_EQ(frame.text,
            "# Datatype FloatValue nicht bekannt. Bitte mit -b <bits> starten\n" + kibibytes(0) + read_line(2, 3, -1));
  EXPECT_EQ(frame.bytes, test::zeros(24));
}

TEST(Edf, ByteOrderIsReportedButNotActedOn) {
  const Frame frame = read_bytes(
      "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nBitsPerSample = 32 ;\nByteOrder = HighByteFirst ;\n}\n"
      "\1\2\3\4");
  EXPECT_EQ(frame.bytes, "\1\2\3\4");
  EXPECT_EQ(frame.text, scanned("-1 -1 -1", "HighByteFirst", 32, -1) + kibibytes(0) + read_line(1, 1, 32));
}

TEST(Edf, ArraySizeIsPrintedInWholeKibibytes) {
  const auto text = [](const std::string& height) {
    return read_bytes("{\nDim_1 = 16 ;\nDim_2 = " + height + " ;\nBitsPerSample = 0 ;\n}\n").text;
  };
  EXPECT_EQ(text("15"), scanned(0) + kibibytes(0) + read_line(16, 15, 0));  // 960 bytes
  EXPECT_EQ(text("16"), scanned(0) + kibibytes(1) + read_line(16, 16, 0));  // 1024
  EXPECT_EQ(text("47"), scanned(0) + kibibytes(2) + read_line(16, 47, 0));  // 3008
}

TEST(Edf, MissingHeightKeepsTheCallers) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nBitsPerSample = 8 ;\n}\n" + counting_bytes());
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(2, 3));
  EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 6) + test::zeros(18));
}

TEST(Edf, MissingWidthIsAskedFor) {
  const std::string file = "{\nDim_2 = 9 ;\nBitsPerSample = 8 ;\n}\n" + counting_bytes();
  for (const char* answer : {"4 2\n", "  4\t2", "4 2 7\n", "4 2x\n", "+4 2\n5 6\n"}) {
    const Frame frame = read_bytes(file, -1, answer);
    EXPECT_EQ(frame.text, scanned(8) + kPrompt + kibibytes(0) + read_line(4, 2, 8)) << answer;
    EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(4, 2)) << answer;
    EXPECT_EQ(frame.bytes, counting_bytes().substr(0, 8) + test::zeros(24)) << answer;
  }
}

TEST(Edf, AnswerWithoutTwoNumbersGivesTheDefault) {
  const std::string file = "{\nDim_2 = 9 ;\nBitsPerSample = 0 ;\n}\n";
  const std::string late = std::string(253, ' ') + "4 2\n";  // 255 characters are read
  for (const std::string& answer : {std::string(), std::string("\n"), std::string("4\n"), std::string("4\n2\n"),
                                    std::string("x 4 2\n"), std::string("4,2\n"), std::string("4.2 2\n4 2\n"), late}) {
    const Frame frame = read_bytes(file, -1, answer);
    EXPECT_EQ(frame.text, scanned(0) + kPrompt + kibibytes(5589) + read_line(1242, 1152, 0)) << answer;
    EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(1242, 1152));
    EXPECT_EQ(frame.bytes.size(), std::size_t{1242} * 1152 * 4);
  }
}

TEST(Edf, AnswerOf255CharactersIsReadWhole) {
  const Frame frame = read_bytes("{\nBitsPerSample = 8 ;\n}\n", -1, std::string(252, ' ') + "4 2\n");
  EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(4, 2));
}

TEST(Edf, OneLineIsTakenPerPrompt) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.edf", "{\nBitsPerSample = 8 ;\n}\n");
  Frame first;
  Frame second;
  test::with_input("4 2\n5 6\n", [&] {
    test::capture([&] {
      read_into(first, path);
      read_into(second, path);
    });
  });
  EXPECT_EQ(std::pair(first.width, first.height), std::pair(4, 2));
  EXPECT_EQ(std::pair(second.width, second.height), std::pair(5, 6));
}

TEST(Edf, WidthZeroIsAskedForToo) {
  const Frame frame = read_bytes("{\nDim_1 = 0 ;\nDim_2 = 5 ;\nBitsPerSample = 8 ;\n}\n", -1, "1 2\n");
  EXPECT_EQ(frame.text, scanned(8) + kPrompt + kibibytes(0) + read_line(1, 2, 8));
}

TEST(Edf, EmptyImageIsAnImage) {
  const Frame flat = read_bytes("{\nDim_1 = 7 ;\nDim_2 = 0 ;\nBitsPerSample = 16 ;\n}\nABCD");
  EXPECT_TRUE(flat.allocated);
  EXPECT_EQ(flat.text, scanned(16) + kibibytes(0) + read_line(7, 0, 16));
  const Frame asked = read_bytes("{\nBitsPerSample = 64 ;\n}\nABCD", -1, "0 0\n");
  EXPECT_TRUE(asked.allocated);
  EXPECT_EQ(asked.text, scanned(64) + kPrompt + kibibytes(0) + read_line(0, 0, 64));
}

TEST(Edf, BytesBehindTheSamplesAreIgnored) {
  EXPECT_EQ(read_bytes("{\nDim_1 = 1 ;\nDim_2 = 1 ;\nBitsPerSample = 16 ;\n}\nABCDEF").bytes, "AB" + test::zeros(2));
}

TEST(Edf, ShortDataAreFilledUpWithZeros) {
  EXPECT_EQ(read_bytes(header_of_bits("32") + "ABCDEFGH").bytes, "ABCDEFGH" + test::zeros(16));
  EXPECT_EQ(read_bytes(header_of_bits("16") + "ABCD").bytes, "ABCD" + test::zeros(20));
  EXPECT_EQ(read_bytes(header_of_bits("8") + "ABC").bytes, "ABC" + test::zeros(21));
  EXPECT_EQ(read_bytes(header_of_bits("32")).bytes, test::zeros(24));
}

TEST(Edf, SmallFilesOfLargeImagesAreFilledUpWithZeros) {
  const std::size_t bytes = std::size_t{300} * 200 * 4;
  EXPECT_EQ(read_bytes("{\nDim_1 = 300 ;\nDim_2 = 200 ;\nBitsPerSample = 32 ;\n}\nABCDEFGH").bytes,
            "ABCDEFGH" + test::zeros(bytes - 8));
}

TEST(Edf, HalfASampleAtTheEndIsZeroOrAsItStands) {
  const auto either = [](const std::string& bits, const std::string& whole, const std::string& part) {
    const std::string bytes = read_bytes(header_of_bits(bits) + whole + part).bytes;
    return bytes == whole + test::zeros(24 - whole.size()) ||
           bytes == whole + part + test::zeros(24 - whole.size() - part.size());
  };
  EXPECT_TRUE(either("16", "ABCD", "E"));
  EXPECT_TRUE(either("24", "ABCDEF", "GH"));
  EXPECT_TRUE(either("32", "ABCD", "EFG"));
  EXPECT_TRUE(either("32", "", "A"));
  EXPECT_TRUE(either("64", "ABCDEFGH", "IJKLMNO"));
}

TEST(Edf, HeaderWithoutClosingBraceGivesZeroPixels) {
  const Frame frame = read_bytes("{\nDim_1 = 2 ;\nDim_2 = 3 ;\nBitsPerSample = 8 ;\nABCDEFGHIJKL");
  EXPECT_EQ(frame.text, scanned(8) + kibibytes(0) + read_line(2, 3, 8));
  EXPECT_EQ(frame.bytes, test::zeros(24));
}

TEST(Edf, OpenFailureIsReportedWithWidthZero) {
  const Frame frame = read_path("/nonexistent/%d%s.edf", 12);
  EXPECT_EQ(frame.result, 0);
  EXPECT_EQ(frame.text, "# " PLAIN_ERROR " READING /nonexistent/%d%s.edf\n");
  EXPECT_FALSE(frame.allocated);
  EXPECT_EQ(frame.width, 0);
  EXPECT_EQ(frame.height, 3);
  EXPECT_EQ(frame.bits, 12);
}

TEST(Edf, SizesThatCannotBeAreRefused) {
  const test::TemporaryDirectory directory;
  const auto refused = [&directory](int width, int height) {
    const std::string size[] = {std::to_string(width), std::to_string(height)};
    const std::string path = directory.write(
        "frame.edf", "{\nDim_1 = " + size[0] + " ;\nDim_2 = " + size[1] + " ;\nBitsPerSample = 16 ;\n}\nABCD");
    const std::size_t open = test::open_descriptors();
    const Frame frame = read_path(path);
    EXPECT_EQ(frame.text, scanned(16) + "# " PLAIN_ERROR " READING " + path + ": cannot allocate " + size[0] + " x " +
                              size[1] + " pixels\n");
    EXPECT_EQ(frame.result, 0);
    EXPECT_FALSE(frame.allocated);
    EXPECT_EQ(frame.width, 0);
    EXPECT_EQ(frame.height, 3);
    EXPECT_EQ(test::open_descriptors(), open);
  };
  for (const auto& [width, height] : test::kImpossibleSizes) refused(width, height);
}

TEST(Edf, AnsweredSizeThatCannotBeIsRefused) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.edf", "{\nBitsPerSample = 8 ;\n}\nABCD");
  const Frame frame = read_path(path, -1, "-4 2\n");
  EXPECT_FALSE(frame.allocated);
  EXPECT_EQ(frame.text,
            scanned(8) + kPrompt + "# " PLAIN_ERROR " READING " + path + ": cannot allocate -4 x 2 pixels\n");
}

TEST(Edf, AbsurdSizeTakesNoMemory) {
  const auto before = test::peak_memory_kib();
  const Frame frame =
      read_bytes("{\nDim_1 = 100000 ;\nDim_2 = 100000 ;\nBitsPerSample = 16 ;\n}\n" + test::zeros(2000));
  EXPECT_FALSE(frame.allocated);
  EXPECT_LT(test::peak_memory_kib() - before, 64 * 1024);
}

TEST(EdfDeathTest, ImageThatMemoryCannotHoldIsReported) {
  const test::TemporaryDirectory directory;
  const std::string path =
      directory.write("frame.edf", "{\nDim_1 = 16384 ;\nDim_2 = 16384 ;\nBitsPerSample = 8 ;\n}\nABCD");
  const auto read = [&path] {
    test::limit_memory();
    const Frame frame = read_path(path);
    const bool reported =
        frame.text == scanned(8) + "# " PLAIN_ERROR " READING " + path + ": cannot allocate 16384 x 16384 pixels\n";
    std::exit(reported && !frame.allocated && frame.result == 0 && frame.width == 0 ? 0 : 1);
  };
  EXPECT_EXIT(read(), testing::ExitedWithCode(0), "");
}

TEST(Edf, ClosesTheFile) {
  const test::TemporaryDirectory directory;
  const std::size_t open = test::open_descriptors();
  for (const std::string& bytes : {header_of_bits("16") + counting_bytes(), header_of_bits("32") + "A",
                                   header_of_bits("none"), std::string("{\nno brace"), std::string()}) {
    read_path(directory.write("frame.edf", bytes), -1, "1 1\n");
    EXPECT_EQ(test::open_descriptors(), open) << bytes;
  }
}

TEST(Edf, PathsThatHoldNothingGiveZeros) {
  const test::TemporaryDirectory directory;
  const std::size_t open = test::open_descriptors();
  for (const std::string& path : test::non_images(directory)) {
    const Frame frame = read_path(path, -1, "3 2\n");
    EXPECT_EQ(frame.result, 0);
    EXPECT_EQ(frame.text,
              "# Datatype  nicht bekannt. Bitte mit -b <bits> starten\n" + kPrompt + kibibytes(0) + read_line(3, 2, -1))
        << path;
    EXPECT_EQ(frame.bytes, test::zeros(24));
  }
  EXPECT_EQ(test::open_descriptors(), open);
}

namespace {

// What reading a header is to give, found out without the library.
Header expected_header(const std::string& file, int width, int height, int bits) {
  const test::BracedHeader header = test::split_header(file);
  const auto last_whole = [&header](const char* key, int value) {
    for (const std::string& text : test::texts_after(header.lines, key)) {
      if (const auto values = test::behind_first_word(text)) value = test::whole_number(*values).value_or(value);
    }
    return value;
  };
  const auto last_words = [&header](const char* key, std::size_t count, std::vector<std::string> value) {
    for (const std::string& text : test::texts_after(header.lines, key)) {
      auto found = test::words(text);
      if (found.size() > count) value.assign(found.begin() + 1, found.begin() + 1 + static_cast<std::ptrdiff_t>(count));
    }
    return value;
  };

  Header expected;
  expected.result = 0;
  expected.width = last_whole("Dim_1", width);
  expected.height = last_whole("Dim_2", height);
  expected.bits = last_whole("BitsPerSample", bits);
  expected.rest = file.substr(header.end);
  const std::string type = test::as_format(last_words("DataType", 1, {""}).front(), 79);
  if (expected.bits == -1) {
    if (type != "UnsignedInteger" && type != "UnsignedShort") {
      expected.text = "# Datatype " + type + " nicht bekannt. Bitte mit -b <bits> starten\n";
      return expected;
    }
    expected.bits = type == "UnsignedInteger" ? 32 : 16;
    expected.text = "# " + type + " found -> " + std::to_string(expected.bits) + "bit\n";
  }
  const auto date = last_words("DateTime", 3, {"-1", "-1", "-1"});
  const std::string order = last_words("ByteOrder", 1, {""}).front();
  expected.text +=
      scanned(test::as_format(date[0], 79) + " " + test::as_format(date[1], 79) + " " + test::as_format(date[2], 255),
              test::as_format(order, 79), expected.bits, last_whole("Binning", -1));
  return expected;
}

void expect_equal(const Header& header, const Header& expected) {
  EXPECT_EQ(header.result, expected.result);
  EXPECT_EQ(header.text, expected.text);
  EXPECT_EQ(header.width, expected.width);
  EXPECT_EQ(header.height, expected.height);
  EXPECT_EQ(header.bits, expected.bits);
  EXPECT_TRUE(header.rest == expected.rest);
}

// What reading a frame is to give when 3 x 2 is the answer to the prompt. The data hold whole samples.
Frame expected_frame(const std::string& path, const std::string& file, int bits) {
  const Header header = expected_header(file, 0, Frame().height, bits);
  Frame frame;
  frame.result = 0;
  frame.bits = header.bits;
  frame.text = header.text;
  const bool asked = header.width == 0;
  const int width = asked ? 3 : header.width;
  const int height = asked ? 2 : header.height;
  if (asked) frame.text += kPrompt;
  const double pixels = static_cast<double>(width) * height;
  if (width < 0 || height < 0 || pixels > 268435456) {
    frame.width = 0;
    frame.text +=
        test::printed("# " PLAIN_ERROR " READING %s: cannot allocate %d x %d pixels\n", path.c_str(), width, height);
    return frame;
  }
  frame.allocated = true;
  frame.width = width;
  frame.height = height;
  const auto array_size = static_cast<std::size_t>(pixels) * 4;
  frame.text += kibibytes(static_cast<int>(array_size >> 10)) + read_line(width, height, header.bits);
  const auto wanted =
      static_cast<std::size_t>(header.bits < 8 ? 0 : header.bits / 8) * static_cast<std::size_t>(pixels);
  frame.bytes = header.rest.substr(0, std::min(array_size, wanted));
  frame.bytes.resize(array_size);
  return frame;
}

constexpr auto kKeys = std::to_array<std::string_view>(
    {"Dim_1", "Dim_2", "DateTime", "Binning", "BitsPerSample", "ByteOrder", "DataType", "HeaderID", "Size", "Image"});

std::string random_value(test::Random& random, std::string_view key) {
  if (key == "DataType" && test::once_in(random, 2)) {
    return test::random_of(random, std::to_array<std::string_view>({"UnsignedInteger", "UnsignedShort", "FloatValue",
                                                                    "UnsignedShort;", "Unsigned%nShort"}));
  }
  if (key == "BitsPerSample" && test::once_in(random, 2)) {
    return test::random_of(
        random, std::to_array<std::string_view>({"8", "16", "24", "32", "64", "-1", "0", "-8", "9", "7", "x"}));
  }
  if (key == "DateTime") {
    std::string date;
    for (std::size_t count = 1 + test::random_below(random, 4); count > 0; --count) {
      date += test::random_of(random, test::kWords) + " ";
    }
    return date;
  }
  return test::once_in(random, 2) ? test::random_of(random, test::kNumbers) : test::random_of(random, test::kWords);
}

std::string random_item(test::Random& random, std::string key) {
  const std::string value = random_value(random, key);
  if (test::once_in(random, 2)) key.resize(15, ' ');
  const auto between =
      std::to_array<std::string_view>({" = ", " = ", " = ", " = ", "= ", " =", " ", "", " = = ", "\t:\t"});
  return key + test::random_of(random, between) + value +
         test::random_of(random, std::to_array<std::string_view>({" ; ", " ;", ";", ""}));
}

// A header, and data that hold whole samples whatever their width.
std::string random_file(test::Random& random) {
  const auto item = [&random](const std::string& key) { return random_item(random, key); };
  return test::random_items(random, kKeys, item) + test::random_closing_line(random) +
         test::random_bytes(random, std::size_t{24} * test::random_below(random, 5));
}

}  // namespace

TEST(EdfHeader, RandomHeadersReadAsByHand) {
  test::Random random(2);
  for (int round = 0; round < 1500; ++round) {
    const std::string file = random_file(random);
    const int bits = test::once_in(random, 3) ? 16 : -1;
    expect_equal(read_header(file, bits), expected_header(file, 501, 502, bits));
    if (testing::Test::HasFailure()) FAIL() << "round " << round << ", file:\n" << file;
  }
}

TEST(Edf, RandomFilesReadAsByHand) {
  const test::TemporaryDirectory directory;
  test::Random random(3);
  for (int round = 0; round < 1000; ++round) {
    const std::string file = random_file(random);
    const std::string path = test::write_anew(directory, "frame.edf", file);
    const int bits = test::once_in(random, 3) ? 8 : -1;
    const Frame frame = read_path(path, bits, "3 2\n");
    const Frame expected = expected_frame(path, file, bits);
    EXPECT_EQ(frame.result, expected.result);
    EXPECT_EQ(frame.text, expected.text);
    EXPECT_EQ(std::pair(frame.width, frame.height), std::pair(expected.width, expected.height));
    EXPECT_EQ(frame.bits, expected.bits);
    EXPECT_EQ(frame.allocated, expected.allocated);
    EXPECT_TRUE(frame.bytes == expected.bytes);
    if (testing::Test::HasFailure()) FAIL() << "round " << round << ", file:\n" << file;
  }
}

TEST(Edf, SurvivesDamagedFiles) {
  const test::TemporaryDirectory directory;
  const std::string header =
      "{\nHeaderID        = EH:000001:000000:000000 ; \nByteOrder       = LowByteFirst ; \n"
      "DataType        = UnsignedShort ; \nDateTime        = 12.01.2004 10:11:12 MEZ ; \nBinning         = 2 ; \n"
      "Size            = 220 ; \nDim_1           = 11 ; \nDim_2           = 10 ; \nBitsPerSample   = 16 ; \n}\n";
  const std::size_t open = test::open_descriptors();
  // Headers that have lost Dim_1 ask for the size.
  std::string answers;
  while (answers.size() < std::size_t{4} * 4000) answers += "3 2\n";
  int copies = 0;
  test::with_input(answers, [&] {
    test::capture([&] {
      copies = test::read_damaged_copies(directory, header + std::string(220, '\7'), header.size(), 2000,
                                         [](const std::string& path) {
                                           Frame frame;
                                           read_into(frame, path);
                                           EXPECT_EQ(frame.result, 0);
                                         });
    });
  });
  EXPECT_EQ(copies, static_cast<int>(header.size()) + 1 + 100 + 2000);
  EXPECT_EQ(test::open_descriptors(), open);
}

namespace {

using Writer = void (*)(const char* filename, const unsigned int* data, int width, int height);

// The file that the writer makes, which prints nothing.
std::string written(Writer write, const std::vector<unsigned int>& pixels, int width, int height) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("out.edf");
  const std::size_t open = test::open_descriptors();
  const auto output = test::capture([&] { write(path.c_str(), pixels.data(), width, height); });
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
  EXPECT_EQ(test::open_descriptors(), open);
  return test::read_file(path);
}

std::string line_of(const std::string& file, const std::string& key) {
  const std::size_t start = file.find(key);
  return start == std::string::npos ? "" : file.substr(start, file.find('\n', start) - start);
}

const std::vector<unsigned int> kSixPixels = {1, 0x04030201, 3, 65536, 0xFFFFFFFF, 6};
const std::string kSixPixelsBytes("\1\0\0\0\1\2\3\4\3\0\0\0\0\0\1\0\xFF\xFF\xFF\xFF\6\0\0\0", 24);

}  // namespace

TEST(EdfWriter, Edf32DeclaresAndWritesFourBytesPerPixel) {
  EXPECT_EQ(written(edf32_write, kSixPixels, 2, 3),
            "{\n"
            "HeaderID        = EH:000001:000000:000000 ; \n"
            "ByteOrder       = LowByteFirst ; \n"
            "DataType        = UnsignedInteger ; \n"
            "Size            = 24 ; \n"
            "Dim_1           = 2 ; \n"
            "Dim_2           = 3 ; \n"
            "Image           = 1 ; \n"
            "BitsPerSample   = 32 ; \n"
            "\n}\n" +
                kSixPixelsBytes);
}

TEST(EdfWriter, Edf16DeclaresTwoBytesPerPixelAndWritesFour) {
  EXPECT_EQ(written(edf16_write, kSixPixels, 2, 3),
            "{\n"
            "HeaderID        = EH:000001:000000:000000 ; \n"
            "ByteOrder       = LowByteFirst ; \n"
            "DataType        = UnsignedShort ; \n"
            "Size            = 24 ; \n"
            "Dim_1           = 2 ; \n"
            "Dim_2           = 3 ; \n"
            "Image           = 1 ; \n"
            "BitsPerSample   = 16 ; \n"
            "\n}\n" +
                kSixPixelsBytes);
}

TEST(EdfWriter, DimensionsAreStatedAs16BitSignedNumbers) {
  const std::vector<unsigned int> pixels(65541, 7);
  for (const Writer write : {edf16_write, edf32_write}) {
    const auto stated = [&](int width, const std::string& text) {
      const std::string wide = written(write, pixels, width, 1);
      EXPECT_EQ(line_of(wide, "Dim_1"), "Dim_1           = " + text + " ; ");
      EXPECT_EQ(line_of(wide, "Dim_2"), "Dim_2           = 1 ; ");
      EXPECT_EQ(line_of(wide, "Size"), "Size            = " + std::to_string(width * 4) + " ; ");
      EXPECT_EQ(wide.size() - (wide.find("\n}\n") + 3), static_cast<std::size_t>(width) * 4);
      const std::string high = written(write, pixels, 1, width);
      EXPECT_EQ(line_of(high, "Dim_1"), "Dim_1           = 1 ; ");
      EXPECT_EQ(line_of(high, "Dim_2"), "Dim_2           = " + text + " ; ");
    };
    stated(32767, "32767");
    stated(32768, "-32768");
    stated(40000, "-25536");
    stated(65536, "0");
    stated(65541, "5");
  }
}

TEST(EdfWriter, EmptyImageIsAHeaderAlone) {
  for (const Writer write : {edf16_write, edf32_write}) {
    const std::string file = written(write, {}, 0, 5);
    EXPECT_EQ(line_of(file, "Size"), "Size            = 0 ; ");
    EXPECT_EQ(line_of(file, "Dim_1"), "Dim_1           = 0 ; ");
    EXPECT_EQ(line_of(file, "Dim_2"), "Dim_2           = 5 ; ");
    EXPECT_TRUE(file.ends_with(" ; \n\n}\n"));
  }
}

TEST(EdfWriter, ReplacesAnOldFile) {
  const test::TemporaryDirectory directory;
  for (const Writer write : {edf16_write, edf32_write}) {
    const std::string path = directory.write("out.edf", std::string(5000, 'x'));
    write(path.c_str(), kSixPixels.data(), 2, 3);
    EXPECT_EQ(test::read_file(path), written(write, kSixPixels, 2, 3));
  }
}

TEST(EdfWriter, OpenFailureIsReported) {
  for (const Writer write : {edf16_write, edf32_write}) {
    const auto output = test::capture([&] { write("/nonexistent/%s%d.edf", kSixPixels.data(), 2, 3); });
    EXPECT_EQ(output.out, "# " PLAIN_ERROR " opening /nonexistent/%s%d.edf\n");
    EXPECT_EQ(output.err, "");
  }
}

TEST(EdfWriter, NegativeSizesAreRefused) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.path("out.edf");
  const std::size_t open = test::open_descriptors();
  const int lowest = std::numeric_limits<int>::min();
  for (const Writer write : {edf16_write, edf32_write}) {
    const auto refused = [&](int width, int height) {
      const auto output = test::capture([&] { write(path.c_str(), kSixPixels.data(), width, height); });
      EXPECT_EQ(output.out, "# " PLAIN_ERROR " opening " + path + ": cannot write " + std::to_string(width) + " x " +
                                std::to_string(height) + " pixels\n");
      EXPECT_EQ(test::open_descriptors(), open);
    };
    refused(-1, 3);
    refused(2, -1);
    refused(-2, -3);
    refused(lowest, lowest);
  }
}

TEST(EdfWriter, NegativeSizeWithoutPixelsIsRefusedToo) {
  for (const Writer write : {edf16_write, edf32_write}) {
    const auto output = test::capture([&] { write("/dev/null", kSixPixels.data(), -1, 0); });
    EXPECT_EQ(output.out, "# " PLAIN_ERROR " opening /dev/null: cannot write -1 x 0 pixels\n");
  }
}

TEST(EdfWriter, WriteErrorsAreNotReported) {
  for (const Writer write : {edf16_write, edf32_write}) {
    const auto output = test::capture([&] { write("/dev/full", kSixPixels.data(), 2, 3); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
  }
}

TEST(EdfWriter, WhatIsWrittenReadsBack) {
  test::Random random(4);
  const test::TemporaryDirectory directory;
  for (int round = 0; round < 200; ++round) {
    const int width = 1 + static_cast<int>(test::random_below(random, 40));
    const int height = static_cast<int>(test::random_below(random, 40));
    std::vector<unsigned int> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    std::ranges::generate(pixels, random);
    const std::string bytes(reinterpret_cast<const char*>(pixels.data()), pixels.size() * 4);
    const std::string size = kibibytes(static_cast<int>(bytes.size() >> 10));

    const std::string whole_path = directory.path("32bit-" + std::to_string(round));
    edf32_write(whole_path.c_str(), pixels.data(), width, height);
    const Frame whole = read_path(whole_path);
    EXPECT_EQ(whole.text, scanned("-1 -1 -1", "LowByteFirst", 32, -1) + size + read_line(width, height, 32));
    EXPECT_EQ(std::pair(whole.width, whole.height), std::pair(width, height));
    EXPECT_EQ(whole.bits, 32);
    EXPECT_TRUE(whole.bytes == bytes);

    const std::string half_path = directory.path("16bit-" + std::to_string(round));
    edf16_write(half_path.c_str(), pixels.data(), width, height);
    const Frame half = read_path(half_path);
    EXPECT_EQ(half.text, scanned("-1 -1 -1", "LowByteFirst", 16, -1) + size + read_line(width, height, 16));
    EXPECT_EQ(std::pair(half.width, half.height), std::pair(width, height));
    EXPECT_EQ(half.bits, 16);
    EXPECT_TRUE(half.bytes == bytes.substr(0, bytes.size() / 2) + test::zeros(bytes.size() / 2));
  }
}
