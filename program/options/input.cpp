#include "program/options/input.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "frames/options.h"
#include "program/classic/classic.h"
#include "program/options/table.h"
#include "support/descriptor.h"
#include "support/files.h"

namespace program {

namespace {

namespace fs = std::filesystem;

constexpr const char* kReadingGroup = "Reading";

// Opening a pipe would wait for a writer, and a device may never end. If one replaces the file meanwhile,
// the program does not wait.
xrd::FileHandle open_input(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error) throw frames::Failure(path, error.message());
  if (fs::is_directory(status)) throw frames::Failure(path, "is a directory");
  if (!fs::is_regular_file(status)) throw frames::Failure(path, "is not a regular file");
  xrd::Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat found {};
  if (!file || fstat(file.number(), &found) != 0) throw frames::Failure(path, std::strerror(errno));
  if (!S_ISREG(found.st_mode)) throw frames::Failure(path, "is not a regular file");
  if (found.st_size == 0) throw frames::Failure(path, "is empty");
  fcntl(file.number(), F_SETFL, fcntl(file.number(), F_GETFL) & ~O_NONBLOCK);
  xrd::FileHandle stream(fdopen(file.number(), "rb"));
  if (!stream) throw frames::Failure(path, std::strerror(errno));
  file.release();  // the stream's from now on
  return stream;
}

frames::Frame load_true_counts(std::FILE* stream, const std::string& path, const frames::LoadOptions& options) {
  try {
    return frames::load_frame(stream, path, options);
  } catch (const frames::LoadError& error) {
    throw frames::Failure(path, error.what());
  }
}

// Only the option can state the size of raw pixels, and some EDF headers do not state it.
bool takes_size(const frames::Frame& frame, const frames::Size& size) {
  if (frame.format == frames::Format::kRaw) return true;
  return frame.format == frames::Format::kEdf && frame.width == size.width && frame.height == size.height;
}

}  // namespace

void add_input_options(Command& command, InputOptions& options) {
  add_options(command, frames::load_options(), options.loading, kReadingGroup);
  command.add_flag(
      {.names = "--classic", .help = "Show what the flat functions return, not true counts", .group = kReadingGroup},
      options.classic);
}

void check_input_options(const InputOptions& options) {
  const frames::LoadOptions& loading = options.loading;
  constexpr const char* kNotByClassic = "has no effect with --classic";
  if (options.classic && loading.big_endian) throw UsageError("--big-endian", kNotByClassic);
  if (options.classic && loading.skip > 0) throw UsageError("--skip", kNotByClassic);
  if (options.classic && loading.force) throw UsageError("--force", kNotByClassic);
  if (loading.big_endian && loading.depth == 8) throw UsageError("--big-endian", "has no effect on pixels of 8 bits");
}

std::vector<std::string> given_geometry(const Command& command) {
  constexpr std::array<std::string_view, 4> kGeometry{"--beam", "--wavelength", "--distance", "--pixel"};
  std::vector<std::string> given = command.given_of(kReadingGroup);
  std::erase_if(given, [&](const std::string& name) { return std::ranges::find(kGeometry, name) == kGeometry.end(); });
  return given;
}

std::vector<std::string> useless_options(const frames::Frame& frame, const InputOptions& options) {
  const frames::LoadOptions& loading = options.loading;
  const bool is_raw = frame.format == frames::Format::kRaw;
  // The library assumes 16 bits for raw pixels, and asks for those of EDF.
  const bool takes_depth = options.classic ? frame.format == frames::Format::kEdf : is_raw;
  std::vector<std::string> useless;
  if (loading.size && !takes_size(frame, *loading.size)) useless.emplace_back("--size");
  if (loading.depth && !takes_depth) useless.emplace_back("--depth");
  if (loading.big_endian && !is_raw) useless.emplace_back("--big-endian");
  if (loading.skip > 0 && !is_raw) useless.emplace_back("--skip");
  return useless;
}

frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks) {
  xrd::FileHandle stream = open_input(path);
  frames::Frame frame;
  if (options.classic) {
    stream.reset();  // the library's functions open the file themselves
    frame = read_classic({path, options.loading, settings, remarks});
    frames::take_stated(frame.header, options.loading.stated);
  } else {
    frame = load_true_counts(stream.get(), path, options.loading);
  }
  for (const std::string& note : frame.notes) remarks.warnings.push_back(note);
  return frame;
}

frames::Frame load_heeding_options(const std::string& path, const InputOptions& options, const Settings& settings,
                                   frames::Remarks& remarks) {
  frames::Frame frame = load_input(path, options, settings, remarks);
  const std::vector<std::string> useless = useless_options(frame, options);
  if (!useless.empty()) throw UselessOption(path, useless.front());
  return frame;
}

}  // namespace program
