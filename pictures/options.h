// The options about pictures, and the names of their values.
#pragma once

#include <array>
#include <utility>
#include <vector>

#include "frames/options.h"
#include "pictures/picture.h"

namespace pictures {

inline constexpr std::array<std::pair<const char*, Scale>, 3> kScales{
    {{"linear", Scale::kLinear}, {"sqrt", Scale::kSqrt}, {"log", Scale::kLog}}};

const std::vector<frames::Option<PictureOptions>>& picture_options();

}  // namespace pictures
