// Functions of single pixels, in place.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/limits.h"
#include "bench/plain.h"
#include "bench/rows.h"
#include "support/memory.h"
#include "xrdimage.h"

namespace bench {

namespace {

// A copy of the frame to be changed, and a second array that limits copy from.
template <typename Pixel>
struct Copy {
  explicit Copy(const Frame& frame) : original(frame.counts.begin(), frame.counts.end()), pixels(original) {}

  void restore() { std::ranges::copy(original, pixels.begin()); }
  std::size_t bytes() const { return pixels.size() * sizeof(Pixel); }
  void copy_over() { std::memcpy(pixels.data(), original.data(), bytes()); }

  std::vector<Pixel> original;
  std::vector<Pixel> pixels;
  int width = 0;
  int height = 0;
};

template <typename Pixel>
using CopyState = std::shared_ptr<Copy<Pixel>>;

// How an in-place function is called.
template <typename Pixel>
using Change = std::function<void(Pixel*, std::size_t)>;

template <typename Pixel>
Row in_place_row(const std::string& name, const CopyState<Pixel>& state, const Change<Pixel>& library,
                 const Change<Pixel>& plain, std::function<void()> limit) {
  return {.name = name,
          .prepare = [=] { state->restore(); },
          .library = [=] { library(state->pixels.data(), state->pixels.size()); },
          .plain = [=] { plain(state->pixels.data(), state->pixels.size()); },
          .limit = std::move(limit),
          .results = [=] { return bytes_of(state->pixels.data(), state->pixels.size()); }};
}

using Extremes = void (*)(unsigned int*, int, int, unsigned int*, unsigned int*);

Row extremes_row(const std::string& name, const Frame& frame, Extremes library, unsigned int ceiling) {
  const auto found = std::make_shared<std::array<unsigned int, 2>>();
  auto* counts = const_cast<unsigned int*>(frame.counts.data());
  return {.name = name,
          .prepare =
              [=] {
                *found = {0, ceiling};
              },
          .library = [=, &frame] { library(counts, frame.width, frame.height, &(*found)[0], &(*found)[1]); },
          .plain = [=, &frame] { plain::find_extremes(counts, frame.width, frame.height, &(*found)[0], &(*found)[1]); },
          .limit = [=, &frame] { read_once(counts, frame.pixels() * sizeof *counts); },
          .results = [=] { return bytes_of(found->data(), found->size()); }};
}

Row to_short_row(const Frame& frame) {
  const auto words = std::make_shared<xrd::MallocArray<unsigned short>>();
  auto* counts = const_cast<unsigned int*>(frame.counts.data());
  const std::size_t pixels = frame.pixels();
  const int maximum = 256001;
  return {.name = "to_short",
          .prepare = [=] { words->reset(); },
          .library =
              [=] {
                unsigned short* converted = nullptr;
                to_short(counts, &converted, static_cast<int>(pixels), maximum);
                words->reset(converted);
              },
          .plain = [=] { words->reset(plain::to_short(counts, pixels, maximum)); },
          .limit =
              [=] {
                auto* converted = static_cast<unsigned short*>(std::malloc(pixels * sizeof(unsigned short)));
                std::memcpy(converted, counts, pixels * sizeof(unsigned short));
                read_once(counts + pixels / 2, pixels / 2 * sizeof *counts);
                words->reset(converted);
              },
          .results = [=] { return bytes_of(words->get(), pixels); }};
}

}  // namespace

Rows pixel_rows(const Frame& frame) {
  const auto pixels = std::make_shared<Copy<unsigned int>>(frame);
  const auto words = std::make_shared<Copy<unsigned short>>(frame);
  // scale_up needs a frame that it does not turn black.
  const auto faint = std::make_shared<Copy<unsigned int>>(frame);
  for (unsigned int& pixel : faint->original) pixel = std::min(pixel, 3000U);

  const int width = frame.width;
  const int height = frame.height;
  const int largest = 256001;
  const auto copy_over = [=] { pixels->copy_over(); };
  const auto read_and_copy = [=] {
    read_once(pixels->pixels.data(), pixels->bytes());
    pixels->copy_over();
  };
  using Change32 = Change<unsigned int>;
  using Change16 = Change<unsigned short>;
  Rows rows{
      extremes_row("find_maximum", frame, find_maximum, 999999999),
      extremes_row("find_short_maximum", frame, find_short_maximum, 65535),
      in_place_row("make_cross", pixels,
                   Change32([=](auto* p, std::size_t) { make_cross(p, width, height, 700, 900); }),
                   Change32([=](auto* p, std::size_t) { plain::make_cross(p, width, height, 700, 900); }),
                   [=] { read_once(pixels->pixels.data(), pixels->bytes()); }),
      in_place_row("invert_data", pixels,
                   Change32([](auto* p, std::size_t count) { invert_data(p, static_cast<int>(count)); }),
                   Change32([](auto* p, std::size_t count) { plain::invert(p, count); }), copy_over),
      in_place_row("scale_up", faint, Change32([=](auto* p, std::size_t) { scale_up(p, width, height); }),
                   Change32([=](auto* p, std::size_t) { plain::scale_up(p, width, height); }), read_and_copy),
      to_short_row(frame),
      in_place_row("scale_up_short", pixels,
                   Change32([=](auto* p, std::size_t) { scale_up_short(p, width, height, 65535); }),
                   Change32([=](auto* p, std::size_t) { plain::scale_up_short(p, width, height, 65535); }), nullptr),
      in_place_row("logarith_data", pixels, Change32([=](auto* p, std::size_t count) {
                     logarith_data(p, static_cast<int>(count), 10, 0, largest);
                   }),
                   Change32([=](auto* p, std::size_t count) { plain::logarith(p, count, 10, 0, largest); }), nullptr),
  };
  if (width == height) {
    rows.push_back(
        in_place_row("rotate_clock1", words, Change16([=](auto* p, std::size_t) { rotate_clock1(p, width); }),
                     Change16([=](auto* p, std::size_t) { plain::rotate(p, width); }), [=] { words->copy_over(); }));
  }
  rows.push_back(in_place_row("swapword", pixels, Change32([](auto* p, std::size_t count) {
                                swapword(p, static_cast<int>(count * sizeof *p));
                              }),
                              Change32([](auto* p, std::size_t count) {
                                plain::swap_words(reinterpret_cast<unsigned char*>(p), count * sizeof *p);
                              }),
                              copy_over));
  rows.push_back(
      in_place_row("swapbytes", words, Change16([](auto* p, std::size_t count) {
                     swapbytes(reinterpret_cast<short*>(p), static_cast<int>(count * sizeof *p));
                   }),
                   Change16([](auto* p, std::size_t count) { plain::swap_bytes(reinterpret_cast<short*>(p), count); }),
                   [=] { words->copy_over(); }));
  return rows;
}

}  // namespace bench
