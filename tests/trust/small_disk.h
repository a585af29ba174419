// A file system that is soon full.
#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace trust {

inline constexpr const char* kNotAllowed = "no file system can be mounted here: ";

// Mounts one of 1 MiB on the folder, for this process and those that it starts. Returns the error, which begins as
// above, where that is not allowed.
inline std::string mount_small_disk(const char* folder) {
  const int own_users = geteuid() == 0 ? 0 : CLONE_NEWUSER;
  const bool done = unshare(own_users | CLONE_NEWNS) == 0 &&
                    mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                    mount("tmpfs", folder, "tmpfs", 0, "size=1m") == 0;
  return done ? "" : kNotAllowed + std::string(std::strerror(errno));
}

}  // namespace trust
