// Fixed inputs for every exported function, and one number for all that comes out. It is the same on every processor.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/environment.h"

namespace corpus {

// FNV-1a, 64 bits. Integers of any width count by their value, texts and arrays with their length.
class Digest {
 public:
  template <typename Number>
  void add(Number number) requires std::is_arithmetic_v<Number> {
    if constexpr (std::is_floating_point_v<Number>) {
      // What is no number is so in many ways.
      const double value = std::isnan(number) ? std::numeric_limits<double>::quiet_NaN() : double{number};
      add_bytes(std::bit_cast<std::uint64_t>(value), 8);
    } else {
      add_bytes(static_cast<std::uint64_t>(static_cast<std::int64_t>(number)), 8);
    }
  }
  void add(std::string_view text) {
    add(text.size());
    for (const char byte : text) add_bytes(static_cast<unsigned char>(byte), 1);
  }
  void add(const char* text) { add(std::string_view(text)); }
  template <typename Element>
  void add(const Element* first, std::size_t count) {
    add(count);
    for (std::size_t i = 0; i < count; ++i) add(first[i]);
  }
  template <typename Element>
  void add(const std::vector<Element>& elements) {
    add(elements.data(), elements.size());
  }
  template <typename... Values>
  void add_all(const Values&... values) {
    (add(values), ...);
  }

  std::uint64_t value() const { return value_; }

 private:
  void add_bytes(std::uint64_t bytes, int count) {
    for (; count > 0; --count, bytes >>= 8) value_ = (value_ ^ (bytes & 0xFF)) * 1099511628211U;
  }

  std::uint64_t value_ = 14695981039346656037U;
};

// SplitMix64, of which the upper half is used.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint32_t next() {
    std::uint64_t mixed = state_ += 0x9E3779B97F4A7C15U;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return static_cast<std::uint32_t>((mixed ^ (mixed >> 31)) >> 32);
  }
  int between(int lowest, int highest) {
    const auto range = static_cast<std::uint32_t>(highest - lowest + 1);
    return lowest + static_cast<int>(next() % range);
  }
  // The uppermost bits that are left after shifting.
  template <typename Element>
  std::vector<Element> numbers(std::size_t count, unsigned shift = 0) {
    std::vector<Element> elements(count);
    for (Element& element : elements) element = static_cast<Element>(next() >> shift);
    return elements;
  }
  std::string bytes(std::size_t count) {
    std::string text(count, '\0');
    for (char& byte : text) byte = static_cast<char>(next());
    return text;
  }

 private:
  std::uint64_t state_;
};

// One function at work, in a directory of its own that is the working directory.
class Run {
 public:
  explicit Run(std::string_view function) : random(seed(function)) { directory_.enter(); }

  Digest digest;
  Random random;

  void write(std::string_view name, std::string_view bytes) const { directory_.write(name, bytes); }
  // What the action prints, and what it returns if anything.
  template <typename Action>
  void record(const Action& action) {
    const test::Output output = test::capture([&] {
      if constexpr (std::is_void_v<std::invoke_result_t<Action>>) {
        action();
      } else {
        digest.add(action());
      }
    });
    digest.add_all(output.out, output.err);
  }
  // A file that the action has written.
  void record_file(const std::string& name) { digest.add(test::read_file(name)); }
  // An array that the action has handed out, if it has. Releases it.
  template <typename Pixel>
  void record_image(Pixel* array, int width, int height) {
    digest.add_all(array != nullptr, width, height);
    if (array == nullptr) return;
    const auto owner = test::own(array);
    digest.add(array, static_cast<std::size_t>(std::max(width, 0)) * static_cast<std::size_t>(std::max(height, 0)));
  }

 private:
  static std::uint64_t seed(std::string_view function) {
    Digest digest;
    digest.add(function);
    return digest.value();
  }

  test::TemporaryDirectory directory_;
};

// What the action writes to the stream that it is given.
template <typename Action>
std::string written(const Action& action) {
  const auto stream = test::stream_of("");
  action(stream.get());
  std::rewind(stream.get());
  std::string bytes;
  for (int byte = std::fgetc(stream.get()); byte != EOF; byte = std::fgetc(stream.get())) {
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

struct Function {
  const char* name;
  void (*run)(Run&);

  friend void PrintTo(const Function& function, std::ostream* stream) { *stream << function.name; }
};
using Functions = std::vector<Function>;

Functions readers_and_writers();
Functions packed_images();
Functions mar345_files();
Functions correction_files();
Functions operations();
Functions display();

}  // namespace corpus
