// Means over windows.
#pragma once

namespace xrd {

// What mittle_Daten does. False for want of memory; the image is as it was then.
bool average_windows(unsigned int* image, int width, int height, int radius);

}  // namespace xrd
