// The frames that the user names, and the options about reading them that the subcommands share.
#pragma once

#include <string>
#include <vector>

#include "frames/failure.h"
#include "frames/frame.h"
#include "frames/remarks.h"
#include "program/program.h"

namespace program {

struct InputOptions {
  frames::LoadOptions loading;
  bool classic = false;  // what the library's readers return instead of true counts
};

// An option without effect on a frame: a mistake on the command line, which shows only when the frame is read.
class UselessOption : public frames::Failure {
 public:
  UselessOption(const std::string& path, const std::string& option)
      : Failure(path, option + " has no effect: the file itself states how its pixels are stored") {}
};

void add_input_options(Command& command, InputOptions& options);

// A UsageError if one of the options has no effect next to the others, whatever the frame.
void check_input_options(const InputOptions& options);

// The options about the geometry that the command line gives.
std::vector<std::string> given_geometry(const Command& command);

// The given options about the storage of pixels, although the frame's file states it itself.
std::vector<std::string> useless_options(const frames::Frame& frame, const InputOptions& options);

// Opens the file once. Throws a Failure that says what is wrong with it. What the user should know is left in
// the remarks.
frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks);

// The same, but a UselessOption for options without effect.
frames::Frame load_heeding_options(const std::string& path, const InputOptions& options, const Settings& settings,
                                   frames::Remarks& remarks);

}  // namespace program
