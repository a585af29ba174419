// Files that find no room.
#include <stdexcept>

#include "tests/host/writers/written.h"

namespace {

// Whether the caller learns of it: by an exception of one line or by the stream's state.
bool error_shows(test::Writer write) {
  const test::Stream stream(std::fopen("/dev/full", "w+b"));
  host::Remarks remarks;
  try {
    write(test::random_frame({301, 707}, 65535), {}, stream.get(), remarks);
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    return !text.empty();
  }
  return std::ferror(stream.get()) != 0 || std::fflush(stream.get()) != 0;
}

TEST(WriteErrors, ShowInEveryFormat) {
  constexpr test::Writer kWriters[] = {host::write_adsc,   host::write_edf, host::write_mar345, host::write_npy,
                                       host::write_packed, host::write_raw, host::write_tiff};
  for (const test::Writer write : kWriters) EXPECT_TRUE(error_shows(write));
}

// A small image's strip waits in the stream's buffer until the directory is linked.
TEST(WriteErrors, DirectoryThatFindsNoRoomIsAnException) {
  const test::Stream stream(std::fopen("/dev/full", "w+b"));
  host::Remarks remarks;
  try {
    host::write_tiff(test::frame_of(1, 1, {5}), {}, stream.get(), remarks);
    FAIL();
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    EXPECT_TRUE(text.starts_with("cannot be written as TIFF: ")) << text;
    EXPECT_GT(text.size(), std::string("cannot be written as TIFF: ").size());
  }
}

TEST(WriteErrors, LibtiffsMessageIsNotPrinted) {
  const test::Output output = test::capture([] { error_shows(host::write_tiff); });
  EXPECT_EQ(output.out + output.err, "");
}

}  // namespace
