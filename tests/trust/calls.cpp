#include "tests/trust/calls.h"

#include <cstdlib>
#include <filesystem>

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
  tell_all("array", outputs.array, static_cast<std::size_t>(outputs.width) * static_cast<std::size_t>(outputs.height));
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
