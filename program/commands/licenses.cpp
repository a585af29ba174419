// xrdimage licenses: what those ask who pass the program on.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "program/license_text.h"
#include "program/program.h"

namespace program {

Action define_licenses(CLI::App& command, const Settings& /*settings*/) {
  command.footer("Example:\n  xrdimage licenses | less");
  return [] {
    std::fputs(kLicenses, stdout);
    return 0;
  };
}

}  // namespace program
