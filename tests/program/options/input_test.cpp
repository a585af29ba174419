#include "program/options/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "tests/program/program.h"

namespace {

TEST(Input, IsOpenedOnce) {
  const test::Workplace place;
  place.write("a.mar2300", test::small_mar345());
  place.write("b.mar2300", test::small_mar345());
  place.run("\"$xrdimage\" convert a.mar2300 -o a.edf; \"$xrdimage\" convert a.mar2300 -o a.tif; gzip -k a.edf");
  for (const std::string name : {"a.mar2300", "a.edf", "a.tif", "a.edf.gz"}) {
    for (const std::string command :
         {"info ", "info --json b.mar2300 ", "convert -o out.png ", "convert -o out.npy --overwrite ",
          "convert b.mar2300 --overwrite -o out/ --to raw ", "view --terminal ", "diff b.mar2300 "}) {
      const test::Result result = place.run(
          "ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o calls -e trace=open,openat -e signal=none \"$xrdimage\" " +
          command + name);
      EXPECT_LE(result.status, command.starts_with("diff") ? 1 : 0) << command << name << result.err;
      const std::string calls = test::read_file("calls");
      const std::size_t first = calls.find("\"" + name + "\"");
      ASSERT_NE(first, std::string::npos) << command << calls;
      EXPECT_EQ(calls.find("\"" + name + "\"", first + 1), std::string::npos) << command << calls;
    }
  }
}

// Whoever may write to the folder can do this between any two calls.
TEST(Input, APipeInThePlaceOfAFrameIsNotWaitedFor) {
  const test::Workplace place;
  place.write("frame.mar2300", test::small_mar345());
  ASSERT_EQ(mkfifo("other", 0600), 0);
  std::atomic<bool> is_over = false;
  std::thread swapping([&] {
    while (!is_over) renameat2(AT_FDCWD, "frame.mar2300", AT_FDCWD, "other", RENAME_EXCHANGE);
  });
  alarm(60);  // ends the process
  int loaded = 0;
  int refused = 0;
  while (loaded < 500 || refused < 500) {
    try {
      frames::Remarks remarks;
      program::load_input("frame.mar2300", {}, {}, remarks);
      ++loaded;
    } catch (const frames::Failure& failure) {
      ++refused;
      EXPECT_STREQ(failure.what(), "frame.mar2300: is not a regular file");
    }
  }
  alarm(0);
  is_over = true;
  swapping.join();
}

}  // namespace
