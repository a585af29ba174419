// The programs that the library's view() runs.
#pragma once

namespace host {

// Puts the folder of the program's own zimg and xv at the end of PATH, so that others win.
void add_companions_to_path();

}  // namespace host
