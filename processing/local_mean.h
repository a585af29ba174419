// Means over windows.
#pragma once

namespace xrd {

// Does the work of mittle_Daten. False if memory is short; then the image is unchanged.
bool average_windows(unsigned int* image, int width, int height, int radius);

}  // namespace xrd
