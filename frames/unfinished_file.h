// Files that are being written: their names begin with ".xrdimage-" and end in ".part". While its process lives, such a
// file is locked; what can be locked has been left behind by one that was killed, or by a power cut.
#pragma once

#include <sys/types.h>

#include <string>

#include "support/descriptor.h"

namespace frames {

struct UnfinishedFile {
  xrd::Descriptor descriptor;  // holds the lock
  std::string name;            // in its folder
};

// Makes a file whose name is not taken, with these permissions less those of the umask. Without a descriptor, and with
// an error, when there is none to be had. Where the file system knows no locks there is none.
UnfinishedFile make_unfinished_file(int folder, mode_t permissions);

// Removes the files that this user's processes have left unfinished, once in the life of this process: folders may be
// large. Those of other computers are removed when they are a day old, as not all network file systems share locks.
void remove_left_files(int folder);

}  // namespace frames
