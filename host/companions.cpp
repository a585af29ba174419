#include "host/companions.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace host {

void add_companions_to_path() {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const std::filesystem::path companions = (program.parent_path() / XRDIMAGE_WAY_TO_COMPANIONS).lexically_normal();
  const char* path = std::getenv("PATH");
  const std::string folders = path == nullptr ? "/usr/local/bin:/usr/bin:/bin" : path;
  setenv("PATH", (folders + ":" + companions.string()).c_str(), 1);
}

}  // namespace host
