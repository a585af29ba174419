// Measures the library's functions beside naive transcriptions and limits, as FRAME/ROW/library, plain and limit, and
// the program. With --check, runs each function once on a small frame and compares results only. With --read [FRAME],
// reads one frame, or none, and ends. With --peak COMMAND..., prints how many kilobytes of memory the command took.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "bench/peak.h"
#include "bench/rows.h"
#include "xrdimage.h"

namespace {

using bench::Frame;
using bench::Row;
using bench::Rows;

Rows all_rows(const Frame& frame) {
  Rows all;
  for (auto* part : {bench::packing_rows, bench::reading_rows, bench::writing_rows, bench::pixel_rows, bench::grid_rows,
                     bench::smoothing_rows}) {
    std::ranges::move(part(frame), std::back_inserter(all));
  }
  return all;
}

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void measure(benchmark::State& state, const Row& row, const std::function<void()>& run) {
  std::vector<double> times;
  for (auto _ : state) {
    row.prepare();
    const double begin = now();
    run();
    const double time = now() - begin;
    times.push_back(time);
    state.SetIterationTime(time);
  }
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  state.counters["median_ms"] = *middle * 1e3;
}

void add_benchmarks(const Frame& frame, const Row& row) {
  const auto add = [&](const char* variant, const std::function<void()>& run) {
    if (!run) return;
    const std::string name = frame.name + "/" + row.name + "/" + variant;
    auto* const added =
        benchmark::RegisterBenchmark(name.c_str(), [&row, run](benchmark::State& state) { measure(state, row, run); });
    added->UseManualTime()->Unit(benchmark::kMillisecond);
    if (row.runs > 0) added->Iterations(row.runs)->Repetitions(1);
  };
  add("library", row.library);
  add("plain", row.plain);
  add("limit", row.limit);
}

// How many rows do not agree.
int check(const Frame& frame, const Rows& rows) {
  int failed = 0;
  for (const Row& row : rows) {
    row.prepare();
    row.library();
    const bench::Bytes results = row.results();
    row.prepare();
    row.plain();
    if (!results.empty() && results == row.results()) continue;
    std::fprintf(stderr, "%s/%s: the library's results are not the plain ones\n", frame.name.c_str(), row.name.c_str());
    ++failed;
  }
  std::fprintf(stderr, "%s: %zu rows compared, %d failed\n", frame.name.c_str(), rows.size(), failed);
  return failed;
}

int read_and_end(const char* path) {
  unsigned int* pixels = nullptr;
  int width = 0;
  int height = 0;
  const int found = new_read_pck(path, &pixels, &width, &height);
  std::free(pixels);
  return found == 1 ? 0 : 1;
}

int print_peak(char** command) {
  const long peak = bench::peak_memory(command);
  if (peak < 0) return 1;
  std::printf("%ld\n", peak);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--check") {
    constexpr int kSize = 594;  // enough for every path, and even: smoothing leaves the size as it is
    const Frame frame = bench::make_frame(kSize);
    return check(frame, all_rows(frame)) == 0 ? 0 : 1;
  }
  if (argc >= 3 && std::string_view(argv[1]) == "--peak") return print_peak(argv + 2);
  if (argc >= 2 && std::string_view(argv[1]) == "--read") return argc == 2 ? 0 : read_and_end(argv[2]);
  // New arrays are memory that the process has had before, as in a program that goes through many frames.
  mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  const std::vector<Frame> frames = bench::load_frames();
  std::vector<Rows> rows;
  for (const Frame& frame : frames) {
    rows.push_back(all_rows(frame));
    std::ranges::move(bench::program_rows(frame), std::back_inserter(rows.back()));
  }
  for (std::size_t i = 0; i < frames.size(); ++i) {
    for (const Row& row : rows[i]) add_benchmarks(frames[i], row);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
