#include "host/library_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/failure.h"
#include "host/memory_file.h"
#include "support/files.h"

namespace host {

namespace {

// Standard output goes to a memory file, until the end of this object's life.
class DivertedOutput {
 public:
  explicit DivertedOutput(bool errors_too) : saved_stderr_(stderr) {
    std::fflush(stdout);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (saved_ < 0 || dup2(file_.descriptor(), STDOUT_FILENO) < 0)
      throw Failure("standard output", std::strerror(errno));
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
    if (!stream_) throw Failure("standard input", std::strerror(errno));
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
    std::fputs(printed.substr(printed.rfind('\n') + 1).c_str(), stderr);
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

// The length of the UTF-8 sequence of more than one byte that the text begins with; 0 if there is none.
std::size_t utf8_sequence(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  return std::ranges::all_of(text.substr(1, length - 1), continues) ? length : 0;
}

// The library's German is ISO-8859-1, but a path in its messages is what the user gave, mostly UTF-8: only bytes that
// are no UTF-8 are converted.
std::string to_utf8(std::string_view text) {
  std::string converted;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text.front());
    std::size_t taken = 1;
    if (byte < 0x80) {
      converted.push_back(text.front());
    } else if (const std::size_t length = utf8_sequence(text); length > 0) {
      converted.append(text.substr(0, length));
      taken = length;
    } else {
      converted.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      converted.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
    text.remove_prefix(taken);
  }
  return converted;
}

// Takes out the sequences that switch colours: "\033[", numbers, "m".
std::string without_colours(std::string_view line) {
  std::string plain;
  for (;;) {
    const std::size_t escape = line.find("\033[");
    plain.append(line.substr(0, escape));
    if (escape == std::string_view::npos) return plain;
    const std::size_t end = line.find('m', escape);
    if (end == std::string_view::npos) return plain;
    line.remove_prefix(end + 1);
  }
}

// What a line says behind the word, ERROR or WARNING. The word counts where the library put it, in colours or as
// "WORD> " at the line's beginning, and not in a path.
std::optional<std::string_view> text_behind(std::string_view line, std::string_view word) {
  const std::string coloured = std::string(word) + "\033[0m";
  std::size_t end = 0;
  if (const std::size_t at = line.find(coloured); at != std::string_view::npos && at > 0 && line[at - 1] == 'm') {
    end = at + coloured.size();
  } else if (line.starts_with(word) && line.substr(word.size()).starts_with('>')) {
    end = word.size() + 1;
  } else {
    return std::nullopt;
  }
  const std::string_view text = line.substr(end);
  const std::size_t first = text.find_first_not_of(" :");
  if (first == std::string_view::npos) return std::string_view();
  return text.substr(first, text.find_last_not_of(" :.") + 1 - first);
}

void parse_line(std::string_view line, LibraryReport& report) {
  if (const auto text = text_behind(line, "ERROR")) {
    report.errors.push_back(without_colours(*text));
  } else if (const auto warning = text_behind(line, "WARNING")) {
    report.warnings.push_back(without_colours(*warning));
  } else if (line.starts_with("    ") && !report.warnings.empty()) {
    // The warning goes on.
    report.warnings.back().append(" ").append(line.substr(line.find_first_not_of(' ')));
  }
  report.lines.push_back(without_colours(line));
}

}  // namespace

LibraryReport parse_library_output(std::string_view output) {
  LibraryReport report;
  const std::string text = to_utf8(output);
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    parse_line(rest.substr(0, length), report);
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return report;
}

LibraryReport run_library(const Settings& settings, const LibraryCall& options, const std::function<void()>& call) {
  std::string printed;
  {
    const DivertedOutput output(options.divert_errors);
    const DivertedInput input(output, options.answer);
    call();
    printed = output.printed();
  }
  LibraryReport report = parse_library_output(printed);
  if (settings.verbose) {
    for (const std::string& line : report.lines) std::printf("%s\n", line.c_str());
  }
  return report;
}

std::string joined_errors(const LibraryReport& report, const std::string& path) {
  std::string joined;
  for (std::string_view error : report.errors) {
    const std::string reading = "READING " + path + ": ";
    const std::string about = " for " + path;
    if (error.starts_with(reading)) error.remove_prefix(reading.size());
    if (error.ends_with(about)) error.remove_suffix(about.size());
    if (!joined.empty()) joined += "; ";
    joined += error;
  }
  return joined;
}

}  // namespace host
