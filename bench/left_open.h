// Closes the streams that some readers leave open for the life of the process, so that descriptors do not run out.
#pragma once

#include <unistd.h>

#include "support/files.h"

namespace bench {

class LeftOpen {
 public:
  // To be called before each run: its stream will get the lowest free descriptor.
  void close_last() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = fileno(xrd::open_file("/dev/null", "r").get());
  }

 private:
  int descriptor_ = -1;
};

}  // namespace bench
