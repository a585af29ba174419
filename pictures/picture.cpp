#include "pictures/picture.h"

#include <algorithm>
#include <string>
#include <utility>

#include "pictures/bar.h"
#include "pictures/options.h"
#include "pictures/rings.h"
#include "pictures/text.h"

namespace pictures {

namespace {

const char* name_of(Scale scale) {
  return std::ranges::find(kScales, scale, &std::pair<const char*, Scale>::second)->first;
}

}  // namespace

CountRange chosen_range(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks) {
  const CountRange range = options.range ? *options.range : automatic_range(frame);
  remarks.values.emplace_back("range", std::to_string(range.low) + "-" + std::to_string(range.high) + " counts" +
                                           (options.range ? "" : " (1 % to 99.5 % of the pixels)"));
  if (options.scale != Scale::kLinear) remarks.values.emplace_back("scale", name_of(options.scale));
  return range;
}

Picture draw_picture_in_range(const frames::Frame& frame, const CountRange& range, const PictureOptions& options,
                              frames::Remarks& remarks) {
  Colors colors = make_colors(options.colors);
  Picture picture;
  picture.width = frame.width;
  picture.height = frame.height;
  picture.pixels = levels_of(frame, range, options.scale, colors.levels, colors.unknown);
  const Pen pen = pen_for(picture.width, picture.height, colors);
  draw_rings(picture, pen, frame.header, options.rings, remarks);
  if (options.bar) add_bar(picture, pen, colors.levels, range, options.scale);
  picture.palette = std::move(colors.palette);
  return picture;
}

Picture draw_picture(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks) {
  return draw_picture_in_range(frame, chosen_range(frame, options, remarks), options, remarks);
}

}  // namespace pictures
