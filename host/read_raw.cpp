// Frames without a header. The user states the size, by --size or when the library asks.
#include <cstdint>
#include <filesystem>

#include "host/failure.h"
#include "host/readers.h"
#include "xrdimage.h"

namespace host {

Frame read_raw_image(const ReadRequest& request) {
  Frame frame;
  call_reader(request, [&] {
    unsigned int* daten = nullptr;
    read_raw(request.path.c_str(), &daten, &frame.size.width, &frame.size.height);
    frame.daten.reset(daten);
  });
  // The library fills up a short file with zeros and leaves out what a long one has too much.
  const std::uintmax_t expected = frame.pixels().size() * sizeof(std::uint16_t);
  const std::uintmax_t present = std::filesystem::file_size(request.path);
  if (present < expected) {
    report_damage(request, "is truncated: " + std::to_string(frame.size.width) + " x " +
                               std::to_string(frame.size.height) + " pixels take " + std::to_string(expected) +
                               " bytes, there are " + std::to_string(present));
  } else if (present > expected) {
    warn(request.path, std::to_string(present - expected) + " bytes behind the last pixel are ignored");
  }
  return frame;
}

}  // namespace host
