#include "tests/environment.h"
#include "tests/trust/calls.h"
#include "tests/trust/readers.h"
#include "xrdimage.h"

namespace trust {

namespace {

void image_type(Scene& scene) {
  const NoCommands no_commands;
  int type = -1;
  scene.call([&] { type = get_image_type(kLongName); });
  scene.tell("returned", type);
}

template <void (*write_edf)(const char*, const unsigned int*, int, int)>
void edf_write(Scene& scene) {
  const auto pixels = corpus::Random(1).numbers<unsigned int>(3000);
  scene.call([&] { write_edf("written.edf", pixels.data(), 60, 50); });
  scene.tell_file("written.edf");
}

// Large enough for several stretches and buffers.
constexpr int kEdge = 300;

std::vector<short> packed_pixels() {
  return corpus::Random(2).numbers<short>(std::size_t{kEdge} * kEdge, 20);
}

void packing(Scene& scene) {
  auto pixels = packed_pixels();
  const test::Stream stream(std::fopen("packed", "w"));
  scene.call([&] { pack_wordimage_c(pixels.data(), kEdge, kEdge, stream.get()); });
  std::fflush(stream.get());
  scene.tell_file("packed");
}

void packed_file_written(Scene& scene) {
  auto pixels = packed_pixels();
  PackedFileHeader header{};
  header.width = header.height = kEdge;
  int returned = -1;
  scene.call([&] { returned = tomar("written.pck", pixels.data(), 0, header); });
  scene.tell("returned", returned);
  scene.tell_file("written.pck");
}

void chunks(Scene& scene) {
  auto differences = corpus::Random(3).numbers<std::int32_t>(128, 16);
  const test::Stream stream(std::fopen("chunks", "w"));
  scene.call([&] {
    for (int i = 0; i < 100; ++i) pack_chunk(differences.data(), 128, 32, stream.get());
    pack_chunk(nullptr, 0, 0, stream.get());
  });
  std::fflush(stream.get());
  scene.tell_file("chunks");
}

void mar345_printed(Scene& scene) {
  const Mar345Header header{};
  scene.call([&] { print_marheader(&header); });  // returns what printf does
}

void closing(Scene& scene) {
  std::FILE* const stream = test::stream_of("bytes").release();
  int returned = -9;
  scene.call([&] { returned = fileclose("MODPIX.XDS", stream, nullptr, nullptr); });
  scene.tell("returned", returned);
}

void rewinding(Scene& scene) {
  const auto stream = test::stream_of("bytes");
  std::fseek(stream.get(), 3, SEEK_SET);
  scene.call([&] { filerewind("BKGPIX.XDS", nullptr, stream.get(), nullptr); });
  scene.tell("position", std::ftell(stream.get()));
}

void deleting(Scene& scene) {
  const NoCommands no_commands;
  int returned = -9;
  scene.call([&] { returned = filedelete(); });
  scene.tell("returned", returned);
}

void colormap(Scene& scene) {
  scene.call([] { write_colormap("colours"); });
  scene.tell_file("colours");
}

void dump(Scene& scene) {
  auto pixels = corpus::Random(6).numbers<unsigned int>(3000);
  scene.call([&] { write_zimg("dump.raw", pixels.data(), 3000); });
  scene.tell_file("dump.raw");
}

void short_dump(Scene& scene) {
  auto pixels = corpus::Random(7).numbers<unsigned short>(3000);
  scene.call([&] { write_short_zimg("dump.raw", pixels.data(), 3000); });
  scene.tell_file("dump.raw");
}

void viewing(Scene& scene) {
  const NoCommands no_commands;
  auto pixels = corpus::Random(8).numbers<unsigned int>(600, 8);
  int returned = -9;
  scene.call([&] { returned = view(kLongName, pixels.data(), 30, 20, 4); });
  scene.tell("returned", returned);
  scene.tell("commands", NoCommands::count());
  scene.tell_file(std::string(kLongName) + ".raw");
  scene.tell_file("colormap.zimg");
}

}  // namespace

std::vector<Call> file_calls() {
  std::vector<Call> all{{"get_image_type", image_type},
                        {"edf16_write", edf_write<edf16_write>},
                        {"edf32_write", edf_write<edf32_write>},
                        {"pack_wordimage_c", packing},
                        {"pack_chunk", chunks},
                        {"tomar", packed_file_written},
                        {"print_marheader", mar345_printed},
                        {"fileclose", closing},
                        {"filerewind", rewinding},
                        {"filedelete", deleting},
                        {"write_colormap", colormap},
                        {"write_zimg", dump},
                        {"write_short_zimg", short_dump},
                        {"view", viewing}};
  for (const Reader& reader : readers()) {
    if (std::string_view(reader.name) != reader.function) continue;  // the same function on another sample
    all.push_back({reader.function, [=](Scene& scene) {
                     write_file("frame", reader.sample.bytes);
                     reader.read(scene, "frame");
                   }});
  }
  return all;
}

}  // namespace trust
