// Smoothing for those who do not want the kernel to stay behind.
#pragma once

#include "processing/grid.h"
#include "support/memory.h"

namespace xrd {

// What falte_gauss does. Returns the kernel, which falte_gauss leaves allocated: null when it did not get that far.
MallocArray<double> smooth_grid(const GridRef<unsigned int>& image, int sigma_x, int sigma_y);

}  // namespace xrd
