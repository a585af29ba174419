// What each function does when memory runs out: every one of its allocations fails once. The functions are those of the
// static library, beside the static flat one.
#include "tests/trust/memory.h"

#include <cstdlib>
#include <functional>
#include <map>

#include "tests/api/files.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace {

using test::Detail;
using trust::memory::Lack;
using Counts = std::vector<std::uint32_t>;

constexpr int kSide = 12;

// Objects that the calls work on; what they make is released again.
struct Scene {
  Scene() {
    directory.write("a.edf", file);
    xrd_set_text(frame.get(), "date", "2024-05-06 07:08:09", nullptr);
    void* bytes = nullptr;
    std::size_t size = 0;
    EXPECT_EQ(xrd_save_memory(frame.get(), "tiff", nullptr, &bytes, &size, nullptr, nullptr), XRD_OK);
    tiff.assign(static_cast<const char*>(bytes), size);
    std::free(bytes);
  }

  test::TemporaryDirectory directory;
  std::string file = test::edf(4, 4, Counts(16, 70000), "Title = a text that no short string holds ;\n");
  std::string cut = file.substr(0, file.size() - 4);
  std::string in_path = directory.path("a.edf");
  std::string out_path = directory.path("out.edf");
  std::string tiff;
  test::FrameHandle frame = test::frame_of(kSide, kSide, Counts(kSide* kSide, 70000),
                                           std::vector<unsigned char>(kSide* kSide, XRD_MASK_SATURATED));
  test::OptionsHandle options{xrd_options_new()};
};

using Call = std::function<xrd_result(Scene& scene, char* detail)>;

// A call that makes a frame, which is freed.
template <typename Make>
Call making(Make make) {
  return [make](Scene& scene, char* detail) {
    xrd_frame* frame = nullptr;
    const xrd_result result = make(scene, &frame, detail);
    EXPECT_EQ(frame != nullptr, result == XRD_OK);
    xrd_free(frame);
    return result;
  };
}

template <typename Save>
Call saving(Save save) {
  return [save](Scene& scene, char* detail) {
    xrd_lines* lines = nullptr;
    const xrd_result result = save(scene, &lines, detail);
    if (result != XRD_OK) {
      EXPECT_EQ(lines, nullptr);
    }
    xrd_lines_free(lines);
    return result;
  };
}

// What is saved is all there.
Call to_memory(const char* format) {
  return saving([format, whole = std::make_shared<std::size_t>(0)](Scene& scene, xrd_lines** lines, char* detail) {
    void* bytes = nullptr;
    std::size_t size = 0;
    const xrd_result result = xrd_save_memory(scene.frame.get(), format, nullptr, &bytes, &size, lines, detail);
    EXPECT_EQ(bytes != nullptr, result == XRD_OK);
    std::free(bytes);
    if (*whole == 0) *whole = size;
    EXPECT_TRUE(result != XRD_OK || size == *whole) << format;
    return result;
  });
}

// A copy is changed. When that fails, it is as it was.
template <typename Change>
Call changing(Change change) {
  return [change](Scene& scene, char* detail) {
    xrd_frame* copy = nullptr;
    const xrd_result copied = xrd_copy(scene.frame.get(), &copy, detail);
    if (copied != XRD_OK) return copied;
    const test::FrameHandle owner(copy);
    const xrd_result result = change(copy, detail);
    if (result != XRD_OK) {
      EXPECT_EQ(xrd_width(copy), kSide);
      EXPECT_EQ(static_cast<const std::uint32_t*>(xrd_counts(copy))[15], 70000U);
      EXPECT_EQ(xrd_mask(copy)[15], XRD_MASK_SATURATED);
    }
    return result;
  };
}

Call applying(const char* operation, const char* value) {
  return changing([=](xrd_frame* frame, char* detail) { return xrd_apply(frame, operation, value, detail); });
}

Call setting(const char* name, const char* value) {
  return [=](Scene& /*scene*/, char* detail) {
    xrd_options* const options = xrd_options_new();
    const xrd_result result = options == nullptr ? XRD_NO_MEMORY : xrd_options_set(options, name, value, detail);
    xrd_options_free(options);
    return result;
  };
}

std::map<std::string, Call> calls() {
  return {
      {"set range", setting("range", "0-500")},
      {"set rings", setting("rings", "4,3,2")},
      {"set format", setting("format", "marccd")},
      {"set a wrong size", setting("size", "a size that is none, and long")},
      {"detect",
       [](Scene& scene, char* detail) {
         const char* keyword = nullptr;
         return xrd_detect(scene.in_path.c_str(), &keyword, detail);
       }},
      {"detect memory",
       [](Scene& scene, char* detail) {
         const char* keyword = nullptr;
         return xrd_detect_memory(scene.file.data(), scene.file.size(), "a name", &keyword, detail);
       }},
      {"load", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load(scene.in_path.c_str(), scene.options.get(), frame, detail);
       })},
      {"load memory", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load_memory(scene.file.data(), scene.file.size(), nullptr, nullptr, frame, detail);
       })},
      {"load a damaged frame", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load_memory(scene.cut.data(), scene.cut.size(), nullptr, nullptr, frame, detail);
       })},
      {"load a TIFF file", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load_memory(scene.tiff.data(), scene.tiff.size(), nullptr, nullptr, frame, detail);
       })},
      {"load header", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load_header(scene.in_path.c_str(), nullptr, frame, detail);
       })},
      {"load header memory", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_load_header_memory(scene.file.data(), scene.file.size(), nullptr, nullptr, frame, detail);
       })},
      {"create", making([](Scene& /*scene*/, xrd_frame** frame, char* detail) {
         const std::array<std::uint32_t, 2> counts{1, 2};
         const std::array<unsigned char, 2> mask{0, 1};
         return xrd_create(2, 1, XRD_UINT32, counts.data(), mask.data(), frame, detail);
       })},
      {"copy", making([](Scene& scene, xrd_frame** frame, char* detail) {
         return xrd_copy(scene.frame.get(), frame, detail);
       })},
      {"save", saving([](Scene& scene, xrd_lines** lines, char* detail) {
         return xrd_save(scene.frame.get(), scene.out_path.c_str(), nullptr, lines, detail);
       })},
      {"save edf", to_memory("edf")},
      {"save raw, with a warning", to_memory("raw")},
      {"save tiff", to_memory("tiff")},
      {"save png", to_memory("png")},
      {"save mar345", to_memory("mar345")},
      {"save packed", to_memory("packed")},
      {"save adsc", to_memory("adsc")},
      {"save npy", to_memory("npy")},
      {"set text", changing([](xrd_frame* frame, char* detail) {
         return xrd_set_text(frame, "date", "a text that no short string holds", detail);
       })},
      {"set number", changing([](xrd_frame* frame, char* detail) {
         const double value = 1;
         return xrd_set_number(frame, "beam_x_pixels", &value, detail);
       })},
      {"statistics",
       [](Scene& scene, char* detail) {
         xrd_statistics statistics{};
         return xrd_statistics_of(scene.frame.get(), &statistics, detail);
       }},
      {"crop", changing([](xrd_frame* frame, char* detail) { return xrd_crop(frame, 1, 1, 2, 2, detail); })},
      {"bin", changing([](xrd_frame* frame, char* detail) { return xrd_bin(frame, 2, detail); })},
      {"fit", changing([](xrd_frame* frame, char* detail) { return xrd_fit(frame, 5, 3, detail); })},
      {"rotate", changing([](xrd_frame* frame, char* detail) { return xrd_rotate(frame, 3, detail); })},
      {"flip", changing([](xrd_frame* frame, char* detail) { return xrd_flip(frame, 1, detail); })},
      {"smooth", changing([](xrd_frame* frame, char* detail) { return xrd_smooth(frame, 1, 1, detail); })},
      {"apply mean", applying("mean", "1")},
      {"apply log", applying("log", "10")},
      {"apply to-16-bits", applying("to-16-bits", nullptr)},
      {"apply box", applying("box", "2,2,1,1,1,1")},
      {"apply an unknown operation", applying("an operation that there is not", nullptr)},
  };
}

class NoMemory : public ::testing::TestWithParam<Lack> {};

TEST_P(NoMemory, IsAResultAndLosesNothing) {
  Scene scene;
  for (const auto& [name, call] : calls()) {
    const xrd_result usual = call(scene, nullptr);  // and what is made once and kept is there
    std::size_t failures = 0;
    for (std::size_t failing = 1;; ++failing) {
      Detail detail;
      trust::memory::watch(failing, GetParam());
      const xrd_result result = call(scene, detail);
      const bool has_failed = trust::memory::has_failed();
      const std::size_t left = trust::memory::outstanding();
      trust::memory::unwatch();
      ASSERT_EQ(left, 0U) << name << ", allocation " << failing;
      if (!has_failed) {
        EXPECT_EQ(result, usual) << name << ": " << detail.text();
        break;
      }
      ++failures;
      ASSERT_TRUE(result == XRD_NO_MEMORY || result == usual) << name << ", allocation " << failing << ": " << result;
      if (result == XRD_NO_MEMORY && detail.text() != Detail::kUntouched) {
        ASSERT_EQ(detail.text(), "needs more memory than is available") << name << ", allocation " << failing;
      }
    }
    EXPECT_TRUE(failures > 0 || name == "statistics") << name;
  }
  // Nor is a file left that was not completed.
  for (const auto& entry : std::filesystem::directory_iterator(scene.directory.path(""))) {
    EXPECT_TRUE(entry.path() == scene.in_path || entry.path() == scene.out_path) << entry.path();
  }
}

INSTANTIATE_TEST_SUITE_P(Each, NoMemory, testing::Values(Lack::kOfOne, Lack::kFromThereOn));

TEST(NoMemory, OptionsAreNull) {
  trust::memory::watch(1, Lack::kOfOne);
  xrd_options* const options = xrd_options_new();
  trust::memory::unwatch();
  EXPECT_EQ(options, nullptr);
}

TEST(StaticLibraries, CanBeLinkedTogether) {
  std::array<unsigned int, 2> pixels{1, 3};
  unsigned int largest = 0;
  unsigned int smallest = 0;
  find_maximum(pixels.data(), 2, 1, &largest, &smallest);
  EXPECT_EQ(largest, 3U);
  EXPECT_STREQ(xrd_version(), XRDIMAGE_VERSION);
}

}  // namespace
