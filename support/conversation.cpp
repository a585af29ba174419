#include "support/conversation.h"

#include <cstdarg>
#include <cstdlib>
#include <string>
#include <utility>

#include "support/reading.h"

namespace xrd {

namespace {

constinit thread_local Conversation* current_conversation = nullptr;

std::string formatted(const char* format, std::va_list values) {
  std::va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return {};
  std::string text(static_cast<std::size_t>(length) + 1, '\0');  // and a NUL
  std::vsnprintf(text.data(), text.size(), format, values);
  text.pop_back();
  return text;
}

int print_to(Channel channel, const char* format, std::va_list values) {
  Conversation* const conversation = current_conversation;
  if (conversation == nullptr) return std::vfprintf(channel == Channel::kOutput ? stdout : stderr, format, values);
  const std::string text = formatted(format, values);
  conversation->print(channel, text);
  return static_cast<int>(text.size());
}

int run_in_shell(const char* command) {
  return std::system(command);  // NOLINT(cert-env33-c): callers rely on the command
}

}  // namespace

Conversation::Conversation() : outer_(std::exchange(current_conversation, this)) {}

Conversation::~Conversation() {
  current_conversation = outer_;
}

Conversation* Conversation::current() {
  return current_conversation;
}

int Conversation::run(const char* command) {
  return run_in_shell(command);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
int print(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print_to(Channel::kOutput, format, values);
  va_end(values);
  return length;
}

int print_line(const char* text) {
  return current_conversation == nullptr ? std::puts(text) : print("%s\n", text);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): likewise
int print_error(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const int length = print_to(Channel::kError, format, values);
  va_end(values);
  return length;
}

bool ask(const char* question, std::span<char> answer) {
  if (current_conversation != nullptr) return current_conversation->ask(question, answer);
  std::printf("%s", question);
  std::fflush(stdout);  // the question has no line feed, and the user waits for it
  return read_line(answer, stdin);
}

int run_command(const char* command) {
  return current_conversation == nullptr ? run_in_shell(command) : current_conversation->run(command);
}

void flush_printed() {
  if (current_conversation == nullptr) std::fflush(stdout);
}

}  // namespace xrd
