#include "bench/frames.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "frames/synthetic_frame.h"
#include "frames/writers/mar345_file.h"
#include "support/files.h"
#include "support/memory.h"
#include "xrdimage.h"

namespace bench {

namespace {

class ScratchFolder {
 public:
  ScratchFolder() {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make a folder in /tmp");
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_ = "/tmp/xrdimage_bench.XXXXXX";
};

Frame load(std::string name, std::string path) {
  Frame frame;
  unsigned int* pixels = nullptr;
  if (new_read_pck(path.c_str(), &pixels, &frame.width, &frame.height) == 0) {
    throw std::runtime_error("cannot read " + path);
  }
  const xrd::MallocArray<unsigned int> owner(pixels);
  frame.counts.assign(pixels, pixels + static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height));
  frame.words.resize(frame.counts.size());
  readpack_word_c(frame.words.data(), path.c_str());
  frame.name = std::move(name);
  frame.path = std::move(path);
  return frame;
}

}  // namespace

std::string scratch_path(const std::string& name) {
  static const ScratchFolder folder;
  return folder.path() + "/" + name;
}

Frame make_frame(int size) {
  const std::string path = scratch_path("sample.mar2300");
  {
    const xrd::FileHandle stream = xrd::open_file(path.c_str(), "wb");
    frames::write_mar345(frames::make_synthetic_frame(size, 1), stream.get());
  }
  return load("sample", path);
}

std::vector<Frame> load_frames() {
  std::vector<Frame> frames{make_frame(2300)};
  const std::string real = XRDIMAGE_SAMPLES "/nx09_strain_011.mar2300";
  if (std::filesystem::exists(real)) frames.push_back(load("real", real));
  return frames;
}

}  // namespace bench
