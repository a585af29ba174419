// The strip below a picture that tells what its colours mean.
#pragma once

#include "pictures/text.h"

namespace pictures {

// Rows that the strip takes.
int bar_height(int width, const Pen& pen);

// Makes the picture higher by the strip: all levels from left to right, and the counts at the ends and in the middle,
// as many of them as there is room for.
void add_bar(Picture& picture, const Pen& pen, int levels, const CountRange& range, Scale scale);

}  // namespace pictures
