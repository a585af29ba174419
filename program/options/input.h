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
  bool classic = false;  // what the library's readers return, instead of the true counts
};

// An option that changes nothing about a frame: a mistake on the command line, which shows when the frame is read.
class UselessOption : public frames::Failure {
 public:
  UselessOption(const std::string& path, const std::string& option)
      : Failure(path, option + " has no effect: the file itself tells what its pixels are like") {}
};

void add_input_options(Command& command, InputOptions& options);

// A UsageError when one of the options has no effect beside the others, whatever the frame.
void check_input_options(const InputOptions& options);

// Of the options that state something about the geometry, those that the command line gives.
std::vector<std::string> given_geometry(const Command& command);

// The options about pixels that are given, though the frame's file has said itself what they are like.
std::vector<std::string> useless_options(const frames::Frame& frame, const InputOptions& options);

// Throws a Failure that says what is wrong with the file, which is opened once. What the user should know is left in
// the remarks.
frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks);

// The same, but for options that are useless: a UselessOption.
frames::Frame load_heeding_options(const std::string& path, const InputOptions& options, const Settings& settings,
                                   frames::Remarks& remarks);

}  // namespace program
