#include "frames/unfinished_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "support/fork.h"

namespace frames {

namespace {

constexpr std::string_view kPrefix = ".xrdimage-";
constexpr std::string_view kSuffix = ".part";

struct FolderCloser {
  void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// How names given by this computer begin.
std::string own_prefix() {
  std::array<char, HOST_NAME_MAX + 1> host{};
  gethostname(host.data(), host.size() - 1);
  std::string name = host.data();
  std::ranges::replace_if(
      name, [](unsigned char letter) { return std::isalnum(letter) == 0 && letter != '-'; }, '_');
  return std::string(kPrefix) + name + ".";
}

enum class Lock { kTaken, kOfAnother, kUnknown };

// A lock of this kind belongs to the open file, also on network file systems, and is never shared with other files
// of this process.
Lock lock(const xrd::Descriptor& file) {
  if (flock(file.number(), LOCK_EX | LOCK_NB) == 0) return Lock::kTaken;
  return errno == EWOULDBLOCK ? Lock::kOfAnother : Lock::kUnknown;
}

// Nobody else can have put it there, and it is a plain file with one name.
bool is_own_file(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
}

std::optional<struct stat> status_in(int folder, const std::string& name) {
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return status;
}

bool is_old(const struct stat& status) {
  constexpr std::time_t kDay = 86400;  // seconds
  return std::time(nullptr) - status.st_mtime > kDay;
}

void remove_when_left(int folder, const std::string& name) {
  const auto before = status_in(folder, name);
  if (!before || !is_own_file(*before) || (!name.starts_with(own_prefix()) && !is_old(*before))) return;
  const xrd::Descriptor file(openat(folder, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file || lock(file) != Lock::kTaken) return;
  struct stat locked {};
  const auto now =
      status_in(folder, name);  // its process may have finished it, and another may have begun one of that name
  const bool is_locked_one =
      now && fstat(file.number(), &locked) == 0 && now->st_dev == locked.st_dev && now->st_ino == locked.st_ino;
  if (is_locked_one && is_own_file(locked)) unlinkat(folder, name.c_str(), 0);
}

std::vector<std::string> unfinished_files(int folder) {
  std::vector<std::string> names;
  xrd::Descriptor readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, FolderCloser> stream(readable ? fdopendir(readable.number()) : nullptr);
  if (stream == nullptr) return names;
  readable.release();  // the stream's from now on
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name(entry->d_name);
    if (name.starts_with(kPrefix) && name.ends_with(kSuffix)) names.emplace_back(name);
  }
  return names;
}

std::mutex noting;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
const int noting_in_forks = xrd::keep_free_in_forks<noting>();

// Whether this is the first time.
bool note_folder(int folder) {
  static std::set<std::pair<dev_t, ino_t>> noted;
  struct stat status {};
  const std::lock_guard guard(noting);
  return fstat(folder, &status) == 0 && noted.emplace(status.st_dev, status.st_ino).second;
}

}  // namespace

UnfinishedFile make_unfinished_file(int folder, mode_t permissions) {
  constexpr int kMostAttempts = 1000;
  const std::string prefix = own_prefix() + std::to_string(getpid()) + "-";
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    UnfinishedFile file;
    file.name = prefix + std::to_string(attempt) + std::string(kSuffix);
    file.descriptor = xrd::Descriptor(
        openat(folder, file.name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, permissions));
    if (!file.descriptor && errno != EEXIST) return file;
    if (!file.descriptor) continue;
    struct stat status {};
    const bool is_locked = lock(file.descriptor) != Lock::kOfAnother;
    // Before it was locked, another process may have taken it for an abandoned file, and removes it or has removed it.
    if (is_locked && fstat(file.descriptor.number(), &status) == 0 && status.st_nlink > 0) return file;
  }
  errno = EEXIST;
  return {};
}

void remove_left_files(int folder) {
  if (!note_folder(folder)) return;
  for (const std::string& name : unfinished_files(folder)) remove_when_left(folder, name);
}

}  // namespace frames
