// Writers of files. Their limit is writing the bytes.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/plain.h"
#include "bench/rows.h"
#include "support/files.h"
#include "xrdimage.h"

namespace bench {

namespace {

void write_bytes(const std::string& path, const void* bytes, std::size_t count) {
  std::fwrite(bytes, 1, count, xrd::open_file(path.c_str(), "wb").get());
}

}  // namespace

Bytes file_bytes(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

Rows writing_rows(const Frame& frame) {
  const std::string edf = scratch_path("written.edf");
  const std::string dump = scratch_path("written.raw");
  auto* counts = const_cast<unsigned int*>(frame.counts.data());
  return {{.name = "edf32_write",
           .prepare = [=] { std::filesystem::remove(edf); },
           .library = [=, &frame] { edf32_write(edf.c_str(), counts, frame.width, frame.height); },
           .plain = [=, &frame] { plain::write_edf(edf.c_str(), counts, frame.width, frame.height); },
           .limit = [=, &frame] { write_bytes(edf, counts, frame.pixels() * sizeof(unsigned int)); },
           .results = [=] { return file_bytes(edf); }},
          {.name = "write_zimg",
           .prepare = [=] { std::filesystem::remove(dump); },
           .library = [=, &frame] { write_zimg(dump.c_str(), counts, static_cast<int>(frame.pixels())); },
           .plain = [=, &frame] { plain::write_dump(dump.c_str(), counts, frame.pixels()); },
           .limit = [=, &frame] { write_bytes(dump, counts, frame.pixels() * sizeof(unsigned short)); },
           .results = [=] { return file_bytes(dump); }}};
}

}  // namespace bench
