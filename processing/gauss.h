// Smoothing without leaving the kernel allocated.
#pragma once

#include "processing/grid.h"
#include "support/memory.h"

namespace xrd {

// Does the work of falte_gauss. Returns the kernel, which falte_gauss leaves allocated; null if it did not get that
// far.
MallocArray<double> smooth_grid(const GridRef<unsigned int>& image, int sigma_x, int sigma_y);

}  // namespace xrd
