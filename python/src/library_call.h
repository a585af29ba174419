// Calls of the library's flat functions, which print messages and leave streams open.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/conversation.h"
#include "support/library_report.h"
#include "support/prompt.h"
#include "unlocked.h"

namespace python {

namespace py = pybind11;

// While it lives, what flat functions print in this thread is gathered here. The process' standard output, which
// belongs to Python, is left alone, and so are other threads.
class LibraryCall : public xrd::Conversation {
 public:
  // `answer` is for a function that asks for an image's size; without one, it uses its default.
  explicit LibraryCall(std::optional<xrd::DetectorSize> answer = std::nullopt) : answer_(answer) {}
  LibraryCall(const LibraryCall&) = delete;
  LibraryCall& operator=(const LibraryCall&) = delete;
  // Closes the streams that the call leaves open: Python's processes live long.
  ~LibraryCall() override;

  void print(xrd::Channel /*channel*/, std::string_view text) override { printed.append(text); }
  bool ask(std::string_view question, std::span<char> answer) override;
  void hear_libtiff(const char* module, const char* text) override;
  [[noreturn]] void fail_assertion() override;
  void hear_open_error(int error) override { open_error = error; }
  void hear_left_open(std::FILE* stream) override { left_open.push_back(stream); }
  void hear_closed(std::FILE* stream) override { closed = stream; }

  std::string printed;
  std::vector<std::string> tiff_messages;  // libtiff's errors and warnings
  int open_error = 0;                      // why the last file could not be opened
  std::vector<std::FILE*> left_open;
  std::FILE* closed = nullptr;  // the last of Python's streams that it closed

 private:
  std::optional<xrd::DetectorSize> answer_;
};

// Raises Python's OSError, or the class under it that suits the error.
[[noreturn]] void raise_os_error(int error, const std::string& path);
[[noreturn]] void raise_frame_error(const std::string& text);

// Bytes that are not UTF-8 are replaced.
py::str text_of(const std::string& utf8);
// A message, which may reach a terminal.
py::str message_of(const std::string& text);

// Sends lines to Python's logging, as messages of the logger "xrdimage".
void log_lines(const std::vector<std::string>& lines);

struct CallOptions {
  const std::string* path = nullptr;  // the file that the function opens
  std::optional<xrd::DetectorSize> answer = std::nullopt;
  bool errors_are_results = false;  // the returned value shows failures
};

struct CallOutcome {
  xrd::LibraryReport report;
  std::vector<std::string> tiff_messages;
  int open_error = 0;
};

// Raises the error of a call, or else logs its lines. libtiff's messages about the file are logged first.
void finish_call(const CallOutcome& outcome, const CallOptions& options);

// Runs the function without Python's lock.
template <typename Function>
CallOutcome run_call(const CallOptions& options, Function function) {
  std::string printed;
  CallOutcome outcome;
  {
    const Unlocked unlocked;
    LibraryCall call(options.answer);
    function();
    printed = call.printed;
    outcome.tiff_messages = call.tiff_messages;
    outcome.open_error = call.open_error;
  }
  outcome.report = xrd::parse_library_output(printed);
  return outcome;
}

// The same, and raises or logs what it printed: a file that could not be opened is an OSError, an ERROR line a
// FrameError.
template <typename Function>
void call_library(const CallOptions& options, Function function) {
  finish_call(run_call(options, function), options);
}

}  // namespace python
