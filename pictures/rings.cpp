#include "pictures/rings.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <utility>

namespace pictures {

namespace {

struct Ring {
  frames::Point centre;  // pixels
  frames::Point radius;  // pixels: those of a detector need not be square
};

// "a, b and c"
std::string joined(const std::vector<std::string>& words) {
  std::string text = words.front();
  for (std::size_t i = 1; i < words.size(); ++i) text += (i + 1 < words.size() ? ", " : " and ") + words[i];
  return text;
}

void check_geometry(const frames::Header& header) {
  struct Need {
    bool is_there;
    const char* name;
    const char* option;
  };
  const std::array needs{Need{header.wavelength.has_value(), "the wavelength", "--wavelength"},
                         Need{header.distance.has_value(), "the distance", "--distance"},
                         Need{header.pixel_size.has_value(), "the pixel size", "--pixel"},
                         Need{header.beam_centre.has_value(), "the beam centre", "--beam"}};
  std::vector<std::string> names;
  std::string options;
  for (const Need& need : needs) {
    if (need.is_there) continue;
    names.emplace_back(need.name);
    options += (options.empty() ? "" : ", ") + std::string(need.option);
  }
  if (names.empty()) return;
  throw std::runtime_error("rings need " + joined(names) + ", which the header lacks (" + options + ")");
}

// Nothing if no reflection of this spacing reaches the detector's plane.
std::optional<Ring> ring_of(double spacing, const frames::Header& header) {
  const double sine = *header.wavelength / (2.0 * spacing);
  if (!(sine < std::numbers::sqrt2 / 2.0)) return std::nullopt;  // 2 theta of 90 degrees and more
  const double radius = *header.distance * std::tan(2.0 * std::asin(sine));
  return Ring{*header.beam_centre, {radius / header.pixel_size->x, radius / header.pixel_size->y}};
}

// Adds the place if it is in the picture, where numbers of any size may be asked for.
void add_place(std::vector<PixelPlace>& places, double x, double y, const Picture& picture) {
  x = std::round(x);
  y = std::round(y);
  if (x >= 0 && x < picture.width && y >= 0 && y < picture.height) {
    places.push_back({static_cast<int>(x), static_cast<int>(y)});
  }
}

// The pixels of the ring in the picture: one per column where it runs along the rows, one per row elsewhere.
std::vector<PixelPlace> places_of(const Ring& ring, const Picture& picture) {
  constexpr double kFlat = std::numbers::sqrt2 / 2.0;
  std::vector<PixelPlace> places;
  for (int x = 0; x < picture.width; ++x) {
    const double share = (x - ring.centre.x) / ring.radius.x;
    if (std::abs(share) > kFlat) continue;
    const double y = ring.radius.y * std::sqrt(1.0 - share * share);
    add_place(places, x, ring.centre.y - y, picture);
    add_place(places, x, ring.centre.y + y, picture);
  }
  for (int y = 0; y < picture.height; ++y) {
    const double share = (y - ring.centre.y) / ring.radius.y;
    if (std::abs(share) > kFlat) continue;
    const double x = ring.radius.x * std::sqrt(1.0 - share * share);
    add_place(places, ring.centre.x - x, y, picture);
    add_place(places, ring.centre.x + x, y, picture);
  }
  return places;
}

// Where the text fits on the ring, away from the others: as near to the upper right as possible.
std::optional<Box> label_box(const Ring& ring, int width, int height, const Picture& picture,
                             const std::vector<Box>& others) {
  if (width > picture.width / 4) return std::nullopt;  // it would hide more than it shows
  for (int step = 0; step < 72; ++step) {
    const double degrees = 45.0 + (step % 2 == 0 ? step / 2 : -(step + 1) / 2) * 5.0;
    const double angle = degrees * std::numbers::pi / 180.0;
    const double x = ring.centre.x + ring.radius.x * std::cos(angle);
    const double y = ring.centre.y - ring.radius.y * std::sin(angle);
    if (!(x >= 0 && x < picture.width && y >= 0 && y < picture.height)) continue;
    const int left = static_cast<int>(x) - width / 2;
    const int top = static_cast<int>(y) - height / 2;
    const Box box{left, top, left + width, top + height};
    const auto meets_box = [&](const Box& other) { return box.meets(other); };
    if (box.within(picture) && std::ranges::none_of(others, meets_box)) return box;
  }
  return std::nullopt;
}

// A square of ink about each place, with a shadow of paper at the lower right for rings on bright ground.
void draw_places(Picture& picture, const std::vector<PixelPlace>& places, const Pen& pen) {
  constexpr int kShadow = 1;
  for (const auto& [entry, size] : {std::pair{pen.paper, pen.line + kShadow}, std::pair{pen.ink, pen.line}}) {
    for (const PixelPlace& place : places) {
      const int left = place.x - (pen.line - 1) / 2;
      const int top = place.y - (pen.line - 1) / 2;
      fill_box(picture, {left, top, left + size, top + size}, entry);
    }
  }
}

}  // namespace

std::string spacing_text(double spacing) {
  std::array<char, 32> digits{};
  const int length = std::snprintf(digits.data(), digits.size(), "%.2f", spacing);
  std::string text(digits.data(), static_cast<std::size_t>(length));
  if (text.ends_with('0')) text.pop_back();
  return text + " Å";
}

void draw_rings(Picture& picture, const Pen& pen, const frames::Header& header, const std::vector<double>& spacings,
                frames::Remarks& remarks) {
  if (spacings.empty()) return;
  check_geometry(header);
  struct Label {
    Box box;
    std::string text;
  };
  std::vector<Box> boxes;
  std::vector<Label> labels;
  std::vector<PixelPlace> all_places;
  for (const double spacing : spacings) {
    const std::string text = spacing_text(spacing);
    const std::optional<Ring> ring = ring_of(spacing, header);
    std::vector<PixelPlace> places;
    if (ring) places = places_of(*ring, picture);
    if (places.empty()) {
      remarks.warnings.push_back("the ring at " + text + " lies outside of the picture");
      continue;
    }
    const std::optional<Box> box = label_box(*ring, text_width(text, pen), text_height(pen), picture, boxes);
    if (box) {
      boxes.push_back(*box);
      labels.push_back({*box, text});
      // The line does not run through its own label.
      std::erase_if(places, [&](const PixelPlace& place) { return box->contains(place); });
    }
    all_places.insert(all_places.end(), places.begin(), places.end());
  }
  draw_places(picture, all_places, pen);
  for (const Label& label : labels) draw_text(picture, {label.box.left, label.box.top}, label.text, pen);
}

}  // namespace pictures
