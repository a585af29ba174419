// xrdimage view: a frame on the screen, or in the terminal.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "frames/failure.h"
#include "frames/formats.h"
#include "pictures/picture.h"
#include "pictures/png.h"
#include "program/classic/view.h"
#include "program/companions.h"
#include "program/options/input.h"
#include "program/options/operations.h"
#include "program/options/picture.h"
#include "program/output_file.h"
#include "program/print.h"
#include "program/scratch_folder.h"
#include "program/terminal.h"
#include "program/terminal_drawing.h"

namespace program {

namespace {

namespace fs = std::filesystem;

struct ViewOptions {
  std::string file;
  bool terminal = false;
  std::optional<int> divisor;
  InputOptions reading;
  std::vector<frames::Operation> operations;
  pictures::PictureOptions picture;
};

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// Runs the viewer found in PATH, or else the program's own stand-in, and waits for it.
void open_viewer(const std::string& picture) {
  add_companions_to_path();
  std::string name = "xv";
  std::string argument = picture;
  char* arguments[] = {name.data(), argument.data(), nullptr};
  pid_t process = -1;
  const int error = posix_spawnp(&process, name.c_str(), nullptr, nullptr, arguments, environ);
  int status = 0;
  if (error != 0) throw frames::Failure(picture, std::string("the viewer cannot be started: ") + std::strerror(error));
  if (waitpid(process, &status, 0) != process || status != 0) throw frames::Failure(picture, "the viewer failed");
}

void view_on_display(const frames::Frame& frame, const ViewOptions& options, frames::Remarks& remarks) {
  const ScratchFolder scratch;
  const std::string name = frames::name_without_ending(fs::path(options.file).filename().string()) + ".png";
  const std::string picture = (fs::path(scratch.path()) / name).string();
  OutputFile file(picture);
  pictures::write_png(pictures::draw_picture(frame, options.picture, remarks), file.stream());
  file.commit();
  print_remarks(options.file, remarks);
  std::fflush(stdout);
  open_viewer(picture);
}

void refuse_options(const std::vector<std::string>& given, const std::string& why) {
  if (!given.empty()) throw UsageError(given.front(), why);
}

void check_options(const Command& command, const ViewOptions& options) {
  check_input_options(options.reading);
  const bool is_classic_view = options.reading.classic && !options.terminal;
  if (options.divisor && !options.reading.classic) throw UsageError("--divide", "has no effect without --classic");
  if (options.divisor && options.terminal) throw UsageError("--divide", "has no effect with --terminal");
  if (is_classic_view)
    refuse_options(command.given_of(kPictureGroup), "has no effect with --classic without --terminal");
  if (options.picture.rings.empty()) refuse_options(given_geometry(command), "has no effect without --rings");
}

int run(const ViewOptions& options, const Settings& settings) {
  frames::Remarks remarks;
  frames::Frame frame = load_heeding_options(options.file, options.reading, settings, remarks);
  apply_operations(frame, options.operations, options.file, remarks);
  if (options.reading.classic && !options.terminal) {
    print_warnings(options.file, remarks);
    view_classic(options.file, frame, options.divisor, settings);
  } else if (!options.terminal && (is_set("DISPLAY") || is_set("WAYLAND_DISPLAY"))) {
    view_on_display(frame, options, remarks);
  } else {
    const AskedTerminal asked;
    draw_in_terminal(frame, options.picture, asked.terminal(), stdout, remarks);
    print_remarks(options.file, remarks);
  }
  return 0;
}

}  // namespace

Action define_view(Command& command, const Settings& settings) {
  constexpr const char* kGroup = "Output";
  auto options = std::make_shared<ViewOptions>();
  command.add_option({.names = "FILE", .help = "Frame to show", .is_required = true}, options->file);
  command.add_flag({.names = "--terminal", .help = "Draw in the terminal even if there is a display", .group = kGroup},
                   options->terminal);
  command.add_number({.names = "--divide",
                      .value = "N",
                      .help = "With --classic: colours end at the largest count / N",
                      .group = kGroup},
                     0, std::numeric_limits<int>::max(),
                     [=](std::uint64_t divisor) { options->divisor = static_cast<int>(divisor); });
  add_picture_options(command, options->picture);
  add_operation_options(command, options->operations);
  add_input_options(command, options->reading);
  command.set_footer(
      "With a display, xv, xdg-open, feh or display opens the picture. It is removed\n"
      "when the viewer ends, or a minute after xdg-open. Without a display it is drawn\n"
      "in the terminal, with graphics (kitty, sixel) or coloured blocks. With --classic\n"
      "the library's view() runs zimg and xv. To keep a picture, use convert.\n"
      "\nExamples:\n"
      "  xrdimage view frame.mar2300\n"
      "  xrdimage view --terminal --scale log --colors viridis frame.mccd");
  return [options, &command, &settings] {
    check_options(command, *options);
    return run(*options, settings);
  };
}

}  // namespace program
