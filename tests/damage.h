// Damaged copies of files, for tests that readers survive them.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/environment.h"

namespace test {

// Lengths to cut a file to: every one within the header, its end included, and 100 within what follows.
inline std::vector<std::size_t> cut_lengths(std::size_t header, std::size_t size) {
  std::vector<std::size_t> lengths;
  for (std::size_t length = 0; length <= header; ++length) lengths.push_back(length);
  for (std::size_t place = 0; place < 100; ++place) lengths.push_back(header + (size - header) * place / 100);
  return lengths;
}

inline unsigned random_below(std::mt19937& random, std::size_t bound) {
  return static_cast<unsigned>(random() % bound);
}

// The file with one to four of its first `front` bytes replaced by random ones.
inline std::string with_random_bytes(std::string file, std::size_t front, std::mt19937& random) {
  const unsigned count = 1 + random_below(random, 4);
  for (std::size_t i = 0; i < count; ++i) file[random_below(random, front)] = static_cast<char>(random());
  return file;
}

// Replaces a file. The old one is removed first: on some file systems, writing over a file waits
// for the disk.
inline std::string rewrite(const TemporaryDirectory& directory, const std::string& name, std::string_view bytes) {
  std::remove(directory.path(name).c_str());
  return directory.write(name, bytes);
}

// Runs the action and closes the descriptors that it leaves open, so that thousands of runs do not use them up. Returns
// how many there were.
inline int descriptors_left_open(const std::function<void()>& action) {
  constexpr std::size_t kLimit = 256;
  const auto is_open = [](std::size_t descriptor) { return fcntl(static_cast<int>(descriptor), F_GETFD) != -1; };
  std::array<bool, kLimit> before{};
  for (std::size_t i = 0; i < kLimit; ++i) before[i] = is_open(i);
  action();
  int left = 0;
  for (std::size_t i = 0; i < kLimit; ++i) {
    if (before[i] || !is_open(i)) continue;
    close(static_cast<int>(i));
    ++left;
  }
  return left;
}

// Runs the check for each of `rounds` files, with all output kept away from the log. A check returns what is wrong, or
// nothing. Returns the first complaint and its round.
inline std::string first_problem(std::size_t rounds, const std::function<std::string(std::size_t)>& check) {
  std::string problem;
  capture([&] {
    for (std::size_t round = 0; round < rounds && problem.empty(); ++round) {
      problem = check(round);
      if (!problem.empty()) problem += " in round " + std::to_string(round);
    }
  });
  return problem;
}

// What is no image at all: an empty file, a device without bytes, a directory.
inline std::vector<std::string> non_images(const TemporaryDirectory& directory) {
  return {directory.write("empty", ""), "/dev/null", directory.path("")};
}

}  // namespace test
