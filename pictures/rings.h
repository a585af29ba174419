// Resolution rings.
#pragma once

#include <string>
#include <vector>

#include "pictures/text.h"

namespace pictures {

// "4.0 Å": at most two decimals, at least one.
std::string spacing_text(double spacing);

// Rings about the beam centre at distance * tan(2 asin(wavelength / 2 spacing)), with their spacings written on them.
// Throws std::runtime_error that names the values missing in the header. Warns of rings that lie outside the picture.
void draw_rings(Picture& picture, const Pen& pen, const frames::Header& header, const std::vector<double>& spacings,
                frames::Remarks& remarks);

}  // namespace pictures
