// What writers do when there is no room, and every function when nobody listens.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/environment.h"
#include "tests/trust/calls.h"
#include "tests/trust/child.h"
#include "tests/trust/readers.h"
#include "tests/trust/small_disk.h"
#include "xrdimage.h"

namespace {

namespace fs = std::filesystem;
using trust::Call;
using trust::Ending;

constexpr int kEdge = 800;
constexpr std::size_t kPixels = std::size_t{kEdge} * kEdge;

struct Writer {
  const char* function;
  void (*write)(const char* path);
  // '@' stands for the path. Write errors are not reported: this is printed whether or not there is room.
  const char* out = "";
  const char* err = "";

  friend void PrintTo(const Writer& writer, std::ostream* stream) { *stream << writer.function; }
};

template <typename Pixel>
std::vector<Pixel> noise() {
  return corpus::Random(1).numbers<Pixel>(kPixels);
}

template <void (*write_edf)(const char*, const unsigned int*, int, int)>
void edf(const char* path) {
  write_edf(path, noise<unsigned int>().data(), kEdge, kEdge);
}

void packed_file(const char* path) {
  PackedFileHeader header{};
  header.width = header.height = kEdge;
  tomar(path, noise<short>().data(), 0, header);
}

// The caller's stream shows the error.
template <typename Write>
void on_stream(const char* path, Write write) {
  std::FILE* const stream = std::fopen(path, "w");
  write(stream);
  const bool is_whole = std::ferror(stream) == 0 && std::fflush(stream) == 0;
  std::printf("%s", is_whole ? "" : "the stream has an error\n");
  std::fclose(stream);
}

void packed_image(const char* path) {
  on_stream(path, [](std::FILE* stream) { pack_wordimage_c(noise<short>().data(), kEdge, kEdge, stream); });
}

void chunks(const char* path) {
  auto differences = corpus::Random(3).numbers<std::int32_t>(128, 0);
  on_stream(path, [&](std::FILE* stream) {
    for (int i = 0; i < 4000; ++i) pack_chunk(differences.data(), 128, 32, stream);
    pack_chunk(nullptr, 0, 0, stream);
  });
}

void dump(const char* path) {
  write_zimg(path, noise<unsigned int>().data(), kPixels);
}

void short_dump(const char* path) {
  write_short_zimg(path, noise<unsigned short>().data(), kPixels);
}

constexpr Writer kWriters[] = {
    {"edf16_write", edf<edf16_write>},
    {"edf32_write", edf<edf32_write>},
    {"tomar", packed_file},
    {"write_colormap", write_colormap},
    {"write_zimg", dump, "# 1250 kB f\xFCr Daten_ushort bereitgestellt\n# @ written\n", "(to_short) shift = 0\n"},
    {"write_short_zimg", short_dump, "# @ written\n"},
    {"pack_wordimage_c", packed_image, "the stream has an error\n"},
    {"pack_chunk", chunks, "the stream has an error\n"},
};

class FullDisk : public testing::TestWithParam<Writer> {
 protected:
  FullDisk() { directory_.enter(); }

  // What the writer writes where there is room.
  static std::string whole_file() {
    const test::Output printed = test::capture([] { GetParam().write("whole"); });
    EXPECT_EQ(printed.out.find("error"), std::string::npos) << printed.out;
    return test::read_file("whole");
  }

  // Whether the writer, in the circumstances, ends as if it had written the file.
  static void expect_usual_end(const Ending& ending, const std::string& path) {
    EXPECT_TRUE(ending.is_normal()) << ending.signal << " " << ending.status << ending.err;
    EXPECT_EQ(ending.out, trust::with_path(GetParam().out, path));
    EXPECT_EQ(ending.err, GetParam().err);
  }

 private:
  test::TemporaryDirectory directory_;
};

}  // namespace

TEST_P(FullDisk, DeviceThatIsAlwaysFullChangesNothingForTheCaller) {
  const Ending ending = trust::in_child([] {
    GetParam().write("/dev/full");
    return "";
  });
  expect_usual_end(ending, "/dev/full");
}

TEST_P(FullDisk, FileThatMayNotGrowEndsAtTheLimit) {
  const std::string whole = whole_file();
  for (const std::size_t size : {200U, 1000U}) {
    const Ending ending = trust::in_child([=] {
      std::signal(SIGXFSZ, SIG_IGN);  // its default action ends the process
      const rlimit limit{size, size};
      setrlimit(RLIMIT_FSIZE, &limit);
      GetParam().write("limited");
      return "";
    });
    expect_usual_end(ending, "limited");
    EXPECT_EQ(test::read_file("limited"), whole.substr(0, size));
  }
}

TEST_P(FullDisk, FullFileSystemIsSurvivedAndUsedAgainWhenThereIsRoom) {
  const std::string whole = whole_file();
  fs::create_directory("small");
  const Ending ending = trust::in_child([]() -> std::string {
    if (std::string error = trust::mount_small_disk("small"); !error.empty()) return error;
    GetParam().write("small/file");
    std::string written = test::read_file("small/file");
    fs::remove("small/file");
    trust::write_file("small/next", "there is room");
    return written + test::read_file("small/next");
  });
  if (ending.told.starts_with(trust::kNotAllowed)) GTEST_SKIP() << ending.told;
  ASSERT_TRUE(ending.is_normal()) << ending.err;
  const std::string room = "there is room";
  ASSERT_TRUE(ending.told.ends_with(room)) << ending.told.size();
  const std::string written = ending.told.substr(0, ending.told.size() - room.size());
  EXPECT_EQ(written, whole.substr(0, written.size()));
  EXPECT_GE(written.size(), std::min(whole.size(), std::size_t{900000}));
  // What does not fit is what shows that the disk was full.
  EXPECT_TRUE(written.size() < whole.size() || whole.size() < 5000);
  EXPECT_EQ(ending.err, GetParam().err);
}

INSTANTIATE_TEST_SUITE_P(, FullDisk, testing::ValuesIn(kWriters),
                         [](const auto& information) { return std::string(information.param.function); });

namespace {

// What has become of standard output when a function is called.
struct Silence {
  const char* name;
  void (*begin)();
};

constexpr Silence kSilences[] = {
    {"descriptor closed", [] { close(STDOUT_FILENO); }},
    {"descriptor closed, messages not gathered",
     [] {
       std::setvbuf(stdout, nullptr, _IONBF, 0);
       close(STDOUT_FILENO);
     }},
    {"stream closed", [] { std::fclose(stdout); }},
    {"no room",
     [] {
       std::setvbuf(stdout, nullptr, _IONBF, 0);
       const int full = open("/dev/full", O_WRONLY);
       dup2(full, STDOUT_FILENO);
       close(full);
     }},
};

class NobodyListens : public testing::TestWithParam<Call> {};

Ending run(const Call& call, void (*begin)()) {
  test::TemporaryDirectory directory;
  directory.enter();
  return trust::in_child([&] {
    trust::Scene scene;
    scene.begin = begin;
    call.run(scene);
    return scene.story();
  });
}

}  // namespace

// A file that a function opens takes the descriptor of a closed standard output. Messages do not get into it: no
// function prints while it writes a file.
TEST_P(NobodyListens, MessagesVanishAndNothingElseChanges) {
  const Ending with_output = run(GetParam(), [] {});
  ASSERT_TRUE(with_output.is_normal());
  for (const Silence& silence : kSilences) {
    const Ending ending = run(GetParam(), silence.begin);
    EXPECT_TRUE(ending.is_normal()) << silence.name << ending.signal << " " << ending.status << ending.err;
    EXPECT_EQ(ending.told, with_output.told) << silence.name;
    EXPECT_EQ(ending.out, "") << silence.name;
    EXPECT_EQ(ending.err, with_output.err) << silence.name;
  }
}

INSTANTIATE_TEST_SUITE_P(, NobodyListens, testing::ValuesIn(trust::calls()),
                         [](const auto& information) { return std::string(information.param.function); });
