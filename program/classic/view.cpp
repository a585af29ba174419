#include "program/classic/view.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>

#include "frames/failure.h"
#include "program/classic/library_output.h"
#include "program/companions.h"
#include "program/print.h"
#include "program/scratch_folder.h"
#include "support/descriptor.h"
#include "xrdimage.h"

namespace program {

namespace {

namespace fs = std::filesystem;

// The library starts the viewer even if its files cannot be written.
void check_writable(const std::string& path) {
  const xrd::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
  if (!file) throw frames::Failure(path, std::string("cannot be written: ") + std::strerror(errno));
}

// The picture's range ends at the largest count divided by this.
int automatic_divisor(std::uint32_t largest, std::uint32_t high) {
  return std::max(1, static_cast<int>((std::uint64_t{largest} + high / 2) / high));
}

// The count that a share of the pixels does not exceed, at least 1.
std::uint32_t count_at_share(const frames::Counts& counts, double share) {
  std::vector<std::uint32_t> sorted(counts.begin(), counts.end());
  const auto rank = static_cast<std::ptrdiff_t>(std::ceil(share * static_cast<double>(sorted.size()))) - 1;
  std::ranges::nth_element(sorted, sorted.begin() + rank);
  return std::max(sorted[static_cast<std::size_t>(rank)], 1U);
}

}  // namespace

void view_classic(const std::string& path, frames::Frame& frame, std::optional<int> divisor, const Settings& settings) {
  constexpr double kShare = 0.995;
  constexpr std::uint32_t kLargestWord = 65535;
  const std::uint32_t high = count_at_share(frame.counts, kShare);
  for (std::uint32_t& count : frame.counts) count = std::min(count, kLargestWord);
  const std::uint32_t largest = std::ranges::max(frame.counts);
  const int used_divisor = divisor.value_or(automatic_divisor(largest, high));

  // The library writes its files to the working directory.
  const ScratchFolder scratch;
  const WorkingDirectory there(scratch.path());
  const std::string name = fs::path(path).stem().string();
  const std::string picture = name + ".png";
  check_writable(name + ".raw");
  add_companions_to_path();
  int status = 0;
  const xrd::LibraryReport report = run_library(settings, std::nullopt, [&] {
    status = view(name.c_str(), frame.counts.data(), frame.width, frame.height, used_divisor);
  });
  if (!report.errors.empty()) throw frames::Failure(path, xrd::joined_errors(report, path));
  if (!fs::exists(picture)) throw frames::Failure(picture, "the picture could not be made");
  print_value("range", "0-" + std::to_string(largest / static_cast<unsigned>(std::max(used_divisor, 1))) + " counts");
  print_value("divisor", std::to_string(used_divisor));
  if (status != 0) throw frames::Failure(picture, "the viewer failed");
}

}  // namespace program
