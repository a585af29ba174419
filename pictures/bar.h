// The strip below a picture that explains its colours.
#pragma once

#include "pictures/text.h"

namespace pictures {

// The rows of the strip.
int bar_height(int width, const Pen& pen);

// Makes the picture higher by the strip: all levels from left to right, and the counts at the ends and in the middle,
// as many as fit.
void add_bar(Picture& picture, const Pen& pen, int levels, const CountRange& range, Scale scale);

}  // namespace pictures
