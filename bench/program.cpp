// The program. Its limits are what it cannot do without.
#include <fcntl.h>
#include <png.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/rows.h"
#include "frames/frame.h"
#include "pictures/picture.h"
#include "pictures/png.h"
#include "support/files.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

// Runs a command; what it prints is thrown away.
void run_command(Arguments arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = -1;
  int status = -1;
  const bool runs = posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  if (!runs || waitpid(process, &status, 0) != process || status != 0)
    throw std::runtime_error("failed: " + arguments[0]);
}

void run_program(Arguments arguments) {
  arguments.insert(arguments.begin(), XRDIMAGE_PROGRAM);
  run_command(std::move(arguments));
}

void do_nothing() {}

Row start_row() {
  return {.name = "xrdimage --version", .prepare = do_nothing, .library = [] { run_program({"--version"}); }};
}

// Beside a process that does nothing but read the frame.
Row info_row(const Frame& frame) {
  return {.name = "xrdimage info",
          .prepare = do_nothing,
          .library =
              [&frame] {
                run_program({"info", frame.path});
              },
          .limit =
              [&frame] {
                run_command({fs::read_symlink("/proc/self/exe"), "--read", frame.path});
              }};
}

// Two processes beside one.
Row batch_row(const Frame& frame) {
  constexpr int kFrames = 200;
  const fs::path folder = scratch_path(frame.name + "-batch");
  const std::string pictures = folder / "png";
  fs::create_directory(folder);
  Arguments convert{"convert", "-o", pictures, "--to", "png", "-j"};
  Arguments names;
  for (int i = 0; i < kFrames; ++i) {
    names.push_back(folder / (std::to_string(i) + ".mar2300"));
    fs::create_symlink(frame.path, names.back());
  }
  const auto run = [=](const char* jobs) {
    Arguments arguments = convert;
    arguments.emplace_back(jobs);
    arguments.insert(arguments.end(), names.begin(), names.end());
    run_program(arguments);
  };
  return {.name = "xrdimage convert -j 2",
          .prepare =
              [=] {
                fs::remove_all(pictures);
                fs::create_directory(pictures);
              },
          .library = [=] { run("2"); },
          .plain = [=] { run("1"); },
          .runs = 1};
}

// libpng by itself: the filter and the level that are its fastest where pictures shall get smaller.
void write_with_libpng(const pictures::Picture& picture, std::FILE* stream) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, stream);
  png_set_compression_level(png, 1);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height), 8,
               PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int y = 0; y < picture.height; ++y) {
    png_write_row(png, picture.pixels.data() + std::ptrdiff_t{y} * picture.width);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
}

Row png_row(const Frame& frame) {
  frames::Remarks remarks;
  const auto picture =
      std::make_shared<pictures::Picture>(pictures::draw_picture(frames::load_frame(frame.path), {}, remarks));
  const std::string path = scratch_path(frame.name + ".png");
  return {.name = "PNG writing",
          .prepare = [=] { fs::remove(path); },
          .library = [=] { pictures::write_png(*picture, xrd::open_file(path.c_str(), "wb").get()); },
          .limit = [=] { write_with_libpng(*picture, xrd::open_file(path.c_str(), "wb").get()); }};
}

}  // namespace

Rows program_rows(const Frame& frame) {
  return {start_row(), info_row(frame), png_row(frame), batch_row(frame)};
}

}  // namespace bench
