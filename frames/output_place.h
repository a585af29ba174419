// Where a file is written: its folder and its name there, as the kernel finds them.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "support/descriptor.h"

namespace frames {

struct OutputPlace {
  xrd::Descriptor folder;  // for the calls that take names in a folder
  std::string name;        // of no symbolic link
};

// Throws the Failure with the system's error.
[[noreturn]] void cannot_be_written(const std::string& path, int error);

// The place that a path leads to, through symbolic links as far as the kernel follows them; there need not be a file. A
// Failure with the system's reason when that is not known, and for a link to nothing: what would be made there is for
// the owner of the link to say.
OutputPlace output_place(const std::string& path);

// What is there now, if anything. A Failure for what must not be replaced: folders, devices, symbolic links,
// write-protected files. `path` is for the message.
std::optional<struct stat> replaceable_file(const OutputPlace& place, const std::string& path);

bool is_same_file(const struct stat& one, const struct stat& other);

}  // namespace frames
