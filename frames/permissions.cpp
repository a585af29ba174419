#include "frames/permissions.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/xattr.h>

#include <cerrno>
#include <optional>
#include <string>

namespace frames {

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";

// The file's list as bytes; empty if the file has only permissions. Nothing if that is unknown.
std::optional<std::string> access_list(const OutputPlace& place, const struct stat& expected) {
  const xrd::Descriptor file(openat(place.folder.number(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat found {};
  // Another file may be there by now, and its owner's list may let anybody in.
  if (!file || fstat(file.number(), &found) != 0 || !is_same_file(found, expected)) return std::nullopt;
  std::string list(XATTR_SIZE_MAX, '\0');
  const std::string path = "/proc/self/fd/" + std::to_string(file.number());
  const ssize_t size = getxattr(path.c_str(), kAccessList, list.data(), list.size());
  if (size < 0) return errno == ENODATA || errno == ENOTSUP ? std::optional<std::string>("") : std::nullopt;
  list.resize(static_cast<std::size_t>(size));
  return list;
}

// For a folder that gives lists to all new files.
bool remove_list(int made) {
  return fremovexattr(made, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP;
}

// The group keeps only permissions that everybody has.
mode_t without_group(mode_t permissions) {
  return permissions & ~(S_IRWXG & ~((permissions & S_IRWXO) << 3U));
}

}  // namespace

bool take_permissions(int made, const OutputPlace& place, const struct stat& replaced) {
  struct stat status {};
  if (fstat(made, &status) != 0) return false;
  const std::optional<std::string> list = access_list(place, replaced);
  const bool is_same_group = replaced.st_gid == status.st_gid;
  const bool has_list = list && !list->empty();
  if (is_same_group && has_list && fsetxattr(made, kAccessList, list->data(), list->size(), 0) == 0) return true;
  const mode_t permissions = replaced.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  // With a list, the group's permissions are the most that the list may give, and not the group's.
  const bool are_the_groups = is_same_group && list && list->empty();
  return remove_list(made) && fchmod(made, are_the_groups ? permissions : without_group(permissions)) == 0;
}

}  // namespace frames
