// What each exported function does when memory runs out: every one of its allocations fails once.
#include "tests/trust/memory.h"

#include <csignal>
#include <map>
#include <set>
#include <sstream>

#include "tests/environment.h"
#include "tests/exported_functions.h"
#include "tests/trust/calls.h"
#include "tests/trust/child.h"
#include "xrdimage.h"

namespace {

using trust::Call;
using trust::Ending;
using trust::memory::Lack;

#define PLAIN_ERROR "\033[0mERROR\033[0m"

// One of the ends that a call may come to without memory.
struct Outcome {
  int signal = 0;
  std::string out;
  std::string err;  // of an assertion, the end of its message
  std::string told;
};

Outcome message(std::string out, std::string told, std::string err = "") {
  return {0, std::move(out), std::move(err), std::move(told)};
}

Outcome assertion(const std::string& place, const std::string& expression) {
  return {SIGABRT, "", ": " + place + ": Assertion `" + expression + "' failed.\n", ""};
}

// The call does without, and comes to the same end as with memory.
Outcome unharmed(const Ending& with_memory) {
  return {0, with_memory.out, with_memory.err, with_memory.told};
}

constexpr const char* kNoImage = "returned=0\nsize=-7x-8\narray=untouched\n";

// The image that grid calls smooth, its width made even, as told.
template <typename Pixel>
std::string told_of_fitted_image() {
  constexpr int kWidth = trust::kSmoothWidth;
  constexpr int kHeight = trust::kSmoothHeight;
  const auto pixels = corpus::Random(9).numbers<Pixel>(std::size_t{kWidth} * kHeight, 20);
  std::vector<Pixel> fitted;
  for (int row = 0; row < kHeight; ++row) {
    fitted.insert(fitted.end(), pixels.begin() + row * kWidth, pixels.begin() + (row + 1) * kWidth);
    fitted.push_back(0);
  }
  trust::Scene scene;
  scene.tell("returned", 0);
  scene.tell("size", "258x258");
  scene.tell_all("array", fitted.data(), fitted.size());
  return scene.story();
}

const std::string kName = trust::kLongName;

using Outcomes = std::vector<Outcome>;

Outcomes outcomes_of_readers(const std::string& function) {
  const std::map<std::string, Outcomes> table{
      {"get_image_type", {message("# " RED_ERROR " no memory to look at " + kName + "\n", "returned=0\n")}},
      {"read_raw",
       {message("# Detector x y [1200 1200]> # " RED_ERROR " READING frame: cannot allocate 12 x 9 pixels\n",
                kNoImage)}},
      {"read_bnl",
       {message("# detector=907 type=unsigned_short; adc=fast; bin=2x2; saturation=65535\n"
                "# Dim=2, x=12 y=9, Beam_x=94.2, Beam_y=93.5 pixelsize=0.10240\n"
                "# Date=Mon Jan 12 10:11:12 2004;\n"
                "# Lambda=0.9793, Axis=phi; start=120.125, end=0.300, time=12.5\n"
                "# " PLAIN_ERROR " reading File frame: cannot allocate 12 x 9 pixels\n",
                "returned=0\nsize=-7x-8\narray=untouched\nvalue=151.7\nvalue=0.97934\nvalue=120.125\nvalue=0.3\n"
                "value=12.5\n")}},
      {"read_edf",
       {message("# UnsignedShort found -> 16bit\n\n# Scanned: 2004 Jan 12\n"
                "# ByteOrder: LowByteFirst, BitsPerSample: 16, Binning: 2\n\n"
                "# " PLAIN_ERROR " READING frame: cannot allocate 10 x 7 pixels\n",
                "returned=0\nsize=0x-8\narray=untouched\nbits=16\n")}},
      {"read_saint", {message("# " PLAIN_ERROR " READING frame: cannot allocate 11 x 6 pixels\n", kNoImage)}},
      {"read_tiff",
       {assertion("tiff_format:26: read_tiff", "*Daten =(unsigned int*)malloc(sizeof(unsigned int)*size)"),
        message("# " PLAIN_ERROR " reading file frame: cannot allocate 13 x 10 pixels\n", kNoImage)}},
      {"read_mar_ccd",
       {assertion("mar_ccd_format:262: read_mar_ccd", "data->Daten =(unsigned int*)malloc(sizeof(unsigned int)*size)"),
        message("# " RED_ERROR " reading file frame: cannot allocate 13 x 10 pixels\n",
                "returned=0\nsize=-7x-8\narray=untouched\ndistance=150.75\noverflows=5\n")}},
      {"read_pck", {message("# " RED_ERROR " opening frame: cannot allocate 1200 x 1200 pixels\n", kNoImage)}},
      {"new_read_pck",
       {assertion("pck_format:156: new_read_pck", "(*Daten)=(unsigned int*) malloc(sizeof(unsigned int)**x**y)")}},
  };
  const auto found = table.find(function);
  return found != table.end() ? found->second : Outcomes{};
}

Outcomes outcomes_of_operations(const std::string& function) {
  const std::map<std::string, Outcomes> table{
      {"binning",
       {message("# " RED_ERROR ": cannot bin 60x50 pixels by 2\n", "returned=0\nsize=60x50\narray=untouched\n")}},
      {"short_binning",
       {message("# " RED_ERROR ": cannot bin 60x50 pixels by 2\n", "returned=0\nsize=60x50\narray=untouched\n")}},
      {"fit_to_new_dimension",
       {message("# fitting dimension from 60x50 to 40x40\n# " RED_ERROR ": cannot fit 60x50 pixels to 40x70\n",
                "returned=0\nsize=60x50\narray=untouched\n")}},
      {"fit_to_new_dimension_short",
       {message("# " RED_ERROR ": cannot fit 60x50 pixels to 40x70\n", "returned=0\nsize=60x50\narray=untouched\n")}},
      {"mittle_Daten", {message("# " RED_ERROR ": cannot average 60x50 pixels\n", "array=untouched\n")}},
      {"to_short",
       {message("# " RED_WARNING " Die Intensit\xE4ten werden halbiert, damit sie in 16bit passen\n"
                "# " RED_WARNING " Die Intensit\xE4ten werden halbiert, damit sie in 16bit passen\n"
                "# " RED_ERROR " cannot allocate 3000 pixels\n",
                "returned=0\narray=untouched\n", "(to_short) shift = 2\n")}},
  };
  const auto found = table.find(function);
  return found != table.end() ? found->second : Outcomes{};
}

// Smoothing makes the image's size even, makes a kernel, and then smooths. It does without a thread that cannot be
// started.
Outcomes outcomes_of_smoothing(const std::string& function, const Ending& with_memory) {
  const Outcome no_kernel = assertion("gauss:32: init_gauss", "gauss=(fftw_real*)malloc(sizeof(fftw_real)*(x)*(y+2))");
  const std::string cannot_fit = "# " RED_ERROR ": cannot fit 257x258 pixels to 258x258\n";
  const std::string cannot_smooth = "# " RED_ERROR ": cannot smooth 258x258 pixels\n";
  const std::string fitting = "# fitting dimension from 257x258 to 258x258\n";
  const std::string fitted = fitting + "# 260 kB f\xFCr Daten bereitgestellt\n";
  const char* const untouched = "returned=0\nsize=257x258\narray=untouched\n";
  if (function == "init_gauss") return {no_kernel, unharmed(with_memory)};
  if (function == "falte_gauss") {
    return {message(fitting + cannot_fit, untouched), no_kernel,
            message(fitted + cannot_smooth, told_of_fitted_image<unsigned int>()), unharmed(with_memory)};
  }
  if (function == "falte_short_gauss") {
    return {message(cannot_fit, untouched), no_kernel, message(cannot_smooth, told_of_fitted_image<unsigned short>()),
            unharmed(with_memory)};
  }
  return {};
}

// Files that are written are told as they are with memory; `view` goes on to its command when there is no dump, as it
// does when the dump cannot be opened.
Outcomes outcomes_of_display(const std::string& function, const Ending& with_memory) {
  const std::string no_pixels = "# " RED_ERROR " cannot allocate 600 pixels\n";
  const std::string no_command = "# " RED_ERROR " no memory to show " + kName + "\n";
  const std::string dumped = "# 1 kB f\xFCr Daten_ushort bereitgestellt\n# " + kName + ".raw written\n";
  const std::string shift = "(to_short) shift = 0\n";
  if (function == "write_zimg") {
    return {message("# " RED_ERROR " cannot allocate 3000 pixels\n", "dump.raw=absent\n", shift)};
  }
  if (function != "view") return {};
  const std::string& told = with_memory.told;
  const std::size_t files = told.find(kName);
  const std::string colors = told.substr(told.find("colormap.zimg"));
  const std::string no_dump = kName + ".raw=absent\n";
  const std::string command = with_memory.out.substr(with_memory.out.find("zimg --colormap"));
  return {message(no_command, "returned=-1\ncommands=0\n" + no_dump + "colormap.zimg=absent\n"),
          message(no_pixels + command, told.substr(0, files) + no_dump + colors, shift),
          message(no_pixels + no_command, "returned=-1\ncommands=0\n" + no_dump + colors, shift),
          message(dumped + no_command, "returned=-1\ncommands=0\n" + told.substr(files), shift)};
}

constexpr const char* kNotReleased = "blocks not released";

// How the call may end when it lacks memory; none for functions that allocate nothing.
Outcomes outcomes_without_memory(const std::string& function, const Ending& with_memory) {
  Outcomes all;
  for (const Outcomes& some :
       {outcomes_of_readers(function), outcomes_of_operations(function), outcomes_of_smoothing(function, with_memory),
        outcomes_of_display(function, with_memory)}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

bool matches(const Outcome& outcome, const Ending& ending) {
  // The stream's buffer goes with a process that aborts.
  if (outcome.signal != 0) return ending.signal == outcome.signal && ending.err.ends_with(outcome.err);
  return ending.is_normal() && ending.out == outcome.out && ending.err == outcome.err && ending.told == outcome.told;
}

struct Result {
  Ending ending;
  bool failed;  // an allocation
};

// Makes the call in a child process, where the allocation of this number fails.
Result run(const Call& call, std::size_t failing, Lack lack) {
  test::TemporaryDirectory directory;
  directory.enter();
  const std::string reached = "failed";
  const Ending ending = trust::in_child([&] {
    trust::Scene scene;
    std::size_t failures = 0;
    scene.begin = [&] { trust::memory::watch(failing, lack); };
    scene.end = [&] {
      trust::memory::unwatch();
      failures = trust::memory::has_failed() ? 1 : 0;
    };
    call.run(scene);
    if (failures != 0) directory.write(reached, "");
    std::size_t expected = 0;
    if (std::string_view(call.function) == "falte_gauss" && trust::memory::outstanding() == 1) {
      // The kernel stays allocated: callers rely on it.
      const void* const kernel = trust::memory::any_outstanding();
      expected = trust::memory::size_of(kernel) == std::size_t{258} * 260 * sizeof(fftw_real) ? 1 : 0;
      if (expected == 1) std::free(trust::memory::any_outstanding());
    }
    const std::size_t left = trust::memory::outstanding();
    if (left != 0) scene.tell(kNotReleased, left);
    return scene.story();
  });
  const bool failed = !ending.is_normal() || std::filesystem::exists(directory.path(reached));
  return {ending, failed};
}

std::string shown(const Ending& ending) {
  std::ostringstream text;
  text << "signal " << ending.signal << ", status " << ending.status << "\n--- out\n"
       << ending.out << "--- err\n"
       << ending.err << "--- told\n"
       << ending.told;
  return text.str();
}

class LackOfMemory : public testing::TestWithParam<Call> {};

}  // namespace

TEST(Calls, AreThereForEveryExportedFunction) {
  std::set<std::string> names;
  for (const Call& call : trust::calls()) names.insert(call.function);
  EXPECT_EQ(names, test::exported_functions());
  EXPECT_EQ(names.size(), 63U);
}

TEST_P(LackOfMemory, EndsAsDocumentedAtEveryAllocation) {
  const Call& call = GetParam();
  const Result with_memory = run(call, 0, Lack::kOfOne);
  ASSERT_TRUE(with_memory.ending.is_normal()) << shown(with_memory.ending);
  EXPECT_EQ(with_memory.ending.told.find(kNotReleased), std::string::npos) << shown(with_memory.ending);
  const Outcomes outcomes = outcomes_without_memory(call.function, with_memory.ending);
  std::set<std::size_t> seen;
  for (const Lack lack : {Lack::kOfOne, Lack::kFromThereOn}) {
    for (std::size_t failing = 1;; ++failing) {
      const Result result = run(call, failing, lack);
      if (!result.failed) {
        EXPECT_EQ(shown(result.ending), shown(with_memory.ending));
        break;
      }
      const auto found = std::ranges::find_if(outcomes, [&](const auto& each) { return matches(each, result.ending); });
      EXPECT_NE(found, outcomes.end()) << "allocation " << failing << (lack == Lack::kOfOne ? "\n" : " and all later\n")
                                       << shown(result.ending);
      seen.insert(static_cast<std::size_t>(found - outcomes.begin()));
      ASSERT_LT(failing, 1000U);
    }
  }
  EXPECT_EQ(seen.size(), outcomes.size()) << "an outcome that never comes";
}

INSTANTIATE_TEST_SUITE_P(, LackOfMemory, testing::ValuesIn(trust::calls()),
                         [](const auto& information) { return std::string(information.param.function); });
