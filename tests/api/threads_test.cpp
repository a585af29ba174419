// The frame library in eight threads at once: each works on frames of its own, and all read one that nobody changes.
#include <array>
#include <cstdlib>
#include <thread>

#include "tests/api/files.h"

namespace {

using Counts = std::vector<std::uint32_t>;

// What one thread finds; the same in each.
std::string work(const xrd_frame* shared, const std::string& file) {
  const test::OptionsHandle options(xrd_options_new());
  std::string found;
  for (int round = 0; round < 20; ++round) {
    xrd_options_set(options.get(), "scale", "log", nullptr);
    xrd_options_set(options.get(), "no such option", "x", nullptr);
    xrd_frame* made = nullptr;
    xrd_load_memory(file.data(), file.size(), nullptr, options.get(), &made, nullptr);
    const test::FrameHandle frame(made);
    xrd_apply(made, "rotate", nullptr, nullptr);
    xrd_bin(made, 2, nullptr);
    for (const char* const format : {"png", "edf", "tif"}) {
      void* bytes = nullptr;
      std::size_t size = 0;
      xrd_save_memory(round % 2 == 0 ? made : shared, format, options.get(), &bytes, &size, nullptr, nullptr);
      found.append(static_cast<const char*>(bytes), size);
      std::free(bytes);
    }
    xrd_statistics statistics{};
    xrd_statistics_of(shared, &statistics, nullptr);
    found += std::to_string(statistics.mean) + xrd_item_name(shared, 0) + xrd_format_keyword(0);
  }
  return found;
}

TEST(FrameThreads, EightDoTheSameAsOne) {
  Counts counts(std::size_t{64} * 48);
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = static_cast<std::uint32_t>(i * 37 % 1000);
  const std::string file = test::edf(64, 48, counts);
  const auto shared = test::loaded(file);
  std::array<std::string, 8> found;
  std::vector<std::thread> threads;
  for (std::string& one : found) threads.emplace_back([&] { one = work(shared.get(), file); });
  for (std::thread& thread : threads) thread.join();
  const std::string alone = work(shared.get(), file);
  EXPECT_FALSE(alone.empty());
  for (const std::string& one : found) EXPECT_TRUE(one == alone);
}

}  // namespace
