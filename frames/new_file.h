// Files that get their name only when they are complete.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <string>

#include "frames/output_place.h"
#include "frames/unfinished_file.h"
#include "support/files.h"

namespace frames {

// What happens to a file that already exists.
enum class Existing { kIsReplaced, kIsRefused };

inline constexpr const char* kExistsAlready = "already exists; replace it with --overwrite";

// When new names are made safe from a power cut: for many files in a folder, once is faster.
enum class Names { kAtOnce, kLater };

// Makes the names in a folder safe. Throws a Failure, which names the path.
void sync_folder(const xrd::Descriptor& folder, const std::string& path);

// Written under a temporary name in the folder of `path`, and renamed by commit(). A file that is not committed
// vanishes. An existing file stays untouched until then; it must be writable. A new file has the
// permissions and the access list of the file that it replaces, if the owner is the same, without the set-user-ID
// and set-group-ID bits; the group's permissions only if the group is the same.
class NewFile {
 public:
  explicit NewFile(const std::string& path, Existing existing = Existing::kIsReplaced);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  std::FILE* stream() { return stream_.get(); }

  // The file's place until it is committed, for code that removes it when a signal ends the process.
  int folder() const { return place_.folder.number(); }
  const std::string& unfinished_name() const { return unfinished_.name; }

  // Checks that all bytes were written, and renames the file. When it returns, the bytes are safe from a
  // power cut. The name is safe at once with kAtOnce, otherwise after sync_folder(). Throws a Failure.
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
  UnfinishedFile unfinished_;  // nameless once it has the name of `place_`
  xrd::FileHandle stream_;
};

}  // namespace frames
