// What the flat functions print and ask while they run: their only way to the outside, except for the files that they
// read and write.
//
// Without a conversation they print to the standard streams, ask there, and end the process by the standard library's
// assertion. Callers of the library get this. The program and the Python package hold conversations, which
// gather what is printed, answer questions, and know which streams are left open.
#pragma once

#include <cstdio>
#include <span>
#include <string_view>

namespace xrd {

enum class Channel { kOutput, kError };

// Replaces the standard streams for the thread that makes it, as long as it lives. If a thread has several, the newest
// counts. A function that throws ends the flat function, whose objects clean up.
class Conversation {
 public:
  Conversation();
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;
  virtual ~Conversation();

  // The conversation of this thread; null for the standard streams.
  static Conversation* current();

  virtual void print(Channel channel, std::string_view text) = 0;
  // One line that answers the question, with a NUL. False if there is none.
  virtual bool ask(std::string_view question, std::span<char> answer) = 0;
  // A message of libtiff about a file that a flat function reads. The module is the name of a function or of the file,
  // or null.
  virtual void hear_libtiff(const char* module, const char* text) = 0;
  // Runs a shell command, and returns what std::system does.
  virtual int run(const char* command);
  // An assertion fails. The process ends unless this throws.
  virtual void fail_assertion() {}

  virtual void hear_open_error(int /*error*/) {}         // of a file that cannot be opened
  virtual void hear_left_open(std::FILE* /*stream*/) {}  // the function returns without closing it
  virtual void hear_closed(std::FILE* /*stream*/) {}     // a stream of the caller's

  bool wants_tiff_warnings = true;  // a flat function may turn them off for the rest of the conversation

 private:
  Conversation* outer_;
};

// These do what printf, puts, and printf to standard error do. A conversation receives the text instead.
[[gnu::format(printf, 1, 2)]] int print(const char* format, ...);
int print_line(const char* text);
[[gnu::format(printf, 1, 2)]] int print_error(const char* format, ...);

// Prints the question and reads the answer from standard input, or has the conversation answer. False when there is
// nothing to read.
bool ask(const char* question, std::span<char> answer);

// Runs a shell command. Returns what std::system does.
int run_command(const char* command);

// To be called before other programs print.
void flush_printed();

}  // namespace xrd
