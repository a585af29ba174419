// Readers on files that cannot be read, or end early or late, and with signals in between.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <set>

#include "tests/environment.h"
#include "tests/trust/child.h"
#include "tests/trust/memory.h"
#include "tests/trust/readers.h"
#include "xrdimage.h"

namespace {

namespace fs = std::filesystem;
using trust::Ending;
using trust::Reader;
using trust::Scene;

std::string reader_name(const testing::TestParamInfo<Reader>& information) {
  return information.param.name;
}

// What the reader tells of the file. `begin` and `end` are called before and after the call.
Ending reading(
    const Reader& reader, const std::string& path, const std::function<void()>& begin = [] {},
    const std::function<void()>& end = [] {}) {
  return trust::in_child([&] {
    Scene scene;
    scene.begin = begin;
    scene.end = end;
    reader.read(scene, path.c_str());
    return scene.story();
  });
}

// A pipe has no position.
std::string without_position(std::string told) {
  const std::size_t at = told.find("position=");
  return at == std::string::npos ? told : told.erase(at, told.find('\n', at) + 1 - at);
}

void expect_same(const Ending& ending, const Ending& expected, const std::string& circumstances) {
  ASSERT_TRUE(ending.is_normal()) << circumstances << ending.signal << " " << ending.status << "\n" << ending.err;
  EXPECT_EQ(without_position(ending.told), without_position(expected.told)) << circumstances;
  EXPECT_EQ(ending.out, expected.out) << circumstances;
}

class Reading : public testing::TestWithParam<Reader> {
 protected:
  Reading() {
    directory_.enter();
    trust::write_file("frame", GetParam().sample.bytes);
  }
  const std::string& bytes() const { return GetParam().sample.bytes; }

 private:
  test::TemporaryDirectory directory_;
};

class FileReading : public Reading {};

}  // namespace

TEST_P(FileReading, FilesThatCannotBeOpenedLeaveOutputsUntouched) {
  constexpr uid_t kNobody = 65534;
  fs::permissions(".", fs::perms::all);
  fs::permissions("frame", fs::perms::none);
  for (const std::string path : {"frame/below-a-file", "absent", "", "frame"}) {
    // Root may open any file.
    const bool as_nobody = path == "frame" && geteuid() == 0;
    const auto begin = [=] { EXPECT_EQ(as_nobody ? seteuid(kNobody) : 0, 0); };
    const auto end = [=] { EXPECT_EQ(as_nobody ? seteuid(0) : 0, 0); };
    const Ending ending = reading(GetParam(), path, begin, end);
    ASSERT_TRUE(ending.is_normal()) << path << ending.err;
    EXPECT_EQ(ending.out, trust::with_path(GetParam().not_opened, path));
    if (GetParam().told_then == nullptr) continue;
    EXPECT_EQ(ending.told, GetParam().told_then) << path;
  }
}

TEST_P(FileReading, DirectoriesAreFilesWithoutBytes) {
  fs::create_directory("directory");
  trust::write_file("empty_file", "");
  const Ending of_empty = reading(GetParam(), "empty_file");
  Ending ending = reading(GetParam(), "directory");
  for (std::string* text : {&ending.out, &ending.told}) {
    if (const std::size_t at = text->find("directory"); at != std::string::npos) text->replace(at, 9, "empty_file");
  }
  expect_same(ending, of_empty, "a directory");
}

INSTANTIATE_TEST_SUITE_P(, FileReading, testing::ValuesIn(trust::file_readers()), reader_name);

// Files that get shorter while they are read, at the moment of one of the reader's allocations. Readers ask how large a
// file is only to decide how memory is made ready.
namespace {

std::size_t cut_length = 0;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

// The lines of what was told that hold a size.
std::string told_size(const std::string& told) {
  const std::size_t at = told.find("size=");
  return at == std::string::npos ? "" : told.substr(at, told.find('\n', at) - at);
}

}  // namespace

class ShrinkingFile : public Reading {};

TEST_P(ShrinkingFile, EndsWhereItEndsNow) {
  const Ending of_whole = reading(GetParam(), "frame");
  for (std::size_t number = 1; number <= 4; ++number) {
    for (const std::size_t length : {std::size_t{0}, GetParam().sample.header, bytes().size() - 20}) {
      trust::write_file("frame", bytes());
      cut_length = length;
      const Ending ending = reading(GetParam(), "frame", [=] {
        trust::memory::watch_for(number, [] { static_cast<void>(truncate("frame", static_cast<off_t>(cut_length))); });
      });
      ASSERT_TRUE(ending.is_normal()) << number << " " << length << " signal " << ending.signal << "\n" << ending.err;
      EXPECT_EQ(told_size(ending.told), told_size(of_whole.told));
    }
  }
}

namespace {

// libtiff maps files into memory, where touching what has vanished ends the process.
std::vector<Reader> readers_without_libtiff() {
  std::vector<Reader> some = trust::file_readers();
  std::erase_if(some, [](const Reader& reader) {
    const std::string_view function = reader.function;
    return function == "read_tiff" || function == "read_mar_ccd";
  });
  return some;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(, ShrinkingFile, testing::ValuesIn(readers_without_libtiff()), reader_name);

// Descriptors.
namespace {

std::vector<Reader> readers_that_leave_streams_open() {
  std::vector<Reader> some;
  for (Reader& reader : trust::file_readers()) {
    const std::string_view name = reader.name;
    if (name == "read_raw" || name == "read_saint" || name == "new_read_pck") some.push_back(reader);
    if (name == "read_mar_ccd" || name == "read_mar_ccd_header") {
      // Only behind a header that is not whole.
      reader.sample.bytes.resize(4000);
      some.push_back(reader);
    }
  }
  return some;
}

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

class LeavingStreamsOpen : public Reading {};

}  // namespace

TEST_P(LeavingStreamsOpen, FilesCannotBeOpenedAnyMoreWhenDescriptorsRunOut) {
  constexpr rlim_t kDescriptors = 40;
  const Ending one = reading(GetParam(), "frame");
  ASSERT_TRUE(one.is_normal());
  const Ending ending = trust::in_child([] {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit limit{kDescriptors, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
    std::string stories;
    for (int i = 0; i < 2000; ++i) {
      Scene scene;
      GetParam().read(scene, "frame");
      stories += scene.story() + "\f";
    }
    setrlimit(RLIMIT_NOFILE, &before);
    return stories;
  });
  ASSERT_TRUE(ending.is_normal()) << ending.signal << " " << ending.status << ending.err;
  std::map<std::string, std::size_t> counts;
  std::vector<std::string> order;
  for (std::size_t begin = 0, end = 0; (end = ending.told.find('\f', begin)) != std::string::npos; begin = end + 1) {
    const std::string story = ending.told.substr(begin, end - begin);
    if (counts[story]++ == 0) order.push_back(story);
  }
  ASSERT_FALSE(order.empty());
  EXPECT_EQ(order.front(), one.told);
  EXPECT_EQ(order.back(), GetParam().told_then);
  EXPECT_GE(counts[order.back()], 1900);
  const std::string_view name = GetParam().name;
  if (name == "new_read_pck") {
    // Once there is a descriptor for the header and none for the packed image, whose pixels are 0 then.
    ASSERT_EQ(order.size(), 3U);
    EXPECT_EQ(counts[order[1]], 1);
    EXPECT_EQ(order[1].substr(0, order[1].find("array")), one.told.substr(0, one.told.find("array")));
    EXPECT_NE(ending.out.find("ERROR> frame does not exist."), std::string::npos);
  } else if (name.starts_with("read_mar_ccd")) {
    // Incomplete headers and files that cannot be opened differ in the message.
    EXPECT_EQ(order.size(), 1U);
    const std::size_t incomplete = occurrences(ending.out, "Not read correctly! Abandoning.\n");
    EXPECT_GE(incomplete, 20U);
    EXPECT_LE(incomplete, kDescriptors);
    if (name == "read_mar_ccd") return;
    EXPECT_EQ(occurrences(ending.out, "# " RED_ERROR " reading frame\n"), 2000 - incomplete);
  } else {
    EXPECT_EQ(order.size(), 2U);
    EXPECT_GE(counts[order.front()], 20);
    EXPECT_EQ(occurrences(ending.out, trust::with_path(GetParam().not_opened, "frame")), 2000 - counts[order.front()]);
  }
}

// Pipes.
namespace {

// The readers that go through a file once, from its beginning on.
std::vector<Reader> readers_of_pipes() {
  std::vector<Reader> some;
  const std::set<std::string_view> kOthers{"read_tiff", "read_mar_ccd", "read_pck",    "new_read_pck",
                                           "gethead",   "int_getpck",   "read_mar_ccd"};
  for (const Reader& reader : trust::readers()) {
    if (!kOthers.contains(reader.function)) some.push_back(reader);
  }
  return some;
}

// How often the reader was interrupted; in memory that it shares with the writer.
volatile std::sig_atomic_t* alarms = nullptr;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

void count_alarm(int /*signal*/) {
  *alarms = *alarms + 1;
}

// A process that writes the bytes to a named pipe, some at a time. In between, while the reader waits for more, it
// sends a signal that interrupts system calls, and goes on when that has come.
class SlowWriter {
 public:
  SlowWriter(const char* path, const std::string& bytes, std::size_t pieces) {
    void* const shared = mmap(nullptr, sizeof *alarms, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    alarms = static_cast<volatile std::sig_atomic_t*>(shared);
    struct sigaction action {};
    action.sa_handler = count_alarm;  // without SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    // For reading and writing, so that neither this nor the reader waits for the other when it opens the pipe.
    const int descriptor = open(path, O_RDWR);
    const pid_t reader = getpid();
    process_ = fork();
    if (process_ == 0) {
      const std::size_t piece = bytes.size() / pieces + 1;
      for (std::size_t first = 0; first < bytes.size(); first += piece) {
        if (first > 0) interrupt(reader);
        const std::string part = bytes.substr(first, piece);
        if (write(descriptor, part.data(), part.size()) < 0) break;
      }
      // Bytes that nobody has read yet are lost when no end of the pipe is open.
      usleep(100000);
      _exit(0);
    }
    close(descriptor);
  }
  SlowWriter(const SlowWriter&) = delete;
  SlowWriter& operator=(const SlowWriter&) = delete;
  ~SlowWriter() {
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }

 private:
  static void interrupt(pid_t reader) {
    usleep(1000);  // in which it takes what is there
    const std::sig_atomic_t before = *alarms;
    if (kill(reader, SIGALRM) != 0) return;
    for (int wait = 0; *alarms == before && wait < 100000; ++wait) usleep(100);
  }

  pid_t process_ = -1;
};

class PipeReading : public Reading {};

}  // namespace

TEST_P(PipeReading, PipesThatEndEarlyAreShortFiles) {
  mkfifo("pipe", 0600);
  const std::size_t header = GetParam().sample.header;
  for (const std::size_t length : {header / 2, header + (bytes().size() - header) / 3, bytes().size() - 1}) {
    trust::write_file("cut", bytes().substr(0, length));
    const Ending of_cut = reading(GetParam(), "cut");
    Ending ending = trust::in_child([&] {
      const SlowWriter writer("pipe", bytes().substr(0, length), 1);
      Scene scene;
      GetParam().read(scene, "pipe");
      return scene.story();
    });
    for (std::string* text : {&ending.out, &ending.told}) {
      if (const std::size_t at = text->find("pipe"); at != std::string::npos) text->replace(at, 4, "cut");
    }
    expect_same(ending, of_cut, std::to_string(length));
  }
}

TEST_P(PipeReading, NothingIsLostWhenSignalsInterruptReads) {
  mkfifo("pipe", 0600);
  const Ending of_whole = reading(GetParam(), "frame");
  Ending ending = trust::in_child([&] {
    const SlowWriter writer("pipe", bytes(), 30);
    Scene scene;
    GetParam().read(scene, "pipe");
    if (*alarms == 0) return std::string("no alarms came");
    return scene.story();
  });
  for (std::string* text : {&ending.out, &ending.told}) {
    if (const std::size_t at = text->find("pipe"); at != std::string::npos) text->replace(at, 4, "frame");
  }
  expect_same(ending, of_whole, "");
}

INSTANTIATE_TEST_SUITE_P(, PipeReading, testing::ValuesIn(readers_of_pipes()), reader_name);

INSTANTIATE_TEST_SUITE_P(, LeavingStreamsOpen, testing::ValuesIn(readers_that_leave_streams_open()), reader_name);

TEST(SlowAnswers, AreAwaitedWhenSignalsComeMeanwhile) {
  test::TemporaryDirectory directory;
  directory.enter();
  mkfifo("answer", 0600);
  trust::write_file("frame", trust::raw_sample().bytes);
  const Ending ending = trust::in_child([] {
    const SlowWriter user("answer", "12 9\n", 5);
    const int descriptor = open("answer", O_RDONLY);
    dup2(descriptor, STDIN_FILENO);
    unsigned int* array = nullptr;
    int width = 0;
    int height = 0;
    read_raw("frame", &array, &width, &height);
    std::free(array);
    return std::to_string(width) + "x" + std::to_string(height);
  });
  EXPECT_TRUE(ending.is_normal());
  EXPECT_EQ(ending.told, "12x9");
}
