// Many frames in one run.
#include "program/batch.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>
#include <stdexcept>

#include "frames/failure.h"
#include "tests/program/program.h"

namespace {

namespace fs = std::filesystem;
using program::TaskResult;
using test::Result;
using Names = std::vector<std::string>;
using State = TaskResult::State;

// ------------------------------------------------------------------------------------------------------------------
// Tasks
// ------------------------------------------------------------------------------------------------------------------

std::vector<TaskResult> results_of(std::size_t count, unsigned jobs,
                                   const std::function<std::string(std::size_t)>& work) {
  std::vector<TaskResult> results(count);
  std::vector<int> times(count);
  program::run_tasks(count, jobs, work, [&](std::size_t task, const TaskResult& result) {
    results[task] = result;
    ++times[task];
  });
  EXPECT_EQ(std::ranges::count(times, 1), static_cast<std::ptrdiff_t>(count)) << "each task once";
  return results;
}

TEST(Tasks, ResultsComeBackWhole) {
  const std::string long_text(300000, 'x');  // longer than a pipe holds
  for (const unsigned jobs : {0U, 1U, 3U, 50U}) {
    const auto results = results_of(20, jobs, [&](std::size_t task) { return std::to_string(task) + long_text; });
    for (std::size_t i = 0; i < 20; ++i) {
      EXPECT_EQ(results[i].state, State::kSucceeded);
      EXPECT_EQ(results[i].text, std::to_string(i) + long_text);
    }
  }
  EXPECT_TRUE(results_of(0, 2, [](std::size_t) { return "none"; }).empty());
}

TEST(Tasks, FailuresAndCrashesTakeNoOtherTaskWithThem) {
  const auto results = results_of(4, 2, [](std::size_t task) -> std::string {
    if (task == 1) throw frames::Failure("file", "is bad");
    if (task == 2) raise(SIGKILL);
    return "done";
  });
  EXPECT_EQ(results[0].text, "done");
  EXPECT_EQ(results[1].state, State::kFailed);
  EXPECT_EQ(results[1].text, "file: is bad");
  EXPECT_EQ(results[2].state, State::kCrashed);
  EXPECT_EQ(results[2].text, "its process was ended by a signal: Killed");
  EXPECT_EQ(results[3].text, "done");
}

TEST(Tasks, OtherExceptionsTakeNoOtherTaskWithThem) {
  const pid_t tests = getpid();
  std::vector<TaskResult> results;
  try {
    results = results_of(3, 3, [](std::size_t task) -> std::string {
      if (task == 0) sleep(1);
      if (task == 1) throw std::bad_alloc();
      if (task == 2) throw std::runtime_error("was not foreseen");
      return "done";
    });
  } catch (...) {
    if (getpid() != tests) _exit(1);  // a worker that came back from run_tasks
    throw;
  }
  EXPECT_EQ(results[0].state, State::kSucceeded);
  EXPECT_EQ(results[0].text, "done");
  EXPECT_EQ(results[1].state, State::kCrashed);
  EXPECT_EQ(results[1].text, "needs more memory than is available");
  EXPECT_EQ(results[2].state, State::kCrashed);
  EXPECT_EQ(results[2].text, "was not foreseen");
}

TEST(Tasks, TheLineOfAFailureNamesTheFileOnce) {
  EXPECT_EQ(program::failure_line("a.img", {State::kFailed, "a.img: is bad"}), "xrdimage: a.img: is bad\n");
  EXPECT_EQ(program::failure_line("a.img", {State::kCrashed, "was ended"}), "xrdimage: a.img: was ended\n");
}

TEST(Tasks, IgnoredSignalsDoNotInterrupt) {
  auto* const before = std::signal(SIGHUP, SIG_IGN);
  const auto results = results_of(20, 2, [](std::size_t) {
    kill(getppid(), SIGHUP);
    return std::string("done");
  });
  std::signal(SIGHUP, before);
  for (const TaskResult& result : results) EXPECT_EQ(result.text, "done");
}

TEST(Tasks, NoMoreProcessesThanTheSystemAllows) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowest = dup(STDERR_FILENO);
  close(lowest);
  const rlimit few{static_cast<rlim_t>(lowest) + 6, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  const auto results = results_of(20, 50, [](std::size_t) { return std::string("done"); });
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  for (const TaskResult& result : results) EXPECT_EQ(result.text, "done");
}

TEST(Tasks, NoMoreProcessesThanAskedFor) {
  const test::Workplace place;
  const auto results = results_of(12, 3, [](std::size_t task) {
    const std::string mark = "running" + std::to_string(task);
    std::fclose(std::fopen(mark.c_str(), "w"));
    usleep(20000);
    const auto running = std::distance(fs::directory_iterator("."), fs::directory_iterator());
    fs::remove(mark);
    return std::to_string(running);
  });
  int most = 0;
  for (const TaskResult& result : results) most = std::max(most, std::stoi(result.text));
  EXPECT_LE(most, 3);
  EXPECT_GE(most, 2);
}

TEST(Tasks, AnInterruptEndsThemAndTheProgram) {
  const pid_t process = fork();
  if (process == 0) {
    program::run_tasks(
        100, 2,
        [](std::size_t task) {
          if (task == 1) kill(getppid(), SIGTERM);
          sleep(30);
          return std::string();
        },
        [](std::size_t, const TaskResult&) {});
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

// ------------------------------------------------------------------------------------------------------------------
// The program
// ------------------------------------------------------------------------------------------------------------------

// A folder "data" with frames f000.raw and so on, of 20 x 20 pixels, each of which has the frame's number.
class Batch : public testing::Test {
 protected:
  void make_frames(unsigned count) {
    fs::create_directory("data");
    for (unsigned i = 0; i < count; ++i) {
      std::string pixels;
      for (int pixel = 0; pixel < 400; ++pixel) pixels += test::little16(i);
      place_.write(frame_name(i), pixels);
    }
  }
  static std::string frame_name(unsigned i) {
    std::string number = std::to_string(i);
    return "data/f" + std::string(3 - number.size(), '0') + number + ".raw";
  }
  // The outputs that are what they should be; all others are failures.
  unsigned whole_outputs(unsigned count) const {
    unsigned whole = 0;
    for (unsigned i = 0; i < count; ++i) {
      const std::string name = "out/" + frame_name(i).substr(5, 4) + ".npy";
      if (!fs::exists(name)) continue;
      const std::string file = test::read_file(name);
      EXPECT_EQ(file.size(), 128U + 400 * 4) << name;
      EXPECT_TRUE(file.ends_with(test::little32(i))) << name;
      ++whole;
    }
    const auto entries = std::distance(fs::directory_iterator("out"), fs::directory_iterator());
    EXPECT_EQ(static_cast<unsigned>(entries), whole) << "something else is left in the folder";
    return whole;
  }
  test::Workplace place_;
};

constexpr const char* kConvert = "convert data/*.raw --size 20x20 -o out/ --to npy";

TEST_F(Batch, FiveHundredFramesOfWhichTwoCannotBeRead) {
  make_frames(500);
  place_.write(frame_name(123), "too short");
  fs::remove(frame_name(321));
  fs::create_symlink("nowhere", frame_name(321));
  const Result result = place_.xrdimage(std::string(kConvert) + " -j 2");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(whole_outputs(500), 498U);
  Names lines;
  for (std::size_t begin = 0; begin < result.err.size();) {
    const std::size_t end = result.err.find('\n', begin);
    lines.push_back(result.err.substr(begin, end - begin));
    begin = end + 1;
  }
  ASSERT_EQ(lines.size(), 3U) << result.err;
  std::sort(lines.begin(), lines.begin() + 2);
  EXPECT_EQ(lines[0], "xrdimage: data/f123.raw: is truncated: has 4 of 400 pixels");
  EXPECT_EQ(lines[1], "xrdimage: data/f321.raw: No such file or directory");
  EXPECT_TRUE(lines[2].starts_with("xrdimage: 498 of 500 frames converted in ")) << lines[2];
  EXPECT_TRUE(lines[2].ends_with(", 2 failed")) << lines[2];
}

TEST_F(Batch, AnInterruptedRunGoesOnWhereItWas) {
  make_frames(500);
  // Interrupted when some of the outputs are there.
  const Result interrupted = place_.run(std::string("\"$xrdimage\" ") + kConvert +
                                        " -j 2 & run=$!\n"
                                        "while [ \"$(ls out 2>/dev/null | wc -l)\" -lt 40 ]; do sleep 0.01; done\n"
                                        "kill -TERM $run; wait $run");
  EXPECT_EQ(interrupted.status, 128 + SIGTERM);
  const unsigned done = whole_outputs(500);
  EXPECT_GE(done, 40U);
  EXPECT_LT(done, 500U);
  const auto time = fs::last_write_time("out/f000.npy");

  const Result rest = place_.xrdimage(std::string(kConvert) + " -j 2 --skip-existing");
  EXPECT_EQ(rest.status, 0);
  EXPECT_EQ(whole_outputs(500), 500U);
  EXPECT_EQ(fs::last_write_time("out/f000.npy"), time) << "written again";
  EXPECT_TRUE(rest.err.starts_with("xrdimage: " + std::to_string(500 - done) + " of " + std::to_string(500 - done)))
      << rest.err;
  EXPECT_TRUE(rest.err.ends_with(", " + std::to_string(done) + " existed already\n")) << rest.err;

  const Result nothing = place_.xrdimage(std::string(kConvert) + " --skip-existing");
  EXPECT_EQ(nothing.status, 0);
  EXPECT_EQ(nothing.err, "xrdimage: 0 of 0 frames converted in 0 s, 500 existed already\n");
}

TEST_F(Batch, AnInterruptEndsStoppedProcessesToo) {
  std::ofstream("0.raw").close();
  fs::resize_file("0.raw", std::uintmax_t{2} * 4000 * 4000);
  place_.write("1.raw", test::little16(11));
  const Result result = place_.run(
      "\"$xrdimage\" convert 0.raw 1.raw --depth 16 --smooth 5 -o out/ --to npy -j 1 & run=$!\n"
      "until worker=$(cat /proc/$run/task/$run/children) && [ -n \"$worker\" ]; do :; done\n"
      "kill -STOP $worker; kill -TERM $run\n"
      "(sleep 10; kill -KILL $run $worker) >/dev/null 2>&1 & patience=$!\n"
      "wait $run; status=$?; kill $patience; exit $status");
  EXPECT_EQ(result.status, 128 + SIGTERM);
  EXPECT_TRUE(fs::is_empty("out"));
}

// The folder is there when it is known which outputs are; the first of the frames takes longer than it takes to see
// that.
TEST_F(Batch, WhatAnotherRunMakesMeanwhileWasThereAlready) {
  std::ofstream("0.raw").close();
  fs::resize_file("0.raw", std::uintmax_t{2} * 4000 * 4000);
  place_.write("1.raw", test::little16(11));
  const std::string convert = "convert 0.raw 1.raw --depth 16 --smooth 5 -o out/ --to npy -j 1";
  const std::string meanwhile = "(until [ -d out ]; do :; done; echo other >out/1.npy) & \"$xrdimage\" ";
  const Result result = place_.run(meanwhile + convert + " --skip-existing");
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.err.ends_with(", 1 existed already\n")) << result.err;
  EXPECT_TRUE(result.err.find("xrdimage: 1 of 1 frames converted in ") != std::string::npos) << result.err;
  EXPECT_EQ(test::read_file("out/1.npy"), "other\n");
  fs::remove_all("out");
  EXPECT_EQ(place_.run(meanwhile + convert).status, 1) << "without the option it is an error";
  EXPECT_EQ(test::read_file("out/1.npy"), "other\n");
}

TEST_F(Batch, OutputsAreNotOverwrittenByOthersOfTheSamePlace) {
  place_.write("0.raw", test::little16(10));
  place_.write("1.raw", test::little16(11));
  fs::create_directory("0");
  fs::create_directory_symlink("0", "1");
  for (const char* option : {"", " --overwrite", " --skip-existing"}) {
    const Result result =
        place_.xrdimage(std::string("convert 0.raw 1.raw --size 1x1 -o '{name}/out.npy' -j 1") + option);
    EXPECT_EQ(result.status, 1) << option;
    EXPECT_EQ(result.err, "xrdimage: 1/out.npy: would be written twice: for 0.raw and for 1.raw\n") << option;
  }
  EXPECT_TRUE(fs::is_empty("0"));
}

TEST_F(Batch, ShardsTakeEachFrameOnce) {
  make_frames(10);
  EXPECT_EQ(place_.xrdimage(std::string(kConvert) + " --shard 2/3").status, 0);
  EXPECT_EQ(whole_outputs(10), 3U);
  EXPECT_TRUE(fs::exists("out/f001.npy"));
  EXPECT_TRUE(fs::exists("out/f004.npy"));
  EXPECT_EQ(place_.xrdimage(std::string(kConvert) + " --shard 1/3").status, 0);
  EXPECT_EQ(place_.xrdimage(std::string(kConvert) + " --shard 3/3").status, 0);
  EXPECT_EQ(whole_outputs(10), 10U);
}

TEST_F(Batch, PatternsNameTheOutputs) {
  make_frames(3);
  fs::create_directory("out");
  EXPECT_EQ(place_.xrdimage("convert data/*.raw --size 20x20 -o 'out/{name}-{n}.png'").status, 0);
  EXPECT_TRUE(fs::exists("out/f000-1.png"));
  EXPECT_TRUE(fs::exists("out/f002-3.png"));
}

TEST_F(Batch, OneFileForManyFramesIsRefused) {
  make_frames(2);
  EXPECT_EQ(place_.xrdimage("convert data/*.raw -o out.png").err,
            "xrdimage: out.png: is one file, but there are 2 frames; name a folder, or a pattern as in {name}.png\n");
  EXPECT_EQ(place_.xrdimage("convert data/*.raw -o out/").err,
            "xrdimage: out/: is a folder; state the format with --to, as in --to png\n");
  EXPECT_FALSE(fs::exists("out"));
}

TEST_F(Batch, FramesThatExistAreRefusedAndCounted) {
  make_frames(5);
  fs::create_directory("out");
  place_.write("out/f001.npy", "a frame");
  place_.write("out/f003.npy", "a frame");
  const Result result = place_.xrdimage(kConvert);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(
      result.err.starts_with("xrdimage: out/f001.npy: already exists; replace it with --overwrite\n"
                             "xrdimage: out/f003.npy: already exists; replace it with --overwrite\n"
                             "xrdimage: 3 of 5 frames converted in "))
      << result.err;
  EXPECT_TRUE(result.err.ends_with(" s, 2 refused because their files exist\n")) << result.err;
  EXPECT_EQ(test::read_file("out/f001.npy"), "a frame");
  EXPECT_EQ(place_.xrdimage(std::string(kConvert) + " --overwrite").status, 0);
  EXPECT_EQ(whole_outputs(5), 5U);
}

// A raw frame of the folder, though not of those that are converted.
TEST_F(Batch, OtherFramesInTheFolderStay) {
  make_frames(2);
  place_.write("data/f000.tif", "a raw frame");
  EXPECT_EQ(place_.run("cd data && \"$xrdimage\" convert *.raw --size 20x20 -o ./ --to tif").status, 1);
  EXPECT_EQ(test::read_file("data/f000.tif"), "a raw frame");
  EXPECT_TRUE(fs::exists("data/f001.tif"));
}

TEST_F(Batch, PicturesAreReplaced) {
  make_frames(2);
  const std::string pictures = "convert data/*.raw --size 20x20 -o out/ --to png";
  EXPECT_EQ(place_.xrdimage(pictures).status, 0);
  EXPECT_EQ(place_.xrdimage(pictures + " --range 0-9").status, 0);
}

// Each file's bytes before its name, and all names before the user reads that they are there.
TEST_F(Batch, WhatIsSaidToBeDoneIsSafeFromAPowerCut) {
  make_frames(3);
  const Result result = place_.run(
      "ASAN_OPTIONS=detect_leaks=0 strace -f -qq -s 200 -o calls -e trace=fsync,renameat2,write -e signal=none "
      "\"$xrdimage\" " +
      std::string(kConvert) + " -j 1");
  ASSERT_EQ(result.status, 0) << result.err;
  std::istringstream calls(test::read_file("calls"));
  Names order;
  for (std::string line; std::getline(calls, line);) {
    for (const std::string what : {"fsync", "renameat2", "frames converted"}) {
      if (line.find(what) != std::string::npos) order.push_back(what);
    }
  }
  EXPECT_EQ(order,
            (Names{"fsync", "renameat2", "fsync", "renameat2", "fsync", "renameat2", "fsync", "frames converted"}))
      << test::read_file("calls");
}

TEST_F(Batch, NoFrameIsOverwrittenByWhatIsMadeOfAnother) {
  place_.write("0.raw", test::little16(10));
  place_.write("1.raw", test::little16(11));
  const Result result = place_.xrdimage("convert 0.raw 1.raw --size 1x1 -o './{n}.raw' -j 1");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "xrdimage: ./1.raw: is itself an input frame, which is not overwritten by the output of 0.raw\n");
  EXPECT_EQ(test::read_file("1.raw"), test::little16(11));
  EXPECT_FALSE(fs::exists("2.raw"));
}

TEST_F(Batch, NamesThatAreTooLongFailOnTheirOwn) {
  make_frames(1);
  const std::string name(300, 'x');
  const Result result =
      place_.xrdimage("convert data/f000.raw " + name + " --size 20x20 -o out/ --to npy --skip-existing");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.starts_with("xrdimage: " + name + ": File name too long\n")) << result.err;
  EXPECT_EQ(whole_outputs(1), 1U);
  EXPECT_EQ(place_.xrdimage("convert data/f000.raw --size 20x20 -o " + name + ".npy").err,
            "xrdimage: " + name + ".npy: cannot be written: File name too long\n");
}

TEST_F(Batch, WarningsNameTheirFrames) {
  make_frames(1);
  place_.write("data/g.raw", std::string(18, '\0'));
  const Result result = place_.xrdimage("convert data/f000.raw data/g.raw -o out/ --to png -j 1");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("xrdimage: data/f000.raw: warning: is read as 20 x 20 pixels"), std::string::npos);
  EXPECT_NE(result.err.find("xrdimage: data/g.raw: warning: is read as 3 x 3 pixels"), std::string::npos);
}

TEST_F(Batch, ABarShowsTheProgressOnATerminal) {
  make_frames(5);
  // script(1) runs the command on a terminal of its own.
  const Result result = place_.run(std::string("script -qec \"$xrdimage ") + kConvert + "\" /dev/null </dev/null", "");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("] 0/5"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\r\033[K"), std::string::npos);
  EXPECT_NE(result.out.find("xrdimage: 5 of 5 frames converted"), std::string::npos) << result.out;
}

}  // namespace
