#include "frames/grid.h"

namespace frames {

Frame blank_frame(const Frame& like, int width, int height) {
  Frame result;
  result.format = like.format;
  result.width = width;
  result.height = height;
  result.counts = Counts(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  result.is_signed = like.is_signed;
  result.header = like.header;
  result.items = like.items;
  result.images = like.images;
  result.notes = like.notes;
  return result;
}

void scale_geometry(Header& header, double x_factor, double y_factor) {
  if (auto& pixel = header.pixel_size) pixel = Point{pixel->x * x_factor, pixel->y * y_factor};
  // The centre of a pixel has whole coordinates.
  if (auto& beam = header.beam_centre) {
    beam = Point{(beam->x + 0.5) / x_factor - 0.5, (beam->y + 0.5) / y_factor - 0.5};
  }
}

}  // namespace frames
