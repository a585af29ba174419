#include "support/files.h"

#include <cerrno>

#include "support/conversation.h"

namespace xrd {

FileHandle open_file(const char* path, const char* mode) {
  FileHandle stream(std::fopen(path, mode));
  Conversation* const conversation = Conversation::current();
  if (!stream && conversation != nullptr) conversation->hear_open_error(errno);
  return stream;
}

std::FILE* leave_open(FileHandle stream) {
  Conversation* const conversation = Conversation::current();
  if (stream && conversation != nullptr) conversation->hear_left_open(stream.get());
  return stream.release();
}

int close_stream(std::FILE* stream) {
  if (Conversation* const conversation = Conversation::current()) conversation->hear_closed(stream);
  return std::fclose(stream);
}

}  // namespace xrd
