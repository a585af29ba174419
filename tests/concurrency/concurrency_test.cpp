// Functions at work in four threads at once, each on images and files of its own: to be run under ThreadSanitizer,
// which sees what they share. Their results are those that they have alone.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "tests/formats/saint_header.h"
#include "tests/formats/tiff_builder.h"
#include "xrdimage.h"

// The sanitizer does not know flockfile, under which single bytes of standard input are read.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {  // NOLINT: the sanitizer looks for this name
  return "race:getc_unlocked\n";
}

namespace {

using Bytes = std::string;

constexpr int kThreads = 4;
constexpr int kWidth = 312;  // large enough for smoothing to take a second thread
constexpr int kHeight = 240;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

// What one thread works on.
struct Material {
  explicit Material(unsigned seed);

  std::string path(std::string_view name) const { return directory.path(name); }

  test::TemporaryDirectory directory;
  std::vector<unsigned int> pixels;
  std::vector<short> words;  // the same in 16 bits, with some noise of all bits
};

template <typename Value>
Bytes bytes_of(std::span<const Value> values) {
  return {reinterpret_cast<const char*>(values.data()), values.size_bytes()};
}

template <typename Value>
Bytes bytes_of(const std::vector<Value>& values) {
  return bytes_of(std::span<const Value>(values));
}

// A square frame of kHeight pixels with two overflow records.
Bytes mar345_frame(const Material& material) {
  Bytes bytes = test::little32(1234) + test::little32(kHeight) + test::little32(2) + Bytes(116, '\0');
  bytes += "mar research  PROGRAM scan345 3.2\nDATE Mon Jan 12 10:11:12 2004\nDISTANCE 150.5\n";
  bytes.resize(4096, ' ');
  for (const unsigned value : {10U, 70000U, 20U, 80000U}) bytes += test::little32(value);
  std::vector<short> square(material.words.begin(), material.words.begin() + std::ptrdiff_t{kHeight} * kHeight);
  return bytes + corpus::written([&](std::FILE* stream) { pack_wordimage_c(square.data(), kHeight, kHeight, stream); });
}

Material::Material(unsigned seed) : pixels(kPixels), words(kPixels) {
  std::mt19937 random(seed);
  std::ranges::generate(pixels, [&] { return random() >> (8 + random() % 20); });
  std::ranges::transform(pixels, words.begin(), [](unsigned int pixel) { return static_cast<short>(pixel % 400); });
  for (int i = 0; i < 100; ++i) words[random() % kPixels] = static_cast<short>(random() & 0xFFFFU);

  const Bytes samples = bytes_of(words);
  const std::string size = "SIZE1=" + std::to_string(kWidth) + ";\nSIZE2=" + std::to_string(kHeight) + ";\n";
  directory.write("a.raw", samples);
  directory.write("a.img", "{\n" + size + "BYTE_ORDER=little_endian;\nDATE=Mon Jan 12 10:11:12 2004;\n}\n" + samples);
  directory.write("a.sfrm", test::saint_header({"NROWS  : " + std::to_string(kHeight),
                                                "NCOLS  : " + std::to_string(kWidth), "ENDING2: 1"}) +
                                samples);
  const Bytes tiff = test::TiffBuilder(kWidth, kHeight).strip(samples).bytes();
  directory.write("a.tif", tiff);
  directory.write("a.mar2300", mar345_frame(*this));
  edf32_write(path("a.edf").c_str(), pixels.data(), kWidth, kHeight);
  std::vector<short> image = words;
  tomar(path("a.pck").c_str(), image.data(), 0, PackedFileHeader{kWidth, kHeight, {}});
}

// ------------------------------------------------------------------------------------------------------------------
// What threads do
// ------------------------------------------------------------------------------------------------------------------

struct Task {
  const char* name;
  std::function<Bytes(const Material&)> run;  // returns what came out
};

// A reader that hands out an array.
template <typename Read>
Task reader(const char* name, const char* file, Read read) {
  return {name, [=](const Material& material) {
            unsigned int* daten = nullptr;
            int width = kWidth;
            int height = kHeight;
            const std::string path = material.path(file);
            const int result = read(path.c_str(), &daten, &width, &height);
            const auto owner = test::own(daten);
            Bytes bytes = std::to_string(result) + " " + std::to_string(width) + " " + std::to_string(height);
            if (daten == nullptr) return bytes;
            const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            return bytes + bytes_of(std::span<const unsigned int>(daten, count));
          }};
}

// An operation on pixels in place.
template <typename Change>
Task change(const char* name, Change change) {
  return {name, [=](const Material& material) {
            std::vector<unsigned int> pixels = material.pixels;
            change(pixels.data());
            return bytes_of(pixels);
          }};
}

// An operation that replaces the caller's array.
template <typename Pixel, typename Replace>
Task replacement(const char* name, Replace replace) {
  return {name, [=](const Material& material) {
            auto* array = static_cast<Pixel*>(std::malloc(kPixels * sizeof(Pixel)));
            std::ranges::transform(material.pixels, array,
                                   [](unsigned int pixel) { return static_cast<Pixel>(pixel); });
            int width = kWidth;
            int height = kHeight;
            replace(&array, &width, &height);
            const auto owner = test::own(array);
            return bytes_of(
                std::span<const Pixel>(array, static_cast<std::size_t>(width) * static_cast<std::size_t>(height)));
          }};
}

// A writer of a file.
template <typename Write>
Task writer(const char* name, Write write) {
  return {name, [=](const Material& material) {
            const std::string path = material.path(std::string(name) + ".written");
            write(path.c_str(), material);
            return test::read_file(path);
          }};
}

// A reader of 16-bit words into the caller's array.
template <typename Read>
Task word_reader(const char* name, Read read) {
  return {name, [=](const Material& material) {
            std::vector<short> words(kPixels);
            read(words.data(), material);
            return bytes_of(words);
          }};
}

unsigned int* unconst(const std::vector<unsigned int>& pixels) {
  return const_cast<unsigned int*>(pixels.data());  // read only
}

std::vector<Task> reading_tasks() {
  return {
      reader("read_raw", "a.raw", read_raw),
      reader("read_bnl", "a.img",
             [](const char* path, unsigned int** daten, int* width, int* height) {
               std::array<double, 5> values{};
               return read_bnl(path, 0, daten, width, height, &values[0], &values[1], &values[2], &values[3],
                               &values[4]);
             }),
      reader("read_edf", "a.edf",
             [](const char* path, unsigned int** daten, int* width, int* height) {
               int bits = -1;
               return read_edf(path, daten, &bits, width, height);
             }),
      reader("read_saint", "a.sfrm", read_saint),
      reader("read_tiff", "a.tif",
             [](const char* path, unsigned int** daten, int* width, int* height) {
               return read_tiff(path, daten, 0, width, height);
             }),
      reader("read_mar_ccd", "a.tif",
             [](const char* path, unsigned int** daten, int* width, int* height) {
               ImageData data{};
               double distance = -999.0;
               const int result = read_mar_ccd(path, &data, &distance);
               *daten = data.Daten;
               *width = data.width;
               *height = data.height;
               return result;
             }),
      reader("read_pck", "a.pck", read_pck),
      reader("new_read_pck", "a.mar2300", new_read_pck),
      {"read_mar_ccd_header",
       [](const Material& material) {
         ImageInfo info{};
         read_mar_ccd_header(material.path("a.tif").c_str(), &info);
         return std::to_string(info.wavelength);
       }},
      {"read_marheader",
       [](const Material& material) {
         Mar345Header header{};
         read_marheader(&header, material.path("a.mar2300").c_str());
         print_marheader(&header);
         return std::to_string(header.distance) + header.date;
       }},
      {"read_mar_header",
       [](const Material& material) {
         ImageInfo info{};
         read_mar_header(material.path("a.mar2300").c_str(), &info);
         return std::to_string(info.distance);
       }},
      {"get_image_type",
       [](const Material& material) { return std::to_string(get_image_type(material.path("a.mar2300").c_str())); }},
      word_reader(
          "readpack_word_c",
          [](short* words, const Material& material) { readpack_word_c(words, material.path("a.pck").c_str()); }),
      word_reader("readpck",
                  [](short* words, const Material& material) { readpck(words, material.path("a.pck").c_str()); }),
      word_reader("unpack_word",
                  [](short* words, const Material& material) {
                    const auto stream = test::stream_of("");
                    pack_wordimage_c(const_cast<short*>(material.words.data()), kWidth, kHeight, stream.get());
                    std::rewind(stream.get());
                    while (std::fgetc(stream.get()) != '\n' || std::ftell(stream.get()) < 2) continue;
                    unpack_word(stream.get(), kWidth, kHeight, words);
                  }),
  };
}

std::vector<Task> writing_tasks() {
  return {
      writer("edf16_write",
             [](const char* path, const Material& material) {
               edf16_write(path, material.pixels.data(), kWidth, kHeight);
             }),
      writer("edf32_write",
             [](const char* path, const Material& material) {
               edf32_write(path, material.pixels.data(), kWidth, kHeight);
             }),
      writer("write_colormap", [](const char* path, const Material& /*material*/) { write_colormap(path); }),
      writer("write_zimg",
             [](const char* path, const Material& material) {
               write_zimg(path, unconst(material.pixels), static_cast<int>(kPixels));
             }),
      writer("write_short_zimg",
             [](const char* path, const Material& material) {
               std::vector<unsigned short> words(material.words.begin(), material.words.end());
               write_short_zimg(path, words.data(), static_cast<int>(kPixels));
             }),
      writer("tomar",
             [](const char* path, const Material& material) {
               std::vector<short> words = material.words;
               tomar(path, words.data(), 0, PackedFileHeader{kWidth, kHeight, {}});
             }),
      writer("pack_chunk",
             [](const char* path, const Material& material) {
               const test::Stream stream(std::fopen(path, "wb"));
               for (std::size_t i = 0; i + 128 < 20000; i += 128) {
                 std::vector<std::int32_t> chunk(material.words.begin() + static_cast<std::ptrdiff_t>(i),
                                                 material.words.begin() + static_cast<std::ptrdiff_t>(i) + 128);
                 pack_chunk(chunk.data(), 128, bits(chunk.data(), 128) / 128, stream.get());
               }
               pack_chunk(nullptr, 0, 0, stream.get());
             }),
  };
}

std::vector<Task> pixel_tasks() {
  return {
      change("find_maximum", [](unsigned int* pixels) { find_maximum(pixels, kWidth, kHeight, pixels, pixels + 1); }),
      change("find_short_maximum",
             [](unsigned int* pixels) { find_short_maximum(pixels, kWidth, kHeight, pixels, pixels + 1); }),
      change("mittle_Daten", [](unsigned int* pixels) { mittle_Daten(pixels, kWidth, kHeight, 3); }),
      change("invert_data", [](unsigned int* pixels) { invert_data(pixels, static_cast<int>(kPixels)); }),
      change("logarith_data",
             [](unsigned int* pixels) { logarith_data(pixels, static_cast<int>(kPixels), 10, 0, 65535); }),
      change("scale_up", [](unsigned int* pixels) { scale_up(pixels, kWidth, kHeight); }),
      change("scale_up_short", [](unsigned int* pixels) { scale_up_short(pixels, kWidth, kHeight, 5000); }),
      change("make_cross", [](unsigned int* pixels) { make_cross(pixels, kWidth, kHeight, 50, 60); }),
      change("make_short_cross", [](unsigned int* pixels) { make_short_cross(pixels, kWidth, kHeight, 50, 60, 2); }),
      change("make_short_box",
             [](unsigned int* pixels) {
               std::array<int, 2> centre{100, 90};
               std::array<int, 4> box{10, 10, 20, 20};
               make_short_box(pixels, kWidth, kHeight, centre.data(), box.data(), 2);
             }),
      change("swapword", [](unsigned int* pixels) { swapword(pixels, static_cast<int>(kPixels * 4)); }),
      change("swapbytes",
             [](unsigned int* pixels) { swapbytes(reinterpret_cast<short*>(pixels), static_cast<int>(kPixels * 4)); }),
      change("rotate_clock1",
             [](unsigned int* pixels) { rotate_clock1(reinterpret_cast<unsigned short*>(pixels), kHeight); }),
      {"to_short",
       [](const Material& material) {
         unsigned short* words = nullptr;
         to_short(unconst(material.pixels), &words, static_cast<int>(kPixels), 1 << 24);
         const auto owner = test::own(words);
         return bytes_of(std::span<const unsigned short>(words, kPixels));
       }},
      replacement<unsigned int>(
          "binning", [](unsigned int** array, int* width, int* height) { binning(array, 2, width, height); }),
      replacement<unsigned short>("short_binning", [](unsigned short** array, int* width,
                                                      int* height) { short_binning(array, 2, width, height); }),
      replacement<unsigned int>(
          "fit_to_new_dimension",
          [](unsigned int** array, int* width, int* height) { fit_to_new_dimension(array, width, height, 300, 250); }),
      replacement<unsigned short>("fit_to_new_dimension_short",
                                  [](unsigned short** array, int* width, int* height) {
                                    fit_to_new_dimension_short(array, width, height, 300, 250);
                                  }),
      replacement<unsigned int>("falte_gauss", [](unsigned int** array, int* width,
                                                  int* height) { falte_gauss(array, width, height, 2, 3); }),
      replacement<unsigned short>(
          "falte_short_gauss",
          [](unsigned short** array, int* width, int* height) { falte_short_gauss(array, width, height, 2, 3); }),
      {"init_gauss",
       [](const Material& /*material*/) {
         fftw_real* kernel = nullptr;
         init_gauss(&kernel, kWidth, kHeight, 2.0F, 3.0F);
         const auto owner = test::own(kernel);
         return bytes_of(std::span<const fftw_real>(kernel, std::size_t{kWidth} * (kHeight + 2)));
       }},
  };
}

std::vector<Task> all_tasks() {
  std::vector<Task> all;
  for (auto* tasks : {reading_tasks, writing_tasks, pixel_tasks}) {
    for (Task& task : tasks()) all.push_back(std::move(task));
  }
  return all;
}

// Answers to the questions for a raw frame's size, and no messages.
class QuietStreams {
 public:
  QuietStreams() {
    std::string answers;
    for (int i = 0; i < 1000; ++i) answers += std::to_string(kWidth) + " " + std::to_string(kHeight) + "\n";
    const std::string path = directory_.write("answers", answers);
    EXPECT_NE(std::freopen(path.c_str(), "r", stdin), nullptr);
    std::fflush(stdout);
    out_ = dup(1);
    EXPECT_NE(std::freopen("/dev/null", "w", stdout), nullptr);
  }
  QuietStreams(const QuietStreams&) = delete;
  QuietStreams& operator=(const QuietStreams&) = delete;
  ~QuietStreams() {
    std::fflush(stdout);
    dup2(out_, 1);
    close(out_);
  }

 private:
  test::TemporaryDirectory directory_;
  int out_ = -1;
};

}  // namespace

TEST(Concurrency, FourThreadsGetWhatOneGets) {
  std::vector<std::string> wrong;  // a thread's each
  std::vector<Task> tasks = all_tasks();
  {
    const QuietStreams quiet;
    std::vector<std::unique_ptr<Material>> materials;
    std::vector<std::vector<Bytes>> expected(kThreads);
    for (unsigned thread = 0; thread < kThreads; ++thread) {
      materials.push_back(std::make_unique<Material>(thread));
      for (const Task& task : tasks) expected[thread].push_back(task.run(*materials[thread]));
    }
    wrong.resize(kThreads);
    std::barrier together(kThreads);
    const auto work = [&](unsigned thread) {
      // The same task at the same time, and then different ones.
      for (std::size_t shift : {std::size_t{0}, std::size_t{thread} * 7}) {
        for (std::size_t i = 0; i < tasks.size(); ++i) {
          together.arrive_and_wait();
          const std::size_t task = (i + shift) % tasks.size();
          if (tasks[task].run(*materials[thread]) != expected[thread][task]) wrong[thread] += tasks[task].name;
        }
      }
    };
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread) threads.emplace_back(work, thread);
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(wrong, std::vector<std::string>(kThreads));
}
