#include <string>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace corpus {

namespace {

void colour_map(Run& run) {
  run.record([] { write_colormap("colours"); });
  run.record_file("colours");
  run.record([] { write_colormap("absent/colours"); });
}

void dumps(Run& run) {
  for (const unsigned shift : {0U, 12U, 16U}) {
    auto pixels = run.random.numbers<unsigned int>(700, shift);
    run.record([&] { write_zimg("frame.raw", pixels.data(), 700); });
    run.record_file("frame.raw");
    run.record([&] { write_zimg("absent/frame.raw", pixels.data(), 700); });
  }
}

void short_dumps(Run& run) {
  auto pixels = run.random.numbers<unsigned short>(700);
  for (const int count : {700, 0, -1}) {
    run.record([&] { write_short_zimg("frame.raw", pixels.data(), count); });
    run.record_file("frame.raw");
    run.record([&] { write_short_zimg("absent/frame.raw", pixels.data(), count); });
  }
}

void views(Run& run) {
  for (const char* name : {"frame", "two words", "-x", "it's"}) {
    for (const int divisor : {1, 4, 0, -3}) {
      auto pixels = run.random.numbers<unsigned int>(600, 8);
      const test::ShellRecorder shell([&](const std::string& command) {
        run.digest.add(command);
        return 512;
      });
      run.record([&] { return view(name, pixels.data(), 30, 20, divisor); });
      run.record_file(std::string(name) + ".raw");
      run.record_file("colormap.zimg");
    }
  }
}

}  // namespace

Functions display() {
  return {{"write_colormap", colour_map}, {"write_zimg", dumps}, {"write_short_zimg", short_dumps}, {"view", views}};
}

}  // namespace corpus
