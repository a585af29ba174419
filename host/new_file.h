// Files that appear under their name only when they are complete.
#pragma once

#include <cstdio>
#include <string>

#include "support/files.h"

namespace host {

// Whether the signals that interrupt a program are the file's to handle, or those of the process that it is written in.
enum class Interrupts { kRemoveFile, kAreLeftAlone };

// Written under a temporary name in the folder of `path`, and renamed by commit(). A file that is not committed
// vanishes, with kRemoveFile also when the program is interrupted; then there is one at a time. What an existing `path`
// holds stays untouched until then. A new file has the permissions of the one that it replaces, which must be writable.
class NewFile {
 public:
  explicit NewFile(const std::string& path, Interrupts interrupts = Interrupts::kRemoveFile);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  std::FILE* stream() { return stream_.get(); }

  // Finds out whether all bytes could be written, and renames the file. Throws a Failure otherwise.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;
  void discard() const;
  void forget() const;

  Interrupts interrupts_;
  std::string path_;         // as the user gave it
  std::string target_path_;  // behind symbolic links
  std::string temporary_path_;
  xrd::FileHandle stream_;
};

}  // namespace host
