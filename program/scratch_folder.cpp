#include "program/scratch_folder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "frames/failure.h"
#include "support/blocked_signals.h"

namespace program {

namespace {

namespace fs = std::filesystem;

// Whether other users can replace a user's files there.
bool is_safe(const fs::path& folder) {
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
  const bool is_owners_alone = (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 || (status.st_mode & S_ISVTX) != 0;
  return is_owners_alone && (status.st_uid == geteuid() || status.st_uid == 0);
}

fs::path parent_folder() {
  const char* const own = std::getenv("XDG_RUNTIME_DIR");
  if (own != nullptr && *own == '/' && is_safe(own) && access(own, W_OK | X_OK) == 0) return own;
  std::error_code error;
  fs::path temporary = fs::temp_directory_path(error);
  if (error) throw frames::Failure("TMPDIR", error.message());
  temporary = fs::absolute(temporary);
  if (!is_safe(temporary)) throw frames::Failure(temporary.string(), "is a folder in which others can replace files");
  return temporary;
}

// Waits until nobody holds the other end of the pipe, and removes the folder. Belongs to no terminal, and keeps no file
// open that others wait for. All signals are blocked: they end the other processes, and this one ends last.
[[noreturn]] void keep(const std::string& folder, int pipe) {
  setsid();
  const int nothing = open("/dev/null", O_RDWR);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, standard);
  const int first_free = dup2(pipe, STDERR_FILENO + 1) + 1;
  close_range(static_cast<unsigned>(first_free), UINT_MAX, 0);
  chdir("/");
  char byte = 0;
  while (read(first_free - 1, &byte, 1) > 0) {
  }
  std::error_code error;
  fs::remove_all(folder, error);
  _exit(0);
}

}  // namespace

ScratchFolder::ScratchFolder() : path_((parent_folder() / "xrdimage-XXXXXX").string()) {
  sigset_t all;
  sigfillset(&all);
  // The waiting process removes the folder.
  const xrd::BlockedSignals blocked(all);
  if (mkdtemp(path_.data()) == nullptr) throw frames::Failure(path_, std::strerror(errno), errno);
  try {
    start_keeper();
  } catch (...) {
    rmdir(path_.c_str());
    throw;
  }
}

void ScratchFolder::start_keeper() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw frames::Failure(path_, std::strerror(errno), errno);
  ended_ = xrd::Descriptor(ends[0]);
  held_ = xrd::Descriptor(ends[1]);
  keeper_ = fork();
  if (keeper_ < 0) throw frames::Failure(path_, std::strerror(errno), errno);
  if (keeper_ == 0) {
    held_ = xrd::Descriptor();
    keep(path_, ended_.number());
  }
  fcntl(held_.number(), F_SETFD, 0);
  setenv("XRDIMAGE_SCRATCH", path_.c_str(), 1);  // for the program's own xv
}

ScratchFolder::~ScratchFolder() {
  unsetenv("XRDIMAGE_SCRATCH");
  held_ = xrd::Descriptor();
  pollfd ended{ended_.number(), 0, 0};
  // Viewers that are still running keep the folder until they end.
  if (poll(&ended, 1, 0) <= 0) return;
  while (waitpid(keeper_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

WorkingDirectory::WorkingDirectory(const std::string& path) : before_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
  if (!before_ || chdir(path.c_str()) != 0) throw frames::Failure(path, std::strerror(errno), errno);
}

WorkingDirectory::~WorkingDirectory() {
  fchdir(before_.number());
}

}  // namespace program
