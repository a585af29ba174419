// How much memory a program takes.
#pragma once

namespace bench {

// Runs the command, arguments of main from its name on, with its output thrown away. Returns the most memory that it
// had, in kilobytes; -1 when it failed.
long peak_memory(char** command);

}  // namespace bench
