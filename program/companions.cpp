#include "program/companions.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace program {

namespace {

// The absolute folders of PATH. An empty one would be the working directory.
std::string absolute_folders(const std::string& path) {
  std::string folders;
  std::istringstream elements(path);
  for (std::string folder; std::getline(elements, folder, ':');) {
    if (folder.starts_with('/')) folders.append(folders.empty() ? "" : ":").append(folder);
  }
  return folders;
}

}  // namespace

void clean_path() {
  const char* path = std::getenv("PATH");
  const std::string folders = absolute_folders(path == nullptr ? "" : path);
  setenv("PATH", folders.empty() ? "/usr/local/bin:/usr/bin:/bin" : folders.c_str(), 1);
}

void add_companions_to_path() {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const std::filesystem::path companions = (program.parent_path() / XRDIMAGE_WAY_TO_COMPANIONS).lexically_normal();
  if (companions.string().find(':') != std::string::npos) return;  // PATH would take it for two
  setenv("PATH", (std::getenv("PATH") + (":" + companions.string())).c_str(), 1);
}

}  // namespace program
