// Reads from standard streams that signals do not cut short.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <span>

namespace xrd {

// Whether a signal, with a handler set up without SA_RESTART, ended a read. Streams treat this as an error, on pipes
// and terminals only; the next read goes on where this one ended.
inline bool was_interrupted(std::FILE* stream) {
  if (std::ferror(stream) == 0 || errno != EINTR) return false;
  std::clearerr(stream);
  return true;
}

// Returns how many bytes were read: fewer than requested only at the end of the file, or after an error.
inline std::size_t read_bytes(void* target, std::size_t bytes, std::FILE* stream) {
  auto* const first = static_cast<unsigned char*>(target);
  std::size_t read = 0;
  do {
    read += std::fread(first + read, 1, bytes - read, stream);
  } while (read < bytes && was_interrupted(stream));
  return read;
}

// The next byte of a locked stream; EOF at its end.
inline int next_byte(std::FILE* stream) {
  int byte = getc_unlocked(stream);
  while (byte == EOF && was_interrupted(stream)) byte = getc_unlocked(stream);
  return byte;
}

// Reads a line with its line feed, or as much of it as fits, and a NUL. False if there is nothing more to read.
inline bool read_line(std::span<char> line, std::FILE* stream) {
  std::size_t size = 0;
  flockfile(stream);
  for (int byte = 0; size + 1 < line.size() && byte != '\n';) {
    byte = next_byte(stream);
    if (byte == EOF) break;
    line[size++] = static_cast<char>(byte);
  }
  funlockfile(stream);
  line[size] = '\0';
  return size > 0;
}

}  // namespace xrd
