// Files that are being written: their names begin with ".xrdimage-" and end in ".part". While its process lives, such a
// file is locked. One that can be locked was left behind by a killed process or a power cut.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/descriptor.h"

namespace frames {

struct UnfinishedFile {
  xrd::Descriptor descriptor;  // holds the lock
  std::string name;            // in its folder
};

// Makes a file with an unused name, and with these permissions less those of the umask. On failure there is no
// descriptor, but an error. Without a lock if the file system has no locks.
UnfinishedFile make_unfinished_file(int folder, mode_t permissions);

// Removes the files that this user's processes have left unfinished, once in the life of this process: folders may be
// large. Those of other computers are removed when they are a day old, as not all network file systems share locks.
void remove_left_files(int folder);

}  // namespace frames
