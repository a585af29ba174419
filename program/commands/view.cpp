// xrdimage view: a frame on the screen, or in the terminal.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "frames/failure.h"
#include "frames/new_file.h"
#include "frames/numbers.h"
#include "pictures/picture.h"
#include "pictures/png.h"
#include "program/classic/view.h"
#include "program/companions.h"
#include "program/options/input.h"
#include "program/options/operations.h"
#include "program/options/picture.h"
#include "program/options/table.h"
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

// Runs the viewer of the PATH, or else the program's own stand-in, and waits for it.
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
  frames::NewFile file(picture);
  pictures::write_png(pictures::draw_picture(frame, options.picture, remarks), file.stream());
  file.commit();
  print_remarks(options.file, remarks);
  std::fflush(stdout);
  open_viewer(picture);
}

int run(const ViewOptions& options, const Settings& settings) {
  frames::Remarks remarks;
  frames::Frame frame = load_input(options.file, options.reading, settings, remarks);
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

Action define_view(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<ViewOptions>();
  command.add_option("FILE", options->file, "Frame to show")->type_name("")->required();
  command.add_flag("--terminal", options->terminal, "Draw in the terminal, also where there is a display")
      ->group("Output");
  command.add_option("--divide", options->divisor, "With --classic: colours end at the largest count / N")
      ->type_name("N")
      ->transform(without_leading_zeros())
      ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""))
      ->group("Output");
  add_picture_options(command, options->picture);
  add_operation_options(command, options->operations);
  add_input_options(command, options->reading);
  command.footer(
      "With a display, xv, xdg-open, feh or display opens the picture, which is removed\n"
      "when the viewer ends, or a minute after xdg-open. Without one it is drawn in the\n"
      "terminal: by its graphics (kitty, sixel), or by coloured blocks. With --classic\n"
      "the library's view() runs zimg and xv. To keep a picture, convert.\n"
      "\nExamples:\n"
      "  xrdimage view frame.mar2300\n"
      "  xrdimage view --terminal --scale log --colors viridis frame.mccd");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace program
