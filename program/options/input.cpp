#include "program/options/input.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "frames/failure.h"
#include "frames/options.h"
#include "program/classic/classic.h"
#include "program/options/table.h"
#include "support/files.h"

namespace program {

namespace {

namespace fs = std::filesystem;

constexpr const char* kReadingGroup = "Reading";

// Opening a pipe would wait for a writer, and a device may never end.
void check_readable(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error) throw frames::Failure(path, error.message());
  if (fs::is_directory(status)) throw frames::Failure(path, "is a directory");
  if (!fs::is_regular_file(status)) throw frames::Failure(path, "is not a regular file");
  if (!xrd::open_file(path.c_str(), "r")) throw frames::Failure(path, std::strerror(errno));
  if (fs::file_size(path, error) == 0) throw frames::Failure(path, "is empty");
}

}  // namespace

void add_input_options(CLI::App& command, InputOptions& options) {
  add_options(command, frames::load_options(), options.loading, kReadingGroup);
  command.add_flag("--classic", options.classic, "Take what the flat library's functions return, not the true counts")
      ->group(kReadingGroup);
}

frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks) {
  check_readable(path);
  frames::Frame frame;
  if (options.classic) {
    frame = read_classic({path, options.loading, settings, remarks});
    frames::take_stated(frame.header, options.loading.stated);
  } else {
    try {
      frame = frames::load_frame(path, options.loading);
    } catch (const frames::LoadError& error) {
      throw frames::Failure(path, error.what());
    }
  }
  for (const std::string& note : frame.notes) remarks.warnings.push_back(note);
  return frame;
}

}  // namespace program
