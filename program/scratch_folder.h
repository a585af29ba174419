// A private folder of this process, for files that other programs read.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/descriptor.h"

namespace program {

// In XDG_RUNTIME_DIR, or else in the system's temporary folder. It is removed when this object and all programs
// started meanwhile are gone, however they end: a separate process waits for them. So it lasts as long as a
// viewer that outlives the program which started it, and no longer.
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
  xrd::Descriptor held_;   // also held by programs that are started
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
