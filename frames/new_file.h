// Files that appear under their name only when they are complete.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "frames/output_place.h"
#include "frames/unfinished_file.h"
#include "support/files.h"

namespace frames {

// What becomes of a file that is there already.
enum class Existing { kIsReplaced, kIsRefused };

inline constexpr const char* kExistsAlready = "exists already; --overwrite replaces it";

// When new names are made safe from a power cut: for many files in a folder it takes less time to do that once.
enum class Names { kAtOnce, kLater };

// Makes the names in a folder safe. A Failure, which names the path, when that cannot be.
void sync_folder(const xrd::Descriptor& folder, const std::string& path);

// Written under a temporary name in the folder of `path`, and renamed by commit(). A file that is not committed
// vanishes. What an existing `path` holds stays untouched until then; it must be writable. A new file has the
// permissions of the one of the same owner that it replaces, and its list of access, without those to act as its owner
// or group; those of the group only if it is the same group.
class NewFile {
 public:
  explicit NewFile(const std::string& path, Existing existing = Existing::kIsReplaced);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  std::FILE* stream() { return stream_.get(); }

  // Where the file is until it is committed, for those who remove it when a signal ends the process.
  int folder() const { return place_.folder.number(); }
  const std::string& unfinished_name() const { return unfinished_.name; }

  // Finds out whether all bytes could be written, and renames the file. When it returns, the bytes are safe from a
  // power cut; the name is with kAtOnce, otherwise after sync_folder(). Throws a Failure when that cannot be.
  void commit(Names names = Names::kAtOnce);

 private:
  [[noreturn]] void fail(int error) const;
  [[noreturn]] void refuse_existing() const;
  void make(mode_t permissions);
  bool open_stream();
  void rename() const;
  void discard() const;

  Existing existing_;
  std::string path_;  // as the user gave it
  OutputPlace place_;
  UnfinishedFile unfinished_;  // no name when it has that of `place_`
  xrd::FileHandle stream_;
};

}  // namespace frames
