#include "frames/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frames/failure.h"
#include "frames/permissions.h"

namespace frames {

namespace {

constexpr mode_t kAnyPermissions = 0666;

// Some file systems cannot do this; that is no error.
bool sync(int descriptor) {
  int result = 0;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
}

bool is_unknown_to_the_file_system(int error) {
  return error == EINVAL || error == ENOSYS || error == ENOTSUP || error == EPERM;
}

// Renames within the folder if nothing has the new name. If the file system can, this includes a file that
// another process makes at the same moment.
bool rename_to_free_name(int folder, const char* from, const char* to) {
  if (renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) return true;
  if (!is_unknown_to_the_file_system(errno)) return false;
  if (linkat(folder, from, folder, to, 0) == 0) return unlinkat(folder, from, 0) == 0;
  if (!is_unknown_to_the_file_system(errno)) return false;
  struct stat status {};
  if (fstatat(folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return false;
  }
  return errno == ENOENT && renameat(folder, from, folder, to) == 0;
}

}  // namespace

void sync_folder(const xrd::Descriptor& folder, const std::string& path) {
  const xrd::Descriptor readable(openat(folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!readable) {
    ::sync();  // a folder that this user may only write to cannot be synced alone
  } else if (!sync(readable.number())) {
    cannot_be_written(path, errno);
  }
}

NewFile::NewFile(const std::string& path, Existing existing)
    : existing_(existing), path_(path), place_(output_place(path)) {
  const std::optional<struct stat> replaced = replaceable_file(place_, path_);
  if (replaced && existing_ == Existing::kIsRefused) refuse_existing();
  remove_left_files(place_.folder.number());
  const bool takes_permissions = replaced && replaced->st_uid == geteuid();
  make(takes_permissions ? replaced->st_mode & (S_IRUSR | S_IWUSR) : kAnyPermissions);
  try {
    const bool is_ready =
        open_stream() && (!takes_permissions || take_permissions(unfinished_.descriptor.number(), place_, *replaced));
    if (!is_ready) throw Failure(path_, std::strerror(errno), errno);
  } catch (...) {  // also when memory has run out
    discard();
    throw;
  }
}

NewFile::~NewFile() {
  if (!unfinished_.name.empty()) discard();
}

void NewFile::make(mode_t permissions) {
  unfinished_ = make_unfinished_file(place_.folder.number(), permissions);
  if (!unfinished_.descriptor) throw Failure(path_, std::strerror(errno), errno);
}

// With its own descriptor: that of the unfinished file holds the lock to the end.
bool NewFile::open_stream() {
  xrd::Descriptor copy(fcntl(unfinished_.descriptor.number(), F_DUPFD_CLOEXEC, 0));
  if (copy) stream_.reset(fdopen(copy.number(), "w+b"));
  if (stream_ != nullptr) copy.release();
  return stream_ != nullptr;
}

void NewFile::discard() const {
  unlinkat(place_.folder.number(), unfinished_.name.c_str(), 0);
}

void NewFile::fail(int error) const {
  cannot_be_written(path_, error);
}

void NewFile::refuse_existing() const {
  throw Failure(path_, kExistsAlready, EEXIST);
}

void NewFile::rename() const {
  const int folder = place_.folder.number();
  const char* const from = unfinished_.name.c_str();
  const char* const to = place_.name.c_str();
  if (existing_ == Existing::kIsReplaced) {
    replaceable_file(place_, path_);  // it may have changed since the beginning
    if (renameat(folder, from, folder, to) != 0) fail(errno);
  } else if (!rename_to_free_name(folder, from, to)) {
    if (errno == EEXIST) refuse_existing();
    fail(errno);
  }
}

void NewFile::commit(Names names) {
  if (std::ferror(stream_.get()) != 0) throw Failure(path_, "cannot be written completely; is the disk full?");
  if (std::fflush(stream_.get()) != 0) fail(errno);
  // Before the name: a file of that name is never empty after a power cut.
  if (!sync(unfinished_.descriptor.number())) fail(errno);
  // Some file systems report a full disk only now.
  if (std::fclose(stream_.release()) != 0) fail(errno);
  rename();
  unfinished_.name.clear();
  if (names == Names::kAtOnce) sync_folder(place_.folder, path_);
}

}  // namespace frames
