// Shows an image through the outside programs zimg, a converter, and xv, a viewer.
#include <new>
#include <string>

#include "processing/extremes.h"
#include "support/arithmetic.h"
#include "support/conversation.h"
#include "support/image_size.h"
#include "support/message.h"
#include "support/shell.h"
#include "xrdimage.h"

namespace {

constexpr const char* kColormapFile = "colormap.zimg";

int show(const std::string& name, unsigned int* image, int width, int height, int divisor) {
  const std::string raw_name = name + ".raw";
  const std::string picture = xrd::shell_word(name + ".png");
  write_zimg(raw_name.c_str(), image, width * height);
  const unsigned int largest = xrd::find_largest(image, width, height);
  write_colormap(kColormapFile);

  // The converter takes the number of rows first.
  const std::string command = std::string("zimg --colormap=") + kColormapFile + " --unsigned-short -r " +
                              std::to_string(height) + "x" + std::to_string(width) + " --absolute=0-" +
                              std::to_string(static_cast<int>(xrd::signed_quotient(largest, divisor))) + " -o " +
                              picture + " " + xrd::shell_word(raw_name) + "; xv " + picture;
  xrd::print("%s\n", command.c_str());
  xrd::flush_printed();                      // the line comes before the output of the programs
  return xrd::run_command(command.c_str());  // callers rely on the command
}

}  // namespace

extern "C" int view(const char* name, unsigned int* Daten, int x, int y, int divisor) {
  if (!xrd::allocatable_pixels(x, y)) {
    xrd::print("# " XRD_RED_ERROR " cannot show %d x %d pixels\n", x, y);
    return -1;
  }
  try {
    return show(name, Daten, x, y, divisor);
  } catch (const std::bad_alloc&) {
    xrd::print("# " XRD_RED_ERROR " no memory to show %s\n", name);
    return -1;
  }
}
