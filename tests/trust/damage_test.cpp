// Readers on damaged files: cut at every byte of the header and at places of the data, and with every single bit of the
// first bytes turned over. The loaders of the program have such tests of their own.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>

#include "tests/damage.h"
#include "tests/environment.h"
#include "tests/trust/child.h"
#include "tests/trust/memory.h"
#include "tests/trust/readers.h"

namespace {

// Instead of an assertion that ends the process.
struct FailedAssertion {};

bool throws_assertions = false;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

// xrd::fail_assertion, by its name in objects.
extern "C" {
[[noreturn]] void __real__ZN3xrd14fail_assertionEPKcS1_jS1_(const char*, const char*, unsigned, const char*);
[[noreturn]] void __wrap__ZN3xrd14fail_assertionEPKcS1_jS1_(const char*, const char*, unsigned, const char*);
}

void __wrap__ZN3xrd14fail_assertionEPKcS1_jS1_(const char* expression, const char* source, unsigned line,
                                               const char* function) {
  if (throws_assertions) throw FailedAssertion();
  __real__ZN3xrd14fail_assertionEPKcS1_jS1_(expression, source, line, function);
}

namespace {

namespace memory = trust::memory;
using trust::Reader;
using trust::Scene;

// Damaged sizes find no more memory than this.
constexpr std::size_t kMemory = std::size_t{16} << 20;

// How many bytes of the front get wrong bits.
constexpr std::size_t kFront = 512;

// A file that is damaged and mended again and again.
class Patient {
 public:
  explicit Patient(const std::string& bytes) : bytes_(bytes) {
    trust::write_file("frame", bytes);
    descriptor_ = open("frame", O_RDWR);
  }
  Patient(const Patient&) = delete;
  Patient& operator=(const Patient&) = delete;
  ~Patient() { close(descriptor_); }

  void cut(std::size_t length) const { EXPECT_EQ(ftruncate(descriptor_, static_cast<off_t>(length)), 0); }
  void flip(std::size_t bit) const { put(bit / 8, static_cast<char>(bytes_[bit / 8] ^ (1 << (bit % 8)))); }
  void mend(std::size_t bit) const { put(bit / 8, bytes_[bit / 8]); }

 private:
  void put(std::size_t place, char byte) const {
    EXPECT_EQ(pwrite(descriptor_, &byte, 1, static_cast<off_t>(place)), 1);
  }

  const std::string& bytes_;
  int descriptor_;
};

// What the reader tells of the file; nothing when it ends with an assertion. New memory is full of the byte.
std::optional<std::string> told_by(const Reader& reader, unsigned char byte) {
  Scene scene;
  memory::fill_with(byte);
  scene.begin = [] { memory::watch(0, memory::Lack::kOfOne); };
  scene.end = [] { memory::unwatch(); };
  try {
    reader.read(scene, "frame");
  } catch (const FailedAssertion&) {
    memory::unwatch();
    return std::nullopt;
  }
  return scene.story();
}

// Of a function that makes an image: either it and its size are there, or they are as before, and the result says
// which.
std::string image_complaint(const Reader& reader, const std::string& told) {
  const std::string untouched = "array=untouched\n";
  const std::string failure = reader.told_then == nullptr ? "" : reader.told_then;
  const std::size_t end = failure.find(untouched);
  if (end == std::string::npos) return "";
  if (told.find(untouched) != std::string::npos) {
    return told.starts_with(failure.substr(0, end)) ? "" : "changed without an image";
  }
  const std::string_view function = reader.function;
  const bool tells = function == "new_read_pck" || function == "read_mar_ccd";
  return told.starts_with(tells ? "returned=1\n" : "returned=0\n") ? "" : "another result";
}

// What runs on damaged files have come to.
struct Count {
  std::size_t runs = 0;
  std::size_t without_image = 0;
  std::size_t assertions = 0;
};

// Reads the file as it is; a complaint when something is wrong.
std::string complaint(const Reader& reader, Count& count) {
  constexpr std::size_t kTwice = 8;  // one run of so many is repeated, to find values that nobody sets
  std::optional<std::string> told;
  std::string problem;
  test::descriptors_left_open([&] {
    told = told_by(reader, 0xA5);
    ++count.runs;
    if (!told) {
      ++count.assertions;
      return;
    }
    if (told->find("array=untouched") != std::string::npos) ++count.without_image;
    problem = image_complaint(reader, *told);
    if (told->find("array=wrong") != std::string::npos) problem = "an array of another size";
    if (count.runs % kTwice == 0 && told_by(reader, 0x5A) != told) problem = "values that are not set";
    if (count.runs % kTwice == 0 && told->find("array=untouched") != std::string::npos) ++count.without_image;
  });
  if (memory::outstanding() != 0) problem += " memory not released";
  if (!problem.empty()) problem += ":\n" + told.value_or("assertion");
  return problem;
}

bool makes_large_images(const Reader& reader) {
  return std::string_view(reader.function) == "read_pck";
}

std::vector<std::size_t> lengths_to_cut_to(const Reader& reader) {
  const auto& [bytes, header] = reader.sample;
  std::vector<std::size_t> lengths;
  for (std::size_t length = 0; length <= header; ++length) {
    // Of an image that always has 1200 x 1200 pixels, fewer.
    if (makes_large_images(reader) && length > 16 && length + 64 < header && length % 32 != 0) continue;
    lengths.push_back(length);
  }
  for (std::size_t place = 1; place <= 200; ++place) lengths.push_back(header + (bytes.size() - header) * place / 200);
  std::ranges::reverse(lengths);
  return lengths;
}

bool is_flipped(const Reader& reader, std::size_t bit) {
  // The same: of what its reader ignores, a bit of every fourth byte.
  return !makes_large_images(reader) || bit < 80 || bit % 32 == 5;
}

std::string told(const Count& count) {
  return std::to_string(count.runs) + " runs, without image " + std::to_string(count.without_image) + ", assertions " +
         std::to_string(count.assertions);
}

std::size_t messages_of_failure(const std::string& out) {
  static constexpr std::string_view kMessages[] = {"ERROR\033[0m READING", "ERROR\033[0m reading",
                                                   "ERROR> Cannot allocate", "Not read correctly"};
  std::size_t count = 0;
  for (const std::string_view message : kMessages) {
    for (std::size_t at = out.find(message); at != std::string::npos; at = out.find(message, at + message.size()))
      ++count;
  }
  return count;
}

class Damage : public testing::TestWithParam<Reader> {
 protected:
  Damage() { directory_.enter(); }

  // Runs the check, which returns a complaint, in a process of its own; each run without an image has had a message.
  static void expect_survival(const std::function<std::string(Count&)>& check) {
    const trust::Ending ending = trust::in_child([&] {
      throws_assertions = true;
      memory::limit(kMemory);
      Count count;
      const std::string problem = check(count);
      return problem.empty() ? told(count) : "PROBLEM " + problem;
    });
    EXPECT_TRUE(ending.is_normal()) << ending.signal << " " << ending.status << "\n" << ending.err;
    EXPECT_FALSE(ending.told.starts_with("PROBLEM")) << ending.told;
    Count count;
    ASSERT_EQ(std::sscanf(ending.told.c_str(), "%zu runs, without image %zu, assertions %zu", &count.runs,
                          &count.without_image, &count.assertions),
              3)
        << ending.told;
    ASSERT_EQ(ending.told, told(count));
    const std::string_view function = GetParam().function;
    const bool asserts = function == "read_tiff" || function == "read_mar_ccd" || function == "new_read_pck";
    EXPECT_TRUE(asserts || count.assertions == 0) << ending.told;
    const std::string_view failure = GetParam().told_then == nullptr ? "" : GetParam().told_then;
    if (failure.find("array") == std::string_view::npos) return;  // it makes no image
    EXPECT_EQ(messages_of_failure(ending.out), count.without_image);
  }

 private:
  test::TemporaryDirectory directory_;
};

}  // namespace

TEST_P(Damage, EveryCutIsSurvived) {
  expect_survival([](Count& count) {
    const Patient file(GetParam().sample.bytes);
    for (const std::size_t length : lengths_to_cut_to(GetParam())) {
      file.cut(length);
      const std::string problem = complaint(GetParam(), count);
      if (!problem.empty()) return "cut at " + std::to_string(length) + ": " + problem;
    }
    return std::string();
  });
}

TEST_P(Damage, EveryWrongBitInFrontIsSurvived) {
  expect_survival([](Count& count) {
    const Patient file(GetParam().sample.bytes);
    for (std::size_t bit = 0; bit < 8 * std::min(kFront, GetParam().sample.bytes.size()); ++bit) {
      if (!is_flipped(GetParam(), bit)) continue;
      file.flip(bit);
      const std::string problem = complaint(GetParam(), count);
      file.mend(bit);
      if (!problem.empty()) return "bit " + std::to_string(bit) + ": " + problem;
    }
    return std::string();
  });
}

INSTANTIATE_TEST_SUITE_P(, Damage, testing::ValuesIn(trust::readers()),
                         [](const auto& information) { return std::string(information.param.name); });
