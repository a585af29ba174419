// xrdimage licenses: the licences, for people who pass the program on.
#include <cstdio>

#include "program/license_text.h"
#include "program/program.h"

namespace program {

Action define_licenses(Command& command, const Settings& /*settings*/) {
  command.set_footer("Example:\n  xrdimage licenses | less");
  return [] {
    std::fputs(kLicenses, stdout);
    return 0;
  };
}

}  // namespace program
