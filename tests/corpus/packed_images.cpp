#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace corpus {

namespace {

using Pixels = std::vector<short>;

// Noise of an amplitude of its own around a level of its own, with a few pixels that are anything.
Pixels noisy_image(Random& random, int width, int height) {
  Pixels image(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  const int level = random.between(-32768, 32767);
  const int amplitude = (1 << random.between(0, 16)) - 1;
  for (short& pixel : image) {
    const int value =
        random.between(0, 50) == 0 ? random.between(-32768, 32767) : level + random.between(-amplitude, amplitude);
    pixel = static_cast<short>(static_cast<std::uint16_t>(value));
  }
  return image;
}

std::string packed(Pixels image, int width, int height) {
  return written([&](std::FILE* stream) { pack_wordimage_c(image.data(), width, height, stream); });
}

void packing(Run& run) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {2, 2}, {64, 64}, {300, 200}, {16385, 1}}) {
    for (int round = 0; round < 8; ++round) {
      const Pixels image = noisy_image(run.random, width, height);
      run.record([&, w = width, h = height] { run.digest.add(packed(image, w, h)); });
    }
  }
}

void differences(Run& run) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {30, 20}, {300, 200}}) {
    Pixels image = noisy_image(run.random, width, height);
    for (const int done : {0, 1, 5, 16384, width * height}) {
      std::vector<std::int32_t> found(16384);
      const std::int32_t* last = diff_words(image.data(), width, height, found.data(), done);
      run.digest.add(last - found.data());
      run.digest.add(found);
    }
  }
}

void chunk_prices(Run& run) {
  for (unsigned shift = 0; shift < 32; ++shift) {
    for (const int count : {1, 2, 7, 128}) {
      auto chunk = run.random.numbers<std::int32_t>(128, shift);
      chunk[0] = -chunk[0];
      run.digest.add(bits(chunk.data(), count));
    }
  }
}

void chunks(Run& run) {
  constexpr std::array<int, 8> kWidths{0, 4, 5, 6, 7, 8, 16, 32};
  for (const int count : {1, 10, 300}) {
    run.digest.add(written([&](std::FILE* stream) {
      for (int i = 0; i < count; ++i) {
        auto values = run.random.numbers<std::int32_t>(128);
        const int width = kWidths[run.random.next() % 8];
        pack_chunk(values.data(), 1 << run.random.between(0, 7), width, stream);
      }
      pack_chunk(nullptr, 0, 0, stream);
    }));
  }
}

void bit_fields(Run& run) {
  for (int size = -1; size <= 33; ++size) {
    std::vector<unsigned char> bytes(200, 0x5A);
    unsigned char* target = bytes.data();
    int bit = 0;
    for (const int count : {1, 3, 20}) {
      auto values = run.random.numbers<std::int32_t>(20);
      pack_longs(values.data(), count, &target, &bit, size);
      run.digest.add_all(target - bytes.data(), bit);
    }
    run.digest.add(bytes);
  }
}

void bit_streams(Run& run) {
  for (const auto& [width, height] : {std::pair{2, 2}, {1, 5}, {31, 17}, {300, 200}, {0, 5}}) {
    for (int round = 0; round < 8; ++round) {
      std::string bytes = packed(noisy_image(run.random, std::max(width, 1), height), std::max(width, 1), height);
      bytes.erase(0, bytes.find('\n', 1) + 1);
      if (round == 6) bytes.resize(bytes.size() / 2);
      if (round == 7) bytes = run.random.bytes(bytes.size());
      const auto stream = test::stream_of(bytes);
      Pixels image(60000);
      run.record([&, w = width, h = height] { return unpack_word(stream.get(), w, h, image.data()); });
      run.digest.add(std::ftell(stream.get()));
      run.digest.add(image);
    }
  }
}

// Files with a packed image behind something else, without one, and none at all.
std::vector<const char*> packed_files(Run& run) {
  const std::string image = packed(noisy_image(run.random, 40, 30), 40, 30);
  run.write("image.pck", run.random.bytes(20000) + image);
  run.write("cut.pck", image.substr(0, image.size() - 100));
  run.write("without.pck", run.random.bytes(10000));
  return {"image.pck", "cut.pck", "without.pck", "absent.pck"};
}

void packed_files_by_word(Run& run) {
  for (const char* name : packed_files(run)) {
    Pixels image(1200, -5);
    run.record([&] { return readpack_word_c(image.data(), name); });
    run.digest.add(image);
  }
}

void packed_files_by_pck(Run& run) {
  for (const char* name : packed_files(run)) {
    Pixels image(1200, -5);
    run.record([&] { readpck(image.data(), name); });
    run.digest.add(image);
  }
}

PackedFileHeader packed_file_header(Run& run, int width, int height) {
  PackedFileHeader header{width, height, {}};
  for (char& byte : header.host_fields) byte = static_cast<char>(run.random.next());
  return header;
}

void written_pck_files(Run& run) {
  for (const auto& [width, height] : {std::pair{1, 1}, {40, 30}, {300, 200}}) {
    Pixels image = noisy_image(run.random, width, height);
    const PackedFileHeader header = packed_file_header(run, width, height);
    run.record([&] { return tomar("written.pck", image.data(), 0, header); });
    run.record_file("written.pck");
    run.record([&] { return tomar("absent/written.pck", image.data(), 0, header); });
  }
}

void read_pck_files(Run& run) {
  Pixels image = noisy_image(run.random, 1200, 1200);
  tomar("1200.pck", image.data(), 0, packed_file_header(run, 1200, 1200));
  tomar("40x30.pck", image.data(), 0, packed_file_header(run, 40, 30));
  tomar("1300x1100.pck", image.data(), 0, packed_file_header(run, 1300, 1100));
  run.write("short.pck", "short");
  for (const char* name : {"1200.pck", "40x30.pck", "1300x1100.pck", "short.pck", "absent.pck"}) {
    unsigned int* daten = nullptr;
    int x = 3;
    int y = 4;
    run.record([&] { return read_pck(name, &daten, &x, &y); });
    run.record_image(daten, x, y);
  }
}

}  // namespace

Functions packed_images() {
  return {
      {"pack_wordimage_c", packing},
      {"diff_words", differences},
      {"bits", chunk_prices},
      {"pack_chunk", chunks},
      {"pack_longs", bit_fields},
      {"unpack_word", bit_streams},
      {"readpack_word_c", packed_files_by_word},
      {"readpck", packed_files_by_pck},
      {"tomar", written_pck_files},
      {"read_pck", read_pck_files},
  };
}

}  // namespace corpus
