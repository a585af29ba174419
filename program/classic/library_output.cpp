#include "program/classic/library_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "frames/failure.h"
#include "program/classic/memory_file.h"
#include "program/print.h"
#include "support/conversation.h"
#include "support/reading.h"

namespace program {

namespace {

// Standard output goes to a memory file while this object lives.
class DivertedOutput {
 public:
  DivertedOutput() : saved_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)) {
    if (saved_ < 0 || dup2(file_.descriptor(), STDOUT_FILENO) < 0)
      throw frames::Failure("standard output", std::strerror(errno));
  }
  DivertedOutput(const DivertedOutput&) = delete;
  DivertedOutput& operator=(const DivertedOutput&) = delete;
  ~DivertedOutput() {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

  std::string contents() const { return file_.contents(); }

 private:
  MemoryFile file_;
  int saved_;
};

// Gathers the output of the call and of the programs that it runs. A question gets
// the given answer, or that of the user.
class Gathering : public xrd::Conversation {
 public:
  explicit Gathering(std::optional<std::string> answer) : answer_(std::move(answer)) {}

  const std::string& printed() const { return printed_; }

  void print(xrd::Channel /*channel*/, std::string_view text) override { printed_.append(text); }

  bool ask(std::string_view question, std::span<char> answer) override {
    printed_.append(question);
    if (!answer_) return ask_user(question, answer);
    const std::size_t size = answer_->copy(answer.data(), answer.size() - 1);
    answer[size] = '\0';
    return true;
  }

  int run(const char* command) override {
    const DivertedOutput output;
    const int status = Conversation::run(command);
    printed_.append(output.contents());
    return status;
  }

  // The library only says that something is wrong with a TIFF file; libtiff says what.
  void hear_libtiff(const char* module, const char* text) override {
    std::fputs(warning_line(module == nullptr ? "libtiff" : module, text).c_str(), stderr);
  }

 private:
  static bool ask_user(std::string_view question, std::span<char> answer) {
    const xrd::LibraryReport report = xrd::parse_library_output(question);
    for (const std::string& line : report.lines) {
      std::fputs(xrd::printable(line).c_str(), stderr);
    }
    std::fflush(stderr);
    // Exactly one line, however long: the next lines may answer the next questions.
    std::array<char, 4096> line{};
    if (!xrd::read_line(line, stdin)) return false;
    const std::string_view text(line.data());
    answer[text.copy(answer.data(), answer.size() - 1)] = '\0';
    return true;
  }

  std::optional<std::string> answer_;
  std::string printed_;
};

}  // namespace

xrd::LibraryReport run_library(const Settings& settings, const std::optional<std::string>& answer,
                               const std::function<void()>& call) {
  std::fflush(stdout);  // the program's lines come before those of libtiff and other programs
  std::string printed;
  {
    const Gathering conversation(answer);
    call();
    printed = conversation.printed();
  }
  xrd::LibraryReport report = xrd::parse_library_output(printed);
  if (settings.verbose) {
    for (const std::string& line : report.lines) std::printf("%s\n", xrd::printable(line).c_str());
  }
  return report;
}

}  // namespace program
