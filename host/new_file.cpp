#include "host/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>

#include "host/failure.h"
#include "host/signals.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// The file that an interrupt takes away: in memory that a signal handler may read.
std::array<char, PATH_MAX> interrupted_file{};
volatile std::sig_atomic_t has_interrupted_file = 0;

void remove_and_end(int signal) {
  if (has_interrupted_file != 0) unlink(interrupted_file.data());
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void remove_on_interrupt(const std::string& path) {
  interrupted_file.back() = '\0';
  std::strncpy(interrupted_file.data(), path.c_str(), interrupted_file.size() - 1);
  has_interrupted_file = 1;
  for (const int signal : kInterrupts) {
    // One that was ignored, as under nohup, stays ignored.
    if (std::signal(signal, remove_and_end) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

// Makes a file whose name is not taken, as it may be by a process of this number on another computer, or by what a
// killed one has left. Returns its descriptor, or -1 with an error.
int open_temporary(const fs::path& folder, std::string& path, Interrupts interrupts) {
  constexpr int kMostAttempts = 1000;
  const std::string prefix = ".xrdimage-" + std::to_string(getpid()) + "-";
  int descriptor = -1;
  // Interrupts wait until it is known which file they are to take away.
  const xrd::BlockedSignals blocked(signal_set(kInterrupts));
  for (int attempt = 0; descriptor < 0 && attempt < kMostAttempts; ++attempt) {
    path = (folder / (prefix + std::to_string(attempt) + ".part")).string();
    descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && errno != EEXIST) break;
  }
  const int error = errno;
  if (descriptor >= 0 && interrupts == Interrupts::kRemoveFile) remove_on_interrupt(path);
  errno = error;
  return descriptor;
}

// What the symbolic links lead to, be it there or not.
fs::path behind_links(fs::path path) {
  constexpr int kMostLinks = 40;  // as the system has it
  std::error_code error;
  for (int links = 0; links < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++links) {
    path = path.parent_path() / fs::read_symlink(path);
  }
  return path;
}

// The permissions of the file that is to be replaced; nothing when there is none. A Failure for what must not be
// replaced.
std::optional<mode_t> replaced_permissions(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  if (S_ISDIR(status.st_mode)) throw Failure(path, "is a directory", EISDIR);
  // Renaming would put a file in the place of a device.
  if (!S_ISREG(status.st_mode)) throw Failure(path, "is not a regular file", EINVAL);
  // Renaming asks for the folder's permissions only, but who takes a file's away wants it to stay.
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) throw Failure(path, std::strerror(errno), errno);
  return status.st_mode & 07777;
}

}  // namespace

NewFile::NewFile(const std::string& path, Interrupts interrupts) : interrupts_(interrupts), path_(path) {
  const std::optional<mode_t> permissions = replaced_permissions(path);
  const fs::path target = behind_links(path);
  target_path_ = target.string();
  const int descriptor = open_temporary(target.parent_path(), temporary_path_, interrupts);
  if (descriptor < 0) throw Failure(path, std::strerror(errno), errno);
  stream_.reset(fdopen(descriptor, "w+b"));
  if (stream_ == nullptr || (permissions && fchmod(descriptor, *permissions) != 0)) {
    const int error = errno;
    if (stream_ == nullptr) close(descriptor);
    discard();
    throw Failure(path, std::strerror(error), error);
  }
}

NewFile::~NewFile() {
  if (!temporary_path_.empty()) discard();
}

void NewFile::discard() const {
  unlink(temporary_path_.c_str());
  forget();
}

// Interrupts have nothing to take away any more.
void NewFile::forget() const {
  if (interrupts_ == Interrupts::kRemoveFile) has_interrupted_file = 0;
}

void NewFile::fail(int error) const {
  throw Failure(path_, std::string("cannot be written: ") + std::strerror(error), error);
}

void NewFile::commit() {
  if (std::ferror(stream_.get()) != 0) throw Failure(path_, "cannot be written completely; is the disk full?");
  if (std::fflush(stream_.get()) != 0) fail(errno);
  // Some file systems report a full disk only now.
  if (std::fclose(stream_.release()) != 0) fail(errno);
  if (std::rename(temporary_path_.c_str(), target_path_.c_str()) != 0) fail(errno);
  temporary_path_.clear();
  forget();
}

}  // namespace host
