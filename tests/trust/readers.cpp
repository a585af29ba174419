#include "tests/trust/readers.h"

#include <sys/mman.h>

#include <array>
#include <cstdlib>

#include "tests/environment.h"
#include "xrdimage.h"

namespace trust {

namespace {

// Calls with an image's outputs, which it may fill in.
template <typename Function>
void image_call(Scene& scene, Function function) {
  Outputs outputs;
  int returned = -9;
  scene.call([&] { returned = function(&outputs.array, &outputs.width, &outputs.height); });
  scene.tell("returned", returned);
  scene.tell(outputs);
}

void raw(Scene& scene, const char* path) {
  test::with_input("12 9\n", [&] {
    image_call(scene, [=](auto** array, int* width, int* height) { return read_raw(path, array, width, height); });
  });
}

void bnl(Scene& scene, const char* path) {
  std::array<double, 5> values{};
  image_call(scene, [&](auto** array, int* width, int* height) {
    return read_bnl(path, 0, array, width, height, &values[0], &values[1], &values[2], &values[3], &values[4]);
  });
  for (const double value : values) scene.tell("value", value);
}

void edf(Scene& scene, const char* path) {
  int bits = -1;
  image_call(scene, [&](auto** array, int* width, int* height) { return read_edf(path, array, &bits, width, height); });
  scene.tell("bits", bits);
}

void saint(Scene& scene, const char* path) {
  image_call(scene, [=](auto** array, int* width, int* height) { return read_saint(path, array, width, height); });
}

void tiff(Scene& scene, const char* path) {
  image_call(scene, [=](auto** array, int* width, int* height) { return read_tiff(path, array, 0, width, height); });
}

void mar_ccd(Scene& scene, const char* path) {
  Outputs outputs;
  ImageData data{};
  data.Daten = outputs.array;
  data.width = outputs.width;
  data.height = outputs.height;
  data.overflows = -8;
  double distance = -999.0;
  int returned = -9;
  scene.call([&] { returned = read_mar_ccd(path, &data, &distance); });
  scene.tell("returned", returned);
  outputs.array = data.Daten;
  outputs.width = data.width;
  outputs.height = data.height;
  scene.tell(outputs);
  scene.tell("distance", distance);
  scene.tell("overflows", data.overflows);
}

void tell(Scene& scene, const ImageInfo& info) {
  scene.tell("overflows", info.overflow_count);
  for (const double value : {info.start_angle, info.reserved_angle, info.distance, info.oscillation_range,
                             info.wavelength, info.exposure_time, info.average}) {
    scene.tell("value", value);
  }
  scene.tell("minimum", info.minimum);
  scene.tell("maximum", info.maximum);
  scene.tell("name", info.file_name);
}

template <int (*read)(const char*, ImageInfo*)>
void summary(Scene& scene, const char* path) {
  ImageInfo info{};
  info.overflow_count = -8;
  int returned = -9;
  scene.call([&] { returned = read(path, &info); });
  scene.tell("returned", returned);
  tell(scene, info);
}

// Room for what a damaged header line may say at most; pages come when they are written.
class PackedRoom {
 public:
  PackedRoom()
      : pages_(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
    if (pages_ == MAP_FAILED) std::abort();
  }
  PackedRoom(const PackedRoom&) = delete;
  PackedRoom& operator=(const PackedRoom&) = delete;
  ~PackedRoom() { munmap(pages_, kBytes); }

  short* image() const { return static_cast<short*>(pages_); }

 private:
  static constexpr std::size_t kBytes = std::size_t{9999} * 9999 * sizeof(short);

  void* pages_;
};

constexpr std::size_t kPackedPixels = 1400;

template <typename Function>
void packed_call(Scene& scene, Function function) {
  const PackedRoom room;
  scene.call([&] { function(room.image()); });
  scene.tell_all("image", room.image(), kPackedPixels);
}

void packed_file(Scene& scene, const char* path) {
  packed_call(scene, [=](short* image) { readpack_word_c(image, path); });
}

void mar345_packed(Scene& scene, const char* path) {
  packed_call(scene, [=](short* image) { readpck(image, path); });
}

void pck(Scene& scene, const char* path) {
  image_call(scene, [=](auto** array, int* width, int* height) { return read_pck(path, array, width, height); });
}

void mar345_text(Scene& scene, const char* path) {
  Mar345Header header{};
  int returned = -9;
  scene.call([&] { returned = read_marheader(&header, path); });
  scene.tell("returned", returned);
  for (const char* text : {header.program, header.date, header.format}) scene.tell("text", text);
  for (const int value : {header.high, header.pixel_length, header.pixel_height, header.roff, header.toff}) {
    scene.tell("value", value);
  }
  for (const double value : {header.wavelength, header.distance, header.time, header.phi_start, header.phi_osc,
                             header.intensity_min, header.intensity_max, header.intensity_avg}) {
    scene.tell("value", value);
  }
}

void mar345_frame(Scene& scene, const char* path) {
  image_call(scene, [=](auto** array, int* width, int* height) { return new_read_pck(path, array, width, height); });
}

// The functions that follow read from streams that the caller opens.

void edf_header(Scene& scene, const char* path) {
  const test::Stream stream(std::fopen(path, "r"));
  Outputs outputs;
  int bits = -1;
  scene.call([&] { read_edf_header(stream.get(), &outputs.width, &outputs.height, &bits); });
  scene.tell("bits", bits);
  scene.tell("position", std::ftell(stream.get()));
  scene.tell(outputs);
}

void saint_header(Scene& scene, const char* path) {
  const test::Stream stream(std::fopen(path, "r"));
  Outputs outputs;
  scene.call([&] { read_saint_header(stream.get(), &outputs.width, &outputs.height); });
  scene.tell("position", std::ftell(stream.get()));
  scene.tell(outputs);
}

void packed_stream(Scene& scene, const char* path) {
  const test::Stream stream(std::fopen(path, "r"));
  std::vector<short> image(kPackedPixels, 7);
  scene.call([&] { unpack_word(stream.get(), 70, 20, image.data()); });
  scene.tell("position", std::ftell(stream.get()));
  scene.tell_all("image", image.data(), image.size());
}

void mar345_words(Scene& scene, const char* path) {
  const test::Stream stream(std::fopen(path, "r"));
  std::array<int, 4> values{};
  int returned = -9;
  scene.call([&] { returned = gethead(&values[0], stream.get(), &values[1], &values[2], &values[3]); });
  scene.tell("returned", returned);
  for (const int value : values) scene.tell("value", value);
  scene.tell("position", std::ftell(stream.get()));
}

void mar345_merged(Scene& scene, const char* path) {
  const test::Stream stream(std::fopen(path, "r"));
  constexpr int kEdge = 102;
  std::vector<int> image(std::size_t{kEdge} * kEdge, 7);
  std::array<int, 2> record{};
  scene.call([&] { int_getpck(image.data(), record.data(), 0, 0, path, 1, stream.get(), kEdge, kEdge, 3, 0, 256000); });
  scene.tell_all("image", image.data(), image.size());
  scene.tell_all("record", record.data(), record.size());
}

template <typename Function>
void correction_call(Scene& scene, const char* path, Function function) {
  const test::Stream stream(std::fopen(path, "r"));
  std::vector<std::uint32_t> buffer(1200, 7);
  int returned = -9;
  scene.call([&] { returned = function(buffer.data(), stream.get()); });
  scene.tell("returned", returned);
  scene.tell_all("buffer", buffer.data(), buffer.size());
}

void correction_record(Scene& scene, const char* path) {
  correction_call(scene, path, getcorr);
}

void correction_image(Scene& scene, const char* path) {
  correction_call(scene, path, [](void* buffer, std::FILE* stream) { return getmod(buffer, stream, 30, 40); });
}

Sample correction_sample() {
  return {corpus::Random(4).bytes(4800), 0};
}

constexpr const char* kUntouched = "returned=0\nsize=-7x-8\narray=untouched\n";

}  // namespace

std::vector<Reader> file_readers() {
  const Sample newer = mar345_sample({true, false});
  return {
      {"read_raw", "read_raw", raw_sample(), raw, "# " RED_ERROR " READING @\n", kUntouched},
      {"read_bnl", "read_bnl", bnl_sample(), bnl, "# \033[0mERROR\033[0m reading File @\n",
       "returned=0\nsize=-7x-8\narray=untouched\nvalue=-1\nvalue=-1\nvalue=-1\nvalue=-1\nvalue=-1\n"},
      {"read_edf", "read_edf", edf_sample(), edf, "# \033[0mERROR\033[0m READING @\n",
       "returned=0\nsize=0x-8\narray=untouched\nbits=-1\n"},
      {"read_saint", "read_saint", saint_sample(), saint, "# \033[0mERROR\033[0m READING @\n", kUntouched},
      {"read_tiff", "read_tiff", tiff_sample(), tiff, "# \033[0mERROR\033[0m reading file @\n", kUntouched},
      {"read_mar_ccd", "read_mar_ccd", mar_ccd_sample(), mar_ccd, "",
       "returned=0\nsize=-7x-8\narray=untouched\ndistance=-999\noverflows=-8\n"},
      {"read_mar_ccd_header", "read_mar_ccd_header", mar_ccd_sample(), summary<read_mar_ccd_header>,
       "# " RED_ERROR " reading @\n",
       "returned=0\noverflows=-8\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nminimum=0\nmaximum=0\n"
       "name=\n"},
      {"readpack_word_c", "readpack_word_c", packed_sample(), packed_file, "# @ does not exist."},
      {"read_pck", "read_pck", pck_sample(), pck, "# \033[0mERROR\033s [0m opening @\n", kUntouched},
      {"read_marheader", "read_marheader", newer, mar345_text, "",
       "returned=0\ntext=\ntext=\ntext=\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\n"
       "value=0\nvalue=0\nvalue=0\nvalue=0\nvalue=0\n"},
      {"new_read_pck", "new_read_pck", newer, mar345_frame, "", kUntouched},
      {"new_read_pck_swapped", "new_read_pck", mar345_sample({true, true}), mar345_frame, "", kUntouched},
      {"new_read_pck_old", "new_read_pck", mar345_sample({false, false}), mar345_frame, "", kUntouched},
      {"new_read_pck_old_swapped", "new_read_pck", mar345_sample({false, true}), mar345_frame, "", kUntouched},
      {"readpck", "readpck", packed_sample(), mar345_packed, "ERROR> @ does not exist."},
  };
}

std::vector<Reader> readers() {
  const Sample newer = mar345_sample({true, false});
  Sample bits = packed_sample();
  bits.bytes.erase(0, bits.header);
  bits.header = 0;
  std::vector<Reader> all = file_readers();
  // It opens a file, but prints its summary whatever is in there.
  all.push_back({"read_mar_header", "read_mar_header", newer, summary<read_mar_header>});
  all.push_back({"read_edf_header", "read_edf_header", edf_sample(), edf_header});
  all.push_back({"read_saint_header", "read_saint_header", saint_sample(), saint_header});
  all.push_back({"unpack_word", "unpack_word", bits, packed_stream});
  all.push_back({"gethead", "gethead", newer, mar345_words});
  all.push_back({"int_getpck", "int_getpck", newer, mar345_merged});
  all.push_back({"getcorr", "getcorr", correction_sample(), correction_record});
  all.push_back({"getmod", "getmod", correction_sample(), correction_image});
  return all;
}

std::string with_path(std::string text, const std::string& path) {
  if (const std::size_t at = text.find('@'); at != std::string::npos) text.replace(at, 1, path);
  return text;
}

}  // namespace trust
