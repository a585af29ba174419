// A folder of this process alone, for files that outside programs are to read.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/descriptor.h"

namespace program {

// In XDG_RUNTIME_DIR or else the system's temporary folder. It is removed when neither this object nor a program that
// was started meanwhile is left, however they end: a process of its own waits for them. So it is there as long as a
// viewer that is still at work behind the program that started it, and no longer.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::string& path() const { return path_; }

 private:
  void start_keeper();

  std::string path_;
  xrd::Descriptor ended_;  // reads an end of file when nobody holds `held_` any more
  xrd::Descriptor held_;   // programs that are started hold it, too
  pid_t keeper_ = -1;
};

// While it lives, a folder is the working directory.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& path);
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;
  ~WorkingDirectory();

 private:
  xrd::Descriptor before_;
};

}  // namespace program
