#include "bench/limits.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

namespace bench {

void read_once(const void* bytes, std::size_t count) {
  const auto* words = static_cast<const std::uint32_t*>(bytes);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < count / sizeof *words; ++i) sum += words[i];
  benchmark::DoNotOptimize(sum);
}

void write_once(void* bytes, std::size_t count) {
  std::memset(bytes, 1, count);
  benchmark::ClobberMemory();
}

}  // namespace bench
