// Frames to measure on, and a place for their files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct Frame {
  std::string name;
  std::string path;  // of the mar345 file
  int width = 0;
  int height = 0;
  std::vector<unsigned int> counts;  // as new_read_pck gives them
  std::vector<short> words;          // as unpack_word gives them

  std::size_t pixels() const { return counts.size(); }
};

// The synthetic frame of size x size pixels.
Frame make_frame(int size);

// The synthetic frame of the usual size, and the real one where it lies beside the sources.
std::vector<Frame> load_frames();

// A file of the benchmark's own folder, which is removed at the end.
std::string scratch_path(const std::string& name);

}  // namespace bench
