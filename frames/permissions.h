// What a file takes over from the one that it replaces of who may read and write it.
#pragma once

#include <sys/stat.h>

#include "frames/output_place.h"

namespace frames {

// The new file of this descriptor, which is its owner's alone, gets the permissions and the list of access (ACL) of the
// `replaced` one, of the same owner, at this place. Where that has another group, or its list cannot be had, the group
// may do what all others may. False, with the system's error, when that cannot be.
bool take_permissions(int made, const OutputPlace& place, const struct stat& replaced);

}  // namespace frames
