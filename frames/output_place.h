// Where a file is written: its folder and its name there, as the kernel finds them.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "support/descriptor.h"

namespace frames {

struct OutputPlace {
  xrd::Descriptor folder;  // for the calls that take names in a folder
  std::string name;        // not a symbolic link
};

// Throws the Failure with the system's error.
[[noreturn]] void cannot_be_written(const std::string& path, int error);

// The place that a path leads to, through symbolic links as the kernel follows them. The file need not exist. A
// Failure with the system's reason if that is unknown, and for a link to nothing: its owner decides what may be made
// there.
OutputPlace output_place(const std::string& path);

// The status of the file that is there now, if any. A Failure if it must not be replaced: folders, devices, symbolic
// links, write-protected files. `path` is for the message.
std::optional<struct stat> replaceable_file(const OutputPlace& place, const std::string& path);

bool is_same_file(const struct stat& one, const struct stat& other);

}  // namespace frames
