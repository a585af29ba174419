// Files that appear under their name only when they are complete.
#pragma once

#include <cstdio>
#include <string>

#include "support/files.h"

namespace host {

// Written under a temporary name in the folder of `path`, and renamed by commit(). A file that is not committed
// vanishes, also when the program is interrupted. What an existing `path` holds stays untouched until then. One at a
// time.
class NewFile {
 public:
  explicit NewFile(const std::string& path);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  std::FILE* stream() { return stream_.get(); }

  // Finds out whether all bytes could be written, and renames the file. Throws a Failure otherwise.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;

  std::string path_;         // as the user gave it
  std::string target_path_;  // behind symbolic links
  std::string temporary_path_;
  xrd::FileHandle stream_;
};

}  // namespace host
