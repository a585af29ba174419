#include "tests/program/program.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace test {

namespace fs = std::filesystem;

Result Workplace::run(const std::string& command, std::string_view input) const {
  const TemporaryDirectory streams;
  const std::string in = streams.write("in", input);
  const std::string out = streams.path("out");
  const std::string err = streams.path("err");
  const std::string script = "unset DISPLAY WAYLAND_DISPLAY; xrdimage='" XRDIMAGE_PROGRAM
                             "'; companions='" XRDIMAGE_COMPANIONS "'; " +
                             command;
  const std::string script_file = streams.write("script", script);
  const int status = std::system(("sh " + script_file + " <" + in + " >" + out + " 2>" + err).c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(out), read_file(err)};
}

Result Workplace::xrdimage(const std::string& arguments, std::string_view input) const {
  return run("exec \"$xrdimage\" " + arguments, input);
}

void Workplace::write_script(std::string_view name, const std::string& commands) const {
  const std::string path = directory_.path(name);
  fs::create_directories(fs::path(path).parent_path());
  write(name, "#!/bin/sh\n" + commands + "\n");
  fs::permissions(path, fs::perms::owner_all);
}

std::vector<std::string> Workplace::files() const {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

std::string mar345_words(std::uint32_t size, std::uint32_t overflows) {
  return little32(1234) + little32(size) + little32(overflows) + std::string(116, '\0');
}

std::string mar345_text(const std::vector<std::string>& lines) {
  std::string text;
  for (std::string line : lines) {
    line.resize(63, ' ');
    text += line + "\n";
  }
  text.resize(3968, ' ');
  return text;
}

std::string small_mar345() {
  const std::string text = mar345_text(
      {"PROGRAM        scanner Version 2", "DATE           Mon Jun  8 15:49:26 2009", "FORMAT         2  PCK 4",
       "HIGH           2", "PIXEL          LENGTH 150  HEIGHT 150", "OFFSET         ROFF 0  TOFF 0",
       "WAVELENGTH     1.54179", "DISTANCE       100.500", "PHI            START 10.000  END 11.500  OSC 1"});
  const std::string records = little32(2) + little32(256000) + little32(3) + little32(70000);
  // Four pixels of 5: one difference of 4 bits (bits 000 100 1010), then two and one of none (100 000, 000 000).
  return mar345_words(2, 2) + text + records + "\nCCP4 packed image, X: 0002, Y: 0002\n" + std::string("\x48\x05\0", 3);
}

}  // namespace test
