#include "frames/output_place.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "frames/failure.h"

namespace frames {

namespace {

namespace fs = std::filesystem;

// The folder of the path, with links followed, and the last name unchanged.
OutputPlace open_place(const fs::path& path, const std::string& given) {
  const fs::path folder = path.parent_path();
  OutputPlace place{xrd::Descriptor(open(folder.empty() ? "." : folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
                    path.filename().string()};
  if (!place.folder) throw Failure(given, std::strerror(errno), errno);
  if (place.name.empty() || place.name == "." || place.name == "..") throw Failure(given, "is a directory", EISDIR);
  return place;
}

std::optional<struct stat> status_of(const OutputPlace& place, const std::string& given) {
  struct stat status {};
  if (fstatat(place.folder.number(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
  if (errno != ENOENT) cannot_be_written(given, errno);
  return std::nullopt;
}

void check_type(const struct stat& status, const std::string& given) {
  if (S_ISDIR(status.st_mode)) throw Failure(given, "is a directory", EISDIR);
  // Renaming would replace a device by a file.
  if (!S_ISREG(status.st_mode)) throw Failure(given, "is not a regular file", EINVAL);
}

// The target of the link at this place. The kernel follows it, with its rules for links of other users, and names what
// it has found.
OutputPlace behind_link(const OutputPlace& link, const std::string& given) {
  const xrd::Descriptor target(openat(link.folder.number(), link.name.c_str(), O_PATH | O_CLOEXEC));
  if (!target && errno == ENOENT) throw Failure(given, "is a symbolic link to a file that does not exist", ENOENT);
  struct stat found {};
  if (!target || fstat(target.number(), &found) != 0) cannot_be_written(given, errno);
  check_type(found, given);
  OutputPlace place = open_place(fs::read_symlink("/proc/self/fd/" + std::to_string(target.number())), given);
  const std::optional<struct stat> there = status_of(place, given);
  if (!there || !is_same_file(found, *there)) throw Failure(given, "was moved meanwhile", EAGAIN);
  return place;
}

}  // namespace

bool is_same_file(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

void cannot_be_written(const std::string& path, int error) {
  throw Failure(path, std::string("cannot be written: ") + std::strerror(error), error);
}

OutputPlace output_place(const std::string& path) {
  if (path.empty()) cannot_be_written(path, ENOENT);
  OutputPlace place = open_place(path, path);
  const std::optional<struct stat> status = status_of(place, path);
  return status && S_ISLNK(status->st_mode) ? behind_link(place, path) : std::move(place);
}

std::optional<struct stat> replaceable_file(const OutputPlace& place, const std::string& path) {
  const std::optional<struct stat> status = status_of(place, path);
  if (!status) return std::nullopt;
  check_type(*status, path);
  // Renaming checks only the folder's permissions, but a write-protected file is meant to stay.
  if (faccessat(place.folder.number(), place.name.c_str(), W_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) != 0) {
    throw Failure(path, std::strerror(errno), errno);
  }
  return status;
}

}  // namespace frames
