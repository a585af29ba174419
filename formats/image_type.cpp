// Image type detection, by the output of `file` for a path or by the path itself.
//
// The readers beside it return what their callers have always had. True counts come from the loaders in
// frames/readers/, which are separate parsers on purpose.
#include <array>
#include <new>
#include <string>

#include "support/conversation.h"
#include "support/message.h"
#include "support/shell.h"
#include "xrdimage.h"

namespace {

struct Probe {
  const char* word;
  int type;
};

// The order decides ties: a TIFF is one whatever else its name holds, and "xi" matches almost anything.
constexpr std::array<Probe, 12> kProbes{{
    {"TIFF", IMAGE_TYPE_TIFF},
    {"tif", IMAGE_TYPE_TIFF},
    {"edf", IMAGE_TYPE_EDF},
    {"mar2300", IMAGE_TYPE_MAR2300},
    {"mar2000", IMAGE_TYPE_MAR2000},
    {"pck", IMAGE_TYPE_PCK},
    {"img", IMAGE_TYPE_IMG},
    {"IFF", IMAGE_TYPE_IFF},
    {"raw", IMAGE_TYPE_RAW},
    {"TRA", IMAGE_TYPE_TRA},
    {"tra", IMAGE_TYPE_TRA},
    {"xi", IMAGE_TYPE_XI},
}};

int probe_image_type(const char* filename) {
  const std::string path = xrd::shell_word(filename);
  std::string command;
  for (const Probe& probe : kProbes) {
    command.assign("file ").append(path).append(" | grep ").append(probe.word).append(" >/dev/null");
    if (xrd::run_command(command.c_str()) == 0) return probe.type;  // callers rely on the command
  }
  xrd::print("# " XRD_RED_ERROR " %s returned -1\n", command.c_str());
  return IMAGE_TYPE_UNKNOWN;
}

}  // namespace

extern "C" int get_image_type(const char* filename) {
  try {
    return probe_image_type(filename);
  } catch (const std::bad_alloc&) {
    xrd::print("# " XRD_RED_ERROR " no memory to look at %s\n", filename);
    return IMAGE_TYPE_UNKNOWN;
  }
}
