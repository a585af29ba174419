// Files that find no room.
#include <sys/resource.h>

#include <csignal>
#include <stdexcept>

#include "tests/frames/writers/written.h"

namespace {

// Whether the caller learns of it: by an exception of one line or by the stream's state.
bool error_shows(test::Writer write) {
  const test::Stream stream(std::fopen("/dev/full", "w+b"));
  frames::Remarks remarks;
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
  constexpr test::Writer kWriters[] = {frames::write_adsc,   frames::write_edf, frames::write_mar345, frames::write_npy,
                                       frames::write_packed, frames::write_raw, frames::write_tiff};
  for (const test::Writer write : kWriters) EXPECT_TRUE(error_shows(write));
}

// Files of this process cannot grow beyond the size.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) : previous_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit{bytes, previous_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    std::signal(SIGXFSZ, previous_handler_);
  }

 private:
  void (*previous_handler_)(int);
  rlimit previous_{};
};

// libtiff's message; "" when there is none.
std::string tiff_error(std::size_t room) {
  const test::Stream stream(std::tmpfile());
  std::setvbuf(stream.get(), nullptr, _IONBF, 0);
  const FileSizeLimit limit(room);
  frames::Remarks remarks;
  try {
    frames::write_tiff(test::frame_of(1, 1, {5}), {}, stream.get(), remarks);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(WriteErrors, TiffThatFindsNoRoomIsAnExceptionWhereverItEnds) {
  const std::size_t size = test::written(frames::write_tiff, test::frame_of(1, 1, {5})).bytes.size();
  const std::string start = "cannot be written as TIFF: ";
  for (std::size_t room = 0; room < size; ++room) {
    const std::string error = tiff_error(room);
    EXPECT_TRUE(error.starts_with(start)) << room << error;
    EXPECT_GT(error.size(), start.size()) << room;
  }
  EXPECT_EQ(tiff_error(size), "");
}

TEST(WriteErrors, LibtiffsMessageIsNotPrinted) {
  const test::Output output = test::capture([] { error_shows(frames::write_tiff); });
  EXPECT_EQ(output.out + output.err, "");
}

}  // namespace
