#include "tests/trust/calls.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/trust/memory.h"

namespace {

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
bool runs_commands = true;
int commands = 0;
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

extern "C" {
int __real_system(const char* command);
int __wrap_system(const char* command);
}

// The library's way to the shell.
int __wrap_system(const char* command) {
  ++commands;
  return runs_commands ? __real_system(command) : 256;
}

namespace trust {

NoCommands::NoCommands() {
  runs_commands = false;
  commands = 0;
}

NoCommands::~NoCommands() {
  runs_commands = true;
}

int NoCommands::count() {
  return commands;
}

void Scene::tell(const Outputs& outputs) {
  tell("size", std::to_string(outputs.width) + "x" + std::to_string(outputs.height));
  if (outputs.array == &Outputs::before) {
    tell("array", "untouched");
    return;
  }
  if (outputs.width < 0 || outputs.height < 0) {
    tell("array", "wrong");
    return;
  }
  const std::size_t pixels = static_cast<std::size_t>(outputs.width) * static_cast<std::size_t>(outputs.height);
  // 0 unless memory was watched. Empty images are allocated too.
  const std::size_t bytes = memory::size_of(outputs.array);
  const std::size_t needed = pixels * sizeof(unsigned int);
  if (bytes != 0 && (bytes < needed || bytes > std::max(needed, sizeof(unsigned int)))) {
    tell("array", "wrong");
    return;
  }
  tell_all("array", outputs.array, pixels);
  std::free(outputs.array);
}

void Scene::tell_file(const std::string& name) {
  if (!std::filesystem::exists(name)) {
    tell(name, "absent");
    return;
  }
  const std::string bytes = test::read_file(name);
  tell_all(name, bytes.data(), bytes.size());
}

std::vector<Call> calls() {
  std::vector<Call> all = file_calls();
  for (const Call& call : pixel_calls()) all.push_back(call);
  return all;
}

}  // namespace trust
