#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "tests/environment.h"
#include "xrdimage.h"

namespace {

// The numbers 1, 2, 3 ... as the values of a file.
std::string values(std::size_t count) {
  std::string bytes;
  for (std::size_t i = 1; i <= count; ++i) bytes += test::little32(static_cast<std::uint32_t>(i));
  return bytes;
}

using Record = std::vector<std::uint32_t>;

// A buffer of -1 of which the first `count` values have been read.
Record filled(std::size_t size, std::size_t count) {
  Record record(size, 0xFFFFFFFF);
  std::iota(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(count), 1U);
  return record;
}

struct Reading {
  Record buffer;
  int result;
  std::string printed;
};

Reading read_correction(std::FILE* stream) {
  Reading reading{Record(1200, 0xFFFFFFFF), -1, ""};
  reading.printed = test::capture([&] { reading.result = getcorr(reading.buffer.data(), stream); }).out;
  return reading;
}

Reading read_mod(std::FILE* stream, int x, int y) {
  Reading reading{Record(50, 0xFFFFFFFF), -1, ""};
  reading.printed = test::capture([&] { reading.result = getmod(reading.buffer.data(), stream, x, y); }).out;
  return reading;
}

// Three streams, each at byte 3.
struct Streams {
  test::Stream modpix = opened();
  test::Stream bkgpix = opened();
  test::Stream other = opened();

  static test::Stream opened() {
    auto stream = test::stream_of("0123456789");
    std::fseek(stream.get(), 3, SEEK_SET);
    return stream;
  }
  void rewind(const char* name) const { filerewind(name, modpix.get(), bkgpix.get(), other.get()); }
  // Positions of the three.
  std::vector<long> positions() const {
    return {std::ftell(modpix.get()), std::ftell(bkgpix.get()), std::ftell(other.get())};
  }
};

bool is_open(int descriptor) {
  return lseek(descriptor, 0, SEEK_CUR) >= 0;
}

// Which of the three streams fileclose closes: "M", "B" or "O".
std::string closed(const char* name) {
  Streams streams;
  const int modpix = fileno(streams.modpix.get());
  const int bkgpix = fileno(streams.bkgpix.get());
  const int other = fileno(streams.other.get());
  EXPECT_EQ(fileclose(name, streams.modpix.get(), streams.bkgpix.get(), streams.other.get()), 0);
  std::string result;
  const auto take_stock = [&](test::Stream& stream, int descriptor, char letter) {
    if (is_open(descriptor)) return;
    result += letter;
    static_cast<void>(stream.release());
  };
  take_stock(streams.modpix, modpix, 'M');
  take_stock(streams.bkgpix, bkgpix, 'B');
  take_stock(streams.other, other, 'O');
  return result;
}

const std::vector<const char*> kOtherNames{"",           "MODPIX",     "MODPIX.XDS ",  "MODPIX.XDS2",
                                           "MODPIX.XD",  "modpix.xds", "./MODPIX.XDS", "BKGPIX.XDSx",
                                           "bkgpix.xds", "BKGPIX.XD",  "GAIN.XDS",     " BKGPIX.XDS"};

}  // namespace

TEST(GetCorr, ReadsACompleteRecord) {
  const auto stream = test::stream_of(values(1190));
  const Reading reading = read_correction(stream.get());
  EXPECT_EQ(reading.result, 1187);
  EXPECT_EQ(reading.printed, "");
  EXPECT_EQ(reading.buffer, filled(1200, 1187));
  EXPECT_EQ(std::ftell(stream.get()), 4748);
}

TEST(GetCorr, ReadsFromWhereTheStreamStands) {
  const auto stream = test::stream_of("xyz" + values(1187));
  std::fseek(stream.get(), 3, SEEK_SET);
  EXPECT_EQ(read_correction(stream.get()).buffer, filled(1200, 1187));
  EXPECT_EQ(std::ftell(stream.get()), 4751);
}

TEST(GetCorr, CountsValuesWhenTheyAreTooFew) {
  const auto stream = test::stream_of(values(1000));
  const Reading reading = read_correction(stream.get());
  EXPECT_EQ(reading.printed, "ERROR> Wrong number of bytes in corr-file: 1000 \n");
  EXPECT_EQ(reading.buffer, filled(1200, 1000));
}

TEST(GetCorr, AnIncompleteValueDoesNotCount) {
  const auto stream = test::stream_of(values(1187).substr(0, 4747));
  EXPECT_EQ(read_correction(stream.get()).printed, "ERROR> Wrong number of bytes in corr-file: 1186 \n");
}

TEST(GetCorr, AnEmptyStreamLeavesTheBufferAlone) {
  const auto stream = test::stream_of("");
  const Reading reading = read_correction(stream.get());
  EXPECT_EQ(reading.printed, "ERROR> Wrong number of bytes in corr-file: 0 \n");
  EXPECT_EQ(reading.buffer, filled(1200, 0));
}

TEST(GetCorr, ReadsFromPipes) {
  const auto stream = test::pipe_of(values(1187));
  EXPECT_EQ(read_correction(stream.get()).buffer, filled(1200, 1187));
}

TEST(GetMod, ReadsTheWholeImage) {
  const auto stream = test::stream_of(values(50));
  const Reading reading = read_mod(stream.get(), 6, 7);
  EXPECT_EQ(reading.result, 42);
  EXPECT_EQ(reading.printed, "");
  EXPECT_EQ(reading.buffer, filled(50, 42));
  EXPECT_EQ(std::ftell(stream.get()), 168);
}

TEST(GetMod, ValuesAreNotInterpreted) {
  const std::string bytes("\xFF\x00\x80\x7F\x01\x02\xFE\xFF", 8);
  const auto stream = test::stream_of(bytes);
  const Reading reading = read_mod(stream.get(), 2, 1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(reading.buffer.data()), 8), bytes);
}

TEST(GetMod, CountsValuesWhenTheyAreTooFew) {
  auto stream = test::stream_of(values(10));
  const Reading reading = read_mod(stream.get(), 3, 4);
  EXPECT_EQ(reading.printed, "ERROR> Wrong number of bytes in MODPIX.XDS: 10 \n");
  EXPECT_EQ(reading.buffer, filled(50, 10));
  stream = test::stream_of(values(12).substr(0, 46));
  EXPECT_EQ(read_mod(stream.get(), 3, 4).printed, "ERROR> Wrong number of bytes in MODPIX.XDS: 11 \n");
  stream = test::stream_of("");
  EXPECT_EQ(read_mod(stream.get(), 1, 1).printed, "ERROR> Wrong number of bytes in MODPIX.XDS: 0 \n");
}

TEST(GetMod, ImagesWithoutPixelsReadNothing) {
  for (const auto& [x, y] : {std::pair{0, 0}, {0, 5}, {5, 0}, {-1, 5}, {5, -1}, {-2, -3}}) {
    const auto stream = test::stream_of(values(10));
    const Reading reading = read_mod(stream.get(), x, y);
    EXPECT_EQ(reading.result, 0) << x << " x " << y;
    EXPECT_EQ(reading.printed, "");
    EXPECT_EQ(reading.buffer, filled(50, 0));
    EXPECT_EQ(std::ftell(stream.get()), 0);
  }
}

TEST(GetMod, AnImageFarLargerThanTheFileGetsWhatIsThere) {
  const auto stream = test::stream_of(values(10));
  const Reading reading = read_mod(stream.get(), 16000, 30000);
  EXPECT_EQ(reading.printed, "ERROR> Wrong number of bytes in MODPIX.XDS: 10 \n");
  EXPECT_EQ(reading.buffer, filled(50, 10));
}

TEST(FileClose, TheNameSelectsTheStream) {
  EXPECT_EQ(closed("MODPIX.XDS"), "M");
  EXPECT_EQ(closed("BKGPIX.XDS"), "B");
  EXPECT_EQ(closed("CORRECT.XDS"), "O");
}

TEST(FileClose, TheWholeNameCounts) {
  for (const char* name : kOtherNames) EXPECT_EQ(closed(name), "O") << name;
}

TEST(FileClose, TheOthersMayBeNull) {
  EXPECT_EQ(fileclose("MODPIX.XDS", test::stream_of("").release(), nullptr, nullptr), 0);
  EXPECT_EQ(fileclose("BKGPIX.XDS", nullptr, test::stream_of("").release(), nullptr), 0);
  EXPECT_EQ(fileclose("other", nullptr, nullptr, test::stream_of("").release()), 0);
}

TEST(FileClose, ANullStreamCannotBeClosed) {
  const Streams streams;
  EXPECT_EQ(fileclose("MODPIX.XDS", nullptr, streams.bkgpix.get(), streams.other.get()), EOF);
  EXPECT_EQ(fileclose("BKGPIX.XDS", streams.modpix.get(), nullptr, streams.other.get()), EOF);
  EXPECT_EQ(fileclose("other", streams.modpix.get(), streams.bkgpix.get(), nullptr), EOF);
  EXPECT_EQ(streams.positions(), (std::vector<long>{3, 3, 3}));
}

TEST(FileClose, ReturnsTheFailureOfTheClose) {
  std::FILE* stream = test::stream_of("").release();
  close(fileno(stream));
  EXPECT_EQ(fileclose("other", nullptr, nullptr, stream), EOF);
}

TEST(FileRewind, ModpixRewindsTwoStreams) {
  const Streams streams;
  streams.rewind("MODPIX.XDS");
  EXPECT_EQ(streams.positions(), (std::vector<long>{0, 3, 0}));
}

TEST(FileRewind, BkgpixRewindsOne) {
  const Streams streams;
  streams.rewind("BKGPIX.XDS");
  EXPECT_EQ(streams.positions(), (std::vector<long>{3, 0, 3}));
}

TEST(FileRewind, AnyOtherNameRewindsTheThird) {
  for (const char* name : kOtherNames) {
    const Streams streams;
    streams.rewind(name);
    EXPECT_EQ(streams.positions(), (std::vector<long>{3, 3, 0})) << name;
  }
}

TEST(FileRewind, ClearsTheEndOfTheFile) {
  const Streams streams;
  while (std::fgetc(streams.other.get()) != EOF) {
  }
  streams.rewind("other");
  EXPECT_FALSE(std::feof(streams.other.get()));
  EXPECT_EQ(std::fgetc(streams.other.get()), '0');
}

TEST(FileRewind, NullStreamsAreLeftOut) {
  Streams streams;
  for (const char* name : {"MODPIX.XDS", "BKGPIX.XDS", "other"}) filerewind(name, nullptr, nullptr, nullptr);
  filerewind("MODPIX.XDS", streams.modpix.get(), nullptr, nullptr);
  EXPECT_EQ(streams.positions(), (std::vector<long>{0, 3, 3}));
  filerewind("MODPIX.XDS", nullptr, nullptr, streams.other.get());
  EXPECT_EQ(streams.positions(), (std::vector<long>{0, 3, 0}));
  filerewind("BKGPIX.XDS", nullptr, streams.bkgpix.get(), nullptr);
  EXPECT_EQ(streams.positions(), (std::vector<long>{0, 0, 0}));
}

TEST(FileDelete, RunsRmInTheShell) {
  const test::ShellRecorder shell([](const std::string&) { return 256; });
  int result = 0;
  const auto output = test::capture([&] { result = filedelete(); });
  EXPECT_EQ(shell.commands(), (std::vector<std::string>{"/bin/rm tmp.image"}));
  EXPECT_EQ(result, 256);
  EXPECT_EQ(output.out + output.err, "");
}

TEST(FileDelete, RemovesTheFileFromTheWorkingDirectory) {
  test::TemporaryDirectory directory;
  const std::string path = directory.write("tmp.image", "pixels");
  directory.write("tmp.image2", "pixels");
  directory.enter();
  EXPECT_EQ(filedelete(), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_TRUE(std::filesystem::exists(directory.path("tmp.image2")));
}

TEST(FileDelete, TheShellReportsAMissingFile) {
  test::TemporaryDirectory directory;
  directory.enter();
  int result = 0;
  const auto output = test::capture([&] { result = filedelete(); });
  EXPECT_TRUE(WIFEXITED(result));
  EXPECT_EQ(WEXITSTATUS(result), 1);
  EXPECT_EQ(output.out, "");
  EXPECT_NE(output.err.find("tmp.image"), std::string::npos) << output.err;
}
