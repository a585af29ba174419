#include "support/conversation.h"

#include <barrier>
#include <cerrno>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/assertion.h"
#include "support/files.h"
#include "support/prompt.h"
#include "support/tiff.h"
#include "tests/environment.h"
#include "tests/formats/tiff_builder.h"
#include "xrdimage.h"

namespace {

// Writes down what it is told.
class Listener : public xrd::Conversation {
 public:
  explicit Listener(std::optional<std::string> answer = std::nullopt) : answer_(std::move(answer)) {}

  void print(xrd::Channel channel, std::string_view text) override {
    (channel == xrd::Channel::kOutput ? out : err).append(text);
  }
  bool ask(std::string_view question, std::span<char> answer) override {
    questions.append(question);
    if (!answer_) return false;
    answer[answer_->copy(answer.data(), answer.size() - 1)] = '\0';
    return true;
  }
  void hear_libtiff(const char* module, const char* text) override {
    libtiff.push_back(std::string(module == nullptr ? "" : module) + ": " + text);
  }
  int run(const char* command) override {
    commands.emplace_back(command);
    return 42;
  }
  void hear_open_error(int error) override { open_error = error; }
  void hear_left_open(std::FILE* stream) override { left_open.push_back(stream); }
  void hear_closed(std::FILE* stream) override { closed = stream; }

  std::string out;
  std::string err;
  std::string questions;
  std::vector<std::string> libtiff;
  std::vector<std::string> commands;
  std::vector<std::FILE*> left_open;
  std::FILE* closed = nullptr;
  int open_error = 0;

 private:
  std::optional<std::string> answer_;
};

// A frame whose header does not state its width.
constexpr const char* kEdfHeader = "{\nDim_2 = 1 ;\nBitsPerSample = 32 ;\n}\n";

// Expects that the action prints nothing to the streams of the process.
void expect_silence(const std::function<void()>& action) {
  const auto output = test::capture(action);
  EXPECT_EQ(output.out, "");
  EXPECT_EQ(output.err, "");
}

struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace

TEST(Conversation, WithoutOneTheStandardStreamsAreUsed) {
  EXPECT_EQ(xrd::Conversation::current(), nullptr);
  int length = 0;
  const auto output = test::capture([&] {
    length = xrd::print("%s and %d\n", "one", 2);
    xrd::print_line("three");
    xrd::print_error("%c", '4');
    EXPECT_EQ(xrd::run_command("echo five; exit 3") >> 8, 3);
  });
  EXPECT_EQ(length, 10);
  EXPECT_NE(output.out.find("one and 2\nthree\n"), std::string::npos) << output.out;
  EXPECT_NE(output.out.find("five\n"), std::string::npos) << output.out;
  EXPECT_EQ(output.err, "4");
}

TEST(Conversation, FlushedTextStandsBeforeWhatProgramsPrint) {
  const auto output = test::capture([] {
    xrd::print("first\n");
    xrd::flush_printed();
    xrd::run_command("echo second");
  });
  EXPECT_EQ(output.out, "first\nsecond\n");
}

TEST(Conversation, PrintFailsAsPrintfDoesWhereNobodyListens) {
  std::FILE* const full = std::fopen("/dev/full", "w");
  std::setvbuf(full, nullptr, _IONBF, 0);
  std::FILE* const previous = std::exchange(stdout, full);
  const int printed = xrd::print("text");
  const int line = xrd::print_line("text");
  stdout = previous;
  std::fclose(full);
  EXPECT_LT(printed, 0);
  EXPECT_EQ(line, EOF);
}

TEST(Conversation, HearsAllThatIsPrinted) {
  expect_silence([] {
    Listener listener;
    EXPECT_EQ(xrd::print("%s and %d\n", "one", 2), 10);
    xrd::print("%s", std::string(100000, 'x').c_str());
    xrd::print_line("\n3");
    xrd::print_error("(%5.1f)", 4.0);
    xrd::flush_printed();
    EXPECT_EQ(listener.out, "one and 2\n" + std::string(100000, 'x') + "\n3\n");
    EXPECT_EQ(listener.err, "(  4.0)");
  });
}

TEST(Conversation, FlatFunctionsSpeakToIt) {
  expect_silence([] {
    Listener listener;
    unsigned int pixels[] = {1, 2, 3};
    invert_data(pixels, 3);
    unsigned short* words = nullptr;
    to_short(pixels, &words, 3, 65536);
    test::own(words);
    EXPECT_EQ(listener.out,
              "# Inverting Data...\n# \033[31;1mWARNING\033[0m Die Intensit\xE4ten werden halbiert, damit sie in 16bit "
              "passen\n# 0 kB f\xFCr Daten_ushort bereitgestellt\n");
    EXPECT_EQ(listener.err, "(to_short) shift = 1\n");
  });
}

TEST(Conversation, AnswersQuestions) {
  expect_silence([] {
    Listener listener("12 34\n");
    const xrd::DetectorSize size = xrd::ask_detector_size({1, 2});
    EXPECT_EQ(size.width, 12);
    EXPECT_EQ(size.height, 34);
    EXPECT_EQ(listener.questions, "# Detector x y [1 2]> ");
  });
}

TEST(Conversation, WithoutAnAnswerTheDefaultIsTaken) {
  test::with_input("5 6\n", [] {
    const Listener listener;
    EXPECT_EQ(xrd::ask_detector_size({1, 2}).width, 1);
  });
}

TEST(Conversation, RunsCommands) {
  expect_silence([] {
    Listener listener;
    EXPECT_EQ(filedelete(), 42);
    EXPECT_EQ(get_image_type("frame"), IMAGE_TYPE_UNKNOWN);
    ASSERT_EQ(listener.commands.size(), 13U);
    EXPECT_EQ(listener.commands[0], "/bin/rm tmp.image");
    EXPECT_EQ(listener.commands[1], "file frame | grep TIFF >/dev/null");
  });
}

TEST(Conversation, HearsWhichStreamsAreLeftOpenAndWhichAreClosed) {
  const test::TemporaryDirectory directory;
  const std::string raw = directory.write("raw", std::string(4, '\1'));
  const std::string edf = directory.write("edf", kEdfHeader + test::little32(1) + test::little32(2));
  const std::string mar_ccd = directory.write("mccd", "II*");
  const std::size_t before = test::open_descriptors();
  Listener listener("2 1\n");
  unsigned int* pixels = nullptr;
  int width = 0;
  int height = 0;
  int bits = -1;
  ImageInfo info{};
  read_raw(raw.c_str(), &pixels, &width, &height);
  test::own(pixels);
  ASSERT_EQ(listener.left_open.size(), 1U);
  read_edf(edf.c_str(), &pixels, &bits, &width, &height);
  test::own(pixels);
  EXPECT_EQ(listener.left_open.size(), 1U);
  EXPECT_EQ(read_mar_ccd_header(mar_ccd.c_str(), &info), 0);
  ASSERT_EQ(listener.left_open.size(), 2U);
  EXPECT_EQ(test::open_descriptors(), before + 2);
  EXPECT_EQ(fileclose("BKGPIX.XDS", nullptr, listener.left_open[0], listener.left_open[1]), 0);
  EXPECT_EQ(listener.closed, listener.left_open[0]);
  std::fclose(listener.left_open[1]);
  EXPECT_EQ(test::open_descriptors(), before);
  EXPECT_EQ(listener.open_error, 0);
}

TEST(Conversation, HearsWhyAFileCannotBeOpened) {
  Listener listener;
  EXPECT_FALSE(xrd::open_file("/missing/file", "r"));
  EXPECT_EQ(listener.open_error, ENOENT);
  EXPECT_FALSE(xrd::open_file("/", "w"));
  EXPECT_EQ(listener.open_error, EISDIR);
}

TEST(Conversation, HearsWhatLibtiffSaysOfItsFiles) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame.tif", "no TIFF");
  expect_silence([&] {
    Listener listener;
    unsigned int* pixels = nullptr;
    int width = 0;
    int height = 0;
    read_tiff(path.c_str(), &pixels, 0, &width, &height);
    ASSERT_EQ(listener.libtiff.size(), 1U);
    EXPECT_EQ(listener.libtiff[0], path + ": Cannot read TIFF header");
    EXPECT_EQ(listener.out, "# \033[0mERROR\033[0m reading file " + path + "\n");
  });
}

TEST(Conversation, LibtiffsWarningsAreSilencedToItsEndAndNotForTheProcess) {
  constexpr unsigned kTagOfNobody = 65000;
  const test::TemporaryDirectory directory;
  const std::string path =
      directory.write("frame.tif", test::TiffBuilder(1, 1).tag(kTagOfNobody, 1).strip("ab").bytes());
  const auto warnings_to = [&](const Listener& listener) {
    const std::size_t before = listener.libtiff.size();
    xrd::open_tiff(path.c_str());
    return listener.libtiff.size() - before;
  };
  expect_silence([&] {
    {
      const Listener listener;
      EXPECT_EQ(warnings_to(listener), 1U);
      xrd::silence_tiff_warnings();
      EXPECT_EQ(warnings_to(listener), 0U);
    }
    const Listener next;
    EXPECT_EQ(warnings_to(next), 1U);
  });
  EXPECT_NE(test::capture([&] { xrd::open_tiff(path.c_str()); }).err.find("65000"), std::string::npos);
}

TEST(Conversation, AnAssertionMayThrow) {
  class Refusing : public Listener {
   public:
    void fail_assertion() override { throw Refusal("no memory"); }
  };
  const Refusing refusing;
  EXPECT_THROW(xrd::fail_assertion("Daten", "pck_format", 156, "new_read_pck"), Refusal);
}

TEST(ConversationDeathTest, AnAssertionThatNobodyThrowsEndsTheProcess) {
  EXPECT_EXIT(
      {
        const Listener listener;
        xrd::fail_assertion("Daten", "pck_format", 156, "new_read_pck");
      },
      testing::KilledBySignal(SIGABRT), "pck_format:156: new_read_pck: Assertion `Daten' failed");
}

TEST(Conversation, TheNewestIsHeardAndTheOneBeforeItAgain) {
  expect_silence([] {
    Listener outer;
    xrd::print("a");
    {
      Listener inner;
      xrd::print("b");
      EXPECT_EQ(inner.out, "b");
      EXPECT_EQ(xrd::Conversation::current(), &inner);
    }
    xrd::print("c");
    EXPECT_EQ(outer.out, "ac");
  });
  EXPECT_EQ(xrd::Conversation::current(), nullptr);
}

TEST(Conversation, WhatItThrowsPassesAndItIsOver) {
  class Throwing : public Listener {
   public:
    void print(xrd::Channel /*channel*/, std::string_view text) override { throw Refusal(std::string(text)); }
  };
  try {
    const Throwing throwing;
    unsigned int pixel = 1;
    invert_data(&pixel, 1);
    FAIL() << "nothing was thrown";
  } catch (const Refusal& refusal) {
    EXPECT_STREQ(refusal.what(), "# Inverting Data...\n");
  }
  EXPECT_EQ(xrd::Conversation::current(), nullptr);
  EXPECT_EQ(test::capture([] { xrd::print("later"); }).out, "later");
}

TEST(Conversation, ThreadsDoNotMix) {
  constexpr int kLines = 1000;
  const auto output = test::capture([] {
    std::barrier start(3);
    const auto speak = [&](const char* word) {
      start.arrive_and_wait();
      for (int i = 0; i < kLines; ++i) xrd::print("%s\n", word);
    };
    std::string heard[2];
    const auto listen = [&](int index, const char* word) {
      const Listener listener;
      speak(word);
      heard[index] = listener.out;
    };
    std::thread first(listen, 0, "one");
    std::thread second(listen, 1, "two");
    speak("zero");
    first.join();
    second.join();
    for (const auto& [text, line] : {std::pair(heard[0], "one\n"), std::pair(heard[1], "two\n")}) {
      std::string expected;
      for (int i = 0; i < kLines; ++i) expected += line;
      EXPECT_EQ(text, expected);
    }
  });
  std::string expected;
  for (int i = 0; i < kLines; ++i) expected += "zero\n";
  EXPECT_EQ(output.out, expected);
}
