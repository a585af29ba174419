#include "host/new_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/failure.h"

namespace host {

namespace fs = std::filesystem;

NewFile::NewFile(const std::string& path) : path_(path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) throw Failure(path, "is a directory");
  // Renaming would put a file in the place of a device.
  if (fs::exists(status) && !fs::is_regular_file(status)) throw Failure(path, "is not a regular file");
  const fs::path target = fs::exists(status) ? fs::canonical(path) : fs::path(path);
  target_path_ = target.string();
  temporary_path_ = (target.parent_path() / (".xrdimage-" + std::to_string(getpid()) + ".part")).string();

  const int descriptor = open(temporary_path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) throw Failure(path, std::strerror(errno));
  stream_.reset(fdopen(descriptor, "wb"));
}

NewFile::~NewFile() {
  if (!temporary_path_.empty()) unlink(temporary_path_.c_str());
}

void NewFile::fail(int error) const {
  throw Failure(path_, std::string("cannot be written: ") + std::strerror(error));
}

void NewFile::commit() {
  if (std::ferror(stream_.get()) != 0) throw Failure(path_, "cannot be written completely; is the disk full?");
  if (std::fflush(stream_.get()) != 0) fail(errno);
  // Some file systems report a full disk only now.
  if (std::fclose(stream_.release()) != 0) fail(errno);
  if (std::rename(temporary_path_.c_str(), target_path_.c_str()) != 0) fail(errno);
  temporary_path_.clear();
}

void NewFile::commit(std::uintmax_t expected_size) {
  const std::uintmax_t size = fs::file_size(temporary_path_);
  if (size != expected_size) {
    throw Failure(path_, "cannot be written: only " + std::to_string(size) + " of " + std::to_string(expected_size) +
                             " bytes found room");
  }
  commit();
}

}  // namespace host
