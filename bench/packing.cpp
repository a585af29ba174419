// Packing and unpacking.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "bench/left_open.h"
#include "bench/plain.h"
#include "bench/rows.h"
#include "pack/prediction.h"
#include "support/files.h"
#include "support/memory.h"
#include "tests/pack/naive_pack.h"
#include "xrdimage.h"

namespace bench {

namespace {

struct Packed {
  explicit Packed(const Frame& measured) : frame(measured), stream(xrd::open_file(frame.path.c_str(), "r")) {
    naive::find_header_line(stream.get());
    begin = std::ftell(stream.get());
    words.resize(frame.pixels());
    for (std::size_t done = 0; done < frame.pixels();) {
      const naive::Differences some =
          naive::differences(frame.words, frame.width, frame.height, static_cast<int>(done));
      differences.insert(differences.end(), some.begin(), some.end());
      done += some.size();
    }
  }

  void rewind() const { std::fseek(stream.get(), begin, SEEK_SET); }

  const Frame& frame;
  xrd::FileHandle stream;
  long begin = 0;
  naive::Pixels words;
  naive::Differences differences;
};

// All differences of the image, some at a time, as the encoder needs them.
void form_differences(const Frame& frame) {
  constexpr std::size_t kStretch = 16384;
  std::array<std::int32_t, kStretch> differences;  // NOLINT: written only
  const auto width = static_cast<std::ptrdiff_t>(frame.width);
  const short* words = frame.words.data();
  for (std::size_t first = static_cast<std::size_t>(width) + 1; first < frame.pixels(); first += kStretch) {
    const std::size_t count = std::min(kStretch, frame.pixels() - first);
    for (std::size_t i = 0; i < count; ++i) {
      const short* pixel = words + first + i;
      differences[i] = *pixel - (pixel[-1] + pixel[1 - width] + pixel[-width] + pixel[-1 - width] + 2) / 4;
    }
    benchmark::DoNotOptimize(differences.data());
    benchmark::ClobberMemory();
  }
}

Row unpack_word_row(const Frame& frame) {
  const auto state = std::make_shared<Packed>(frame);
  return {
      .name = "unpack_word",
      .prepare = [=] { state->rewind(); },
      .library = [=, &frame] { unpack_word(state->stream.get(), frame.width, frame.height, state->words.data()); },
      .plain =
          [=, &frame] { naive::Decoder(state->stream.get(), frame.width, frame.height, state->words.data()).decode(); },
      .limit =
          [=, &frame] {
            xrd::restore_pixels(state->words.data(), static_cast<std::size_t>(frame.width), 0, frame.pixels(),
                                state->differences.data());
          },
      .results = [=] { return bytes_of(state->words.data(), state->words.size()); }};
}

Row new_read_pck_row(const Frame& frame) {
  struct State : Packed {
    using Packed::Packed;
    xrd::MallocArray<unsigned int> pixels;
    LeftOpen stream_of_reader;
  };
  const auto state = std::make_shared<State>(frame);
  return {.name = "new_read_pck",
          .prepare =
              [=] {
                state->rewind();
                state->stream_of_reader.close_last();
                state->pixels.reset();
              },
          .library =
              [=, &frame] {
                unsigned int* pixels = nullptr;
                int width = 0;
                int height = 0;
                new_read_pck(frame.path.c_str(), &pixels, &width, &height);
                state->pixels.reset(pixels);
              },
          .plain = [=, &frame] { state->pixels.reset(plain::read_frame(frame.path.c_str(), frame.width)); },
          .limit = [=, &frame] { unpack_word(state->stream.get(), frame.width, frame.height, state->words.data()); },
          .results = [=, &frame] { return bytes_of(state->pixels.get(), frame.pixels()); }};
}

Row pack_row(const Frame& frame) {
  struct State : Packed {
    using Packed::Packed;
    std::string path = scratch_path("packed.pck");
    xrd::FileHandle target;
    bool plain = false;
  };
  const auto state = std::make_shared<State>(frame);
  return {.name = "pack_wordimage_c",
          .prepare = [=] { state->target = xrd::open_file(state->path.c_str(), "wb"); },
          .library =
              [=, &frame] {
                pack_wordimage_c(const_cast<short*>(frame.words.data()), frame.width, frame.height,
                                 state->target.get());
              },
          .plain =
              [=, &frame] {
                const std::string packed = naive::pack(frame.words, frame.width, frame.height);
                std::fwrite(packed.data(), 1, packed.size(), state->target.get());
              },
          .limit = [=, &frame] { form_differences(frame); },
          .results =
              [=] {
                state->target.reset();
                return file_bytes(state->path);
              }};
}

}  // namespace

Rows packing_rows(const Frame& frame) {
  return {unpack_word_row(frame), new_read_pck_row(frame), pack_row(frame)};
}

}  // namespace bench
