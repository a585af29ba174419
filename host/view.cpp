// xrdimage view: a frame on the screen, or in the terminal.
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "host/classic_view.h"
#include "host/companions.h"
#include "host/failure.h"
#include "host/input.h"
#include "host/new_file.h"
#include "host/numbers.h"
#include "host/operations.h"
#include "host/pictures/picture.h"
#include "host/pictures/png.h"
#include "host/pictures/terminal.h"
#include "host/pictures/terminal_drawing.h"
#include "host/print.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct ViewOptions {
  std::string file;
  bool terminal = false;
  std::optional<int> divisor;
  InputOptions reading;
  std::vector<Operation> operations;
  PictureOptions picture;
};

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

// A folder of the user's own among those of all users, who might have put anything in one of that name.
fs::path temporary_folder() {
  fs::path folder = fs::temp_directory_path() / ("xrdimage-" + std::to_string(geteuid()));
  struct stat status {};
  const bool is_made = mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST;
  if (!is_made || lstat(folder.c_str(), &status) != 0) throw Failure(folder.string(), std::strerror(errno));
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    throw Failure(folder.string(), "is not a folder that you alone can write to");
  }
  return folder;
}

// Where pictures stay until the next one of the same name: viewers may open them after this program has ended.
fs::path picture_folder() {
  fs::path folder;
  if (is_set("XDG_CACHE_HOME")) {
    folder = fs::path(std::getenv("XDG_CACHE_HOME")) / "xrdimage";
  } else if (is_set("HOME")) {
    folder = fs::path(std::getenv("HOME")) / ".cache" / "xrdimage";
  } else {
    return temporary_folder();
  }
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw Failure(folder.string(), error.message());
  return folder;
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
  if (error != 0) throw Failure(picture, std::string("the viewer cannot be started: ") + std::strerror(error));
  if (waitpid(process, &status, 0) != process || status != 0) throw Failure(picture, "the viewer failed");
}

void view_on_display(const frames::Frame& frame, const ViewOptions& options, Remarks& remarks) {
  const std::string name = frames::name_without_ending(fs::path(options.file).filename().string()) + ".png";
  const std::string picture = (picture_folder() / name).string();
  NewFile file(picture);
  write_png(draw_picture(frame, options.picture, remarks), file.stream());
  file.commit();
  remarks.values.emplace_back("picture", picture);
  print_remarks(options.file, remarks);
  std::fflush(stdout);
  open_viewer(picture);
}

int run(const ViewOptions& options, const Settings& settings) {
  Remarks remarks;
  frames::Frame frame = load_input(options.file, options.reading, settings, remarks);
  apply_operations(frame, options.operations, options.file, settings, remarks);
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
      "With a display, xv, xdg-open, feh or display opens the picture, which stays in\n"
      "~/.cache/xrdimage. Without one it is drawn in the terminal: by its graphics\n"
      "(kitty, sixel), or by coloured blocks. With --classic the library's view() runs\n"
      "zimg and xv; its files stay in the working directory.\n"
      "\nExamples:\n"
      "  xrdimage view frame.mar2300\n"
      "  xrdimage view --terminal --scale log --colors viridis frame.mccd");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
