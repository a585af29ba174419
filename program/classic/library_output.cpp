#include "program/classic/library_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "frames/failure.h"
#include "program/classic/memory_file.h"
#include "program/print.h"
#include "support/files.h"

namespace program {

namespace {

// Standard output goes to a memory file, until the end of this object's life.
class DivertedOutput {
 public:
  explicit DivertedOutput(bool errors_too) : saved_stderr_(stderr) {
    std::fflush(stdout);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (saved_ < 0 || dup2(file_.descriptor(), STDOUT_FILENO) < 0)
      throw frames::Failure("standard output", std::strerror(errno));
    // The stream and not its descriptor: child processes go on writing to standard error.
    if (errors_too) stderr = stdout;
  }
  DivertedOutput(const DivertedOutput&) = delete;
  DivertedOutput& operator=(const DivertedOutput&) = delete;
  ~DivertedOutput() {
    std::fflush(stdout);
    stderr = saved_stderr_;
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

  std::string printed() const {
    std::fflush(stdout);
    return file_.contents();
  }

 private:
  MemoryFile file_;
  std::FILE* saved_stderr_;
  int saved_ = -1;
};

// Standard input is a stream that knows when the library reads from it. Then either the given answer is at hand, or
// the user is shown the question, which is the unfinished last line of the diverted output, and answers it.
class DivertedInput {
 public:
  DivertedInput(const DivertedOutput& output, std::optional<std::string> answer)
      : output_(output),
        answer_(std::move(answer)),
        saved_(stdin),
        stream_(fopencookie(this, "r", {read_line, nullptr, nullptr, nullptr})) {
    if (!stream_) throw frames::Failure("standard input", std::strerror(errno));
    stdin = stream_.get();
  }
  DivertedInput(const DivertedInput&) = delete;
  DivertedInput& operator=(const DivertedInput&) = delete;
  ~DivertedInput() { stdin = saved_; }

 private:
  static ssize_t read_line(void* self, char* buffer, std::size_t size) {
    return static_cast<DivertedInput*>(self)->read(buffer, size);
  }

  ssize_t read(char* buffer, std::size_t size) const {
    if (answer_) return static_cast<ssize_t>(answer_->copy(buffer, size));
    const std::string printed = output_.printed();
    const xrd::LibraryReport last = xrd::parse_library_output(printed.substr(printed.rfind('\n') + 1));
    for (const std::string& question : last.lines) std::fputs(xrd::printable(question).c_str(), stderr);
    std::fflush(stderr);
    // One line and no more: the next ones may answer the next questions.
    if (std::fgets(buffer, static_cast<int>(size), saved_) == nullptr) return 0;
    return static_cast<ssize_t>(std::strlen(buffer));
  }

  const DivertedOutput& output_;
  std::optional<std::string> answer_;
  std::FILE* saved_;
  xrd::FileHandle stream_;
};

}  // namespace

xrd::LibraryReport run_library(const Settings& settings, const LibraryCall& options,
                               const std::function<void()>& call) {
  std::string printed;
  {
    const DivertedOutput output(options.divert_errors);
    const DivertedInput input(output, options.answer);
    call();
    printed = output.printed();
  }
  xrd::LibraryReport report = xrd::parse_library_output(printed);
  if (settings.verbose) {
    for (const std::string& line : report.lines) std::printf("%s\n", xrd::printable(line).c_str());
  }
  return report;
}

}  // namespace program
