#include "program/options/operations.h"

#include <stdexcept>

#include "frames/failure.h"
#include "program/options/table.h"

namespace program {

// Options are applied in the order of the command line, each as often as it is given.
void add_operation_options(Command& command, std::vector<frames::Operation>& operations) {
  for (const frames::OperationOption& operation : frames::operations()) {
    add_option_or_flag(command,
                       {.names = "--" + operation.name,
                        .value = operation.value,
                        .help = operation.help,
                        .group = "Operations",
                        .may_repeat = true},
                       [&](const std::string& text) { operations.push_back(operation.make(text)); });
  }
}

void apply_operations(frames::Frame& frame, const std::vector<frames::Operation>& operations, const std::string& path,
                      frames::Remarks& remarks) {
  const std::size_t notes_before = frame.notes.size();
  for (const frames::Operation& operation : operations) {
    try {
      operation(frame);
    } catch (const std::runtime_error& refusal) {
      throw frames::Failure(path, refusal.what());
    }
  }
  for (std::size_t i = notes_before; i < frame.notes.size(); ++i) remarks.warnings.push_back(frame.notes[i]);
}

}  // namespace program
