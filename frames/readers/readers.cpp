#include "frames/readers/readers.h"

#include "support/image_size.h"

namespace frames {

std::string_view text_of(Bytes file) {
  return {reinterpret_cast<const char*>(file.data()), file.size()};
}

void report_damage(Frame& frame, const LoadOptions& options, const std::string& damage) {
  if (!options.force) throw LoadError(damage);
  frame.notes.push_back(damage);
}

std::size_t pixels_of_size(long long width, long long height) {
  constexpr auto kMost = static_cast<long long>(xrd::kMaxPixels);
  if (width < 1 || height < 1 || width > kMost || height > kMost / width) {
    throw LoadError("is damaged: it states a size of " + std::to_string(width) + " x " + std::to_string(height) +
                    " pixels");
  }
  return static_cast<std::size_t>(width * height);
}

void set_size(Frame& frame, long long width, long long height, const LoadOptions& options) {
  const std::size_t pixels = pixels_of_size(width, height);
  frame.width = static_cast<int>(width);
  frame.height = static_cast<int>(height);
  if (!options.header_only) frame.counts = Counts(pixels);
}

void choose_image(Frame& frame, std::size_t images, const LoadOptions& options) {
  frame.images = images;
  const std::size_t chosen = options.image.value_or(1);
  if (chosen < 1 || chosen > images) {
    throw LoadError("has no image " + std::to_string(chosen) + "; it holds " + std::to_string(images),
                    Problem::kInvalid);
  }
  if (images > 1 && !options.image) frame.notes.emplace_back("has several images; this is the first");
}

}  // namespace frames
