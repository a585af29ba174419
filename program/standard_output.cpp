#include "program/standard_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace program {

void require_standard_output() {
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) throw OutputError("standard output is not open for writing");
}

void finish_standard_output() {
  if (std::fflush(stdout) != 0) {
    throw OutputError(std::string("standard output cannot be written: ") + std::strerror(errno));
  }
  // The reason of the earlier failure is lost.
  if (std::ferror(stdout) != 0) throw OutputError("standard output cannot be written completely; is the disk full?");
}

}  // namespace program
