// The permissions that a file takes over from the one that it replaces.
#pragma once

#include <sys/stat.h>

#include "frames/output_place.h"

namespace frames {

// The new file of this descriptor, so far private, gets the permissions and the access control list (ACL) of the
// `replaced` one, of the same owner, at this place. If that has another group, or its list cannot be read, the group
// gets the permissions of all others. False, with the system's error, on failure.
bool take_permissions(int made, const OutputPlace& place, const struct stat& replaced);

}  // namespace frames
