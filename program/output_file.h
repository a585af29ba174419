// Files that the program writes; an interrupt leaves no unfinished one.
#pragma once

#include <optional>
#include <string>

#include "frames/new_file.h"

namespace program {

// A new file that also vanishes if a signal ends the program before commit(). There is one at a time.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path, frames::Existing existing = frames::Existing::kIsReplaced);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  std::FILE* stream() { return file_->stream(); }
  void commit(frames::Names names = frames::Names::kAtOnce) { file_->commit(names); }

 private:
  // Outlives the file, which is there until it is destroyed.
  struct Watch {
    Watch() = default;
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();
  };

  Watch watch_;
  std::optional<frames::NewFile> file_;
};

}  // namespace program
