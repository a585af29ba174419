// The place of the programs that the library and view run.
#pragma once

namespace program {

// Leaves only the absolute folders in PATH, or the usual ones if there are none: no program is found in the working
// directory, where a stranger's data may have brought one.
void clean_path();

// Puts the folder of the program's own zimg and xv at the end of PATH, so that others win. After clean_path().
void add_companions_to_path();

}  // namespace program
