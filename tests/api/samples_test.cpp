// A caller in C reads the same values as `xrdimage info --json`, from paths and from memory, in eight threads at once.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/api/files.h"
#include "tests/environment.h"
#include "tests/trust/samples.h"

// tests/api/caller.c, compiled as C and as C++.
extern "C" int tell(const char* path, const void* bytes, std::size_t size, std::FILE* out);
int tell_in_cpp(const char* path, const void* bytes, std::size_t size, std::FILE* out);

namespace {

namespace fs = std::filesystem;

using Tell = int (*)(const char* path, const void* bytes, std::size_t size, std::FILE* out);

// A line for each value that is there, as the caller prints them.
std::string told_by_program(const std::string& path) {
  std::string output;
  std::FILE* const pipe = popen((XRDIMAGE_PROGRAM " info --json '" + path + "' 2>/dev/null").c_str(), "r");
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) output += static_cast<char>(byte);
  EXPECT_EQ(pclose(pipe), 0) << path;
  std::string told;
  const auto frame = nlohmann::ordered_json::parse(output).at(0);
  for (const auto& [name, value] : frame.items()) {
    std::array<char, 40> number{};
    if (value.is_number()) std::snprintf(number.data(), number.size(), "%.17g", value.get<double>());
    const bool is_value = !value.is_null() && name != "file" && name != "warnings" && name != "images";
    if (is_value) told += name + " " + (value.is_string() ? value.get<std::string>() : number.data()) + "\n";
  }
  return told;
}

std::string told_by(Tell caller, const std::string& path, const std::string* bytes) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const out = open_memstream(&text, &size);
  const int result = bytes == nullptr ? caller(path.c_str(), nullptr, 0, out)
                                      : caller(path.c_str(), bytes->data(), bytes->size(), out);
  std::fclose(out);
  const auto owner = test::own(text);
  return result == 0 ? std::string(text, size) : "failed";
}

// Generated frames of each format, and the real ones that there are.
std::vector<std::string> frames(const test::TemporaryDirectory& directory) {
  std::vector<std::string> paths{directory.write("a.edf", trust::edf_sample().bytes),
                                 directory.write("a.sfrm", trust::saint_sample().bytes),
                                 directory.write("a.tif", trust::tiff_sample().bytes),
                                 directory.write("a.mccd", trust::mar_ccd_sample().bytes),
                                 directory.write("a.pck", trust::packed_sample().bytes),
                                 directory.write("a.mar", trust::mar345_sample(trust::kMar345Layouts[0]).bytes)};
  const auto made = test::frame_of(3, 2, {1, 2, 3, 4, 5, 6});
  paths.push_back(directory.path("a.img"));
  EXPECT_EQ(xrd_save(made.get(), paths.back().c_str(), nullptr, nullptr, nullptr), XRD_OK);
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(XRDIMAGE_SAMPLES, missing)) {
    const std::string name = entry.path().filename();
    const bool is_read = name.find(".cbf") == std::string::npos && !name.ends_with(".md");
    if (entry.is_regular_file() && is_read) paths.push_back(entry.path());
  }
  return paths;
}

TEST(CCaller, TellsWhatTheProgramTellsInEightThreads) {
  const test::TemporaryDirectory directory;
  for (const std::string& path : frames(directory)) {
    const std::string expected = told_by_program(path);
    EXPECT_NE(expected.find("maximum_counts"), std::string::npos) << path;
    const std::string bytes = test::read_file(path);
    std::array<std::string, 8> told;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < told.size(); ++i) {
      threads.emplace_back(
          [&, i] { told[i] = told_by(i % 2 == 0 ? tell : tell_in_cpp, path, i < told.size() / 2 ? nullptr : &bytes); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::string& one : told) EXPECT_EQ(one, expected) << path;
  }
}

}  // namespace
