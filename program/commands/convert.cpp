// xrdimage convert: writes frames in another format, by default that of the new file's ending.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "frames/failure.h"
#include "frames/formats.h"
#include "frames/new_file.h"
#include "frames/options.h"
#include "frames/unfinished_file.h"
#include "pictures/save.h"
#include "program/batch.h"
#include "program/options/input.h"
#include "program/options/operations.h"
#include "program/options/picture.h"
#include "program/options/suggestion.h"
#include "program/options/table.h"
#include "program/output_file.h"
#include "program/output_names.h"
#include "program/print.h"
#include "program/progress.h"

namespace program {

namespace {

namespace fs = std::filesystem;

struct ConvertOptions {
  BatchOptions batch;
  OutputOptions output;
  bool skip_existing = false;
  bool overwrite = false;
  InputOptions reading;
  std::vector<frames::Operation> operations;
  pictures::SaveOptions saving;
};

// ------------------------------------------------------------------------------------------------------------------
// One frame
// ------------------------------------------------------------------------------------------------------------------

// The stated format, or else that of the name's ending.
const frames::FileFormat& format_for(const std::string& path, const std::string& stated) {
  const std::string ending = frames::ending_of(path);
  const frames::FileFormat* const format =
      stated.empty() ? frames::format_of_ending(ending) : frames::find_format(stated);
  if (format != nullptr && format->is_written()) return *format;
  throw frames::Failure(path, "cannot be written: its name must end in one of " +
                                  frames::joined(frames::written_endings()) + ", or state the format with --to" +
                                  suggestion("." + ending, frames::written_endings()));
}

// The keyword of a format by any of its names.
std::string written_keyword(const std::string& name) {
  const frames::FileFormat* const format = frames::find_format(name);
  if (format != nullptr && format->is_written()) return format->keyword;
  throw frames::InvalidValue(name, "must be one of " + frames::joined(frames::writable_formats()));
}

bool is_frame_itself(const std::string& input, const std::string& output) {
  std::error_code missing;
  return fs::equivalent(input, output, missing);
}

// People try pictures until they like them. A file of another ending may be a frame, whatever it is to become.
frames::Existing treatment_of_existing(const std::string& output, const ConvertOptions& options) {
  const frames::FileFormat* const ending = frames::format_of_ending(frames::ending_of(output));
  const bool is_picture = ending != nullptr && ending->abilities.is_picture &&
                          format_for(output, options.output.format).abilities.is_picture;
  return is_picture || options.overwrite ? frames::Existing::kIsReplaced : frames::Existing::kIsRefused;
}

struct Job {
  std::string input;
  std::string output;
};

frames::Remarks convert(const Job& job, const ConvertOptions& options, const Settings& settings, frames::Names names) {
  const auto& [input, output] = job;
  const frames::FileFormat& format = format_for(output, options.output.format);
  if (is_frame_itself(input, output)) throw frames::Failure(output, "is the frame itself, which is not overwritten");
  frames::Remarks remarks;
  frames::Frame frame = load_heeding_options(input, options.reading, settings, remarks);
  apply_operations(frame, options.operations, input, remarks);
  OutputFile file(output, treatment_of_existing(output, options));
  try {
    pictures::write_frame(frame, format, options.saving, file.stream(), remarks);
  } catch (const std::runtime_error& failure) {
    throw frames::Failure(output, failure.what());
  }
  file.commit(names);
  remarks.values.emplace_back("size", std::to_string(frame.width) + " x " + std::to_string(frame.height) + " pixels");
  remarks.values.emplace_back("written", output);
  return remarks;
}

// ------------------------------------------------------------------------------------------------------------------
// Many frames
// ------------------------------------------------------------------------------------------------------------------

// What to do in this run, and what to leave out.
struct Plan {
  std::vector<Job> jobs;
  std::size_t skipped = 0;
  std::vector<std::string> refused;  // outputs that exist
};

bool exists(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

// The same for all names of a file, through folders and symbolic links.
std::string place_of(const std::string& path) {
  std::error_code error;
  const fs::path place = fs::weakly_canonical(path, error);
  return error ? path : place.string();
}

// An output must overwrite neither a frame that is still to be read nor another output.
void refuse_overwriting_others(const std::vector<Job>& jobs, const std::vector<std::string>& inputs) {
  std::set<std::string> places;
  for (const std::string& input : inputs) places.insert(place_of(input));
  std::map<std::string, std::string> input_of;
  for (const Job& job : jobs) {
    const std::string place = place_of(job.output);
    if (places.contains(place) && place != place_of(job.input)) {
      throw frames::Failure(job.output,
                            "is itself an input frame, which is not overwritten by the output of " + job.input);
    }
    const auto [other, is_new] = input_of.emplace(place, job.input);
    if (!is_new)
      throw frames::Failure(job.output, "would be written twice: for " + other->second + " and for " + job.input);
  }
}

using Formats = std::set<const frames::FileFormat*>;

Formats formats_for(const std::vector<std::string>& outputs, const ConvertOptions& options) {
  Formats formats;
  for (const std::string& output : outputs) formats.insert(&format_for(output, options.output.format));
  return formats;
}

// An option that affects some of the outputs is not a mistake. `why` returns the text behind a format's ending.
template <typename IsUseful, typename Why>
void require_effect(const std::vector<std::string>& given, const Formats& formats, IsUseful is_useful, Why why) {
  const auto is_useful_for = [&](const frames::FileFormat* format) { return is_useful(format->abilities); };
  if (given.empty() || std::ranges::any_of(formats, is_useful_for)) return;
  const frames::FileFormat& format = **formats.begin();
  throw UsageError(given.front(),
                   "has no effect on ." + std::string(frames::usual_ending(format)) + why(format.abilities));
}

// Looks at all outputs, also those of other shards, so that every shard accepts the same options.
void check_options(const Command& command, const ConvertOptions& options, const std::vector<std::string>& outputs) {
  using frames::Abilities;
  check_input_options(options.reading);
  const Formats formats = formats_for(outputs, options);
  const auto is_picture = [](const Abilities& format) { return format.is_picture; };
  const auto takes_bits = [&](const Abilities& format) {
    return !format.is_picture && options.saving.writing.bits <= format.most_bits;
  };
  const auto keeps_geometry = [&](const Abilities& format) {
    return format.header || (format.is_picture && !options.saving.picture.rings.empty());
  };
  require_effect(command.given_of(kPictureGroup), formats, is_picture,
                 [](const Abilities& /*format*/) { return ", which is not a picture"; });
  if (options.saving.writing.bits) {
    require_effect({"--bits"}, formats, takes_bits, [](const Abilities& format) -> std::string {
      return format.is_picture ? ", which is a picture" : ", which has 16 bits per pixel";
    });
  }
  require_effect(given_geometry(command), formats, keeps_geometry, [](const Abilities& format) {
    return format.is_picture ? " without --rings" : ", which has no header";
  });
}

// The shard's part, without outputs that exist already.
Plan plan_for(const std::vector<std::string>& inputs, const std::vector<std::string>& outputs,
              const ConvertOptions& options) {
  Plan plan;
  std::vector<Job> candidates;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (!is_in_shard(i, options.batch.shard)) continue;
    const bool is_there = exists(outputs[i]);
    if (is_there && options.skip_existing) {
      ++plan.skipped;
      continue;
    }
    candidates.push_back({inputs[i], outputs[i]});
    const bool is_refused = is_there && !is_frame_itself(inputs[i], outputs[i]) &&
                            treatment_of_existing(outputs[i], options) == frames::Existing::kIsRefused;
    if (is_refused) {
      plan.refused.push_back(outputs[i]);
    } else {
      plan.jobs.push_back({inputs[i], outputs[i]});
    }
  }
  refuse_overwriting_others(candidates, inputs);
  return plan;
}

void make_output_folder(const OutputOptions& options) {
  const std::string folder = output_folder(options);
  std::error_code error;
  if (!folder.empty()) fs::create_directories(folder, error);
  if (error) throw frames::Failure(folder, error.message());
}

// Done here once, so that the workers need not look into the folders.
void clear_output_folders(const std::vector<Job>& jobs) {
  std::set<fs::path> folders;
  for (const Job& job : jobs) folders.insert(fs::path(job.output).parent_path());
  for (const fs::path& path : folders) {
    const xrd::Descriptor folder(open(path.empty() ? "." : path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (folder) frames::remove_left_files(folder.number());
  }
}

// Each folder once, whatever the paths to it.
void sync_output_folders(const std::vector<std::string>& outputs) {
  std::set<std::pair<dev_t, ino_t>> synced;
  for (const std::string& output : outputs) {
    const frames::OutputPlace place = frames::output_place(output);
    struct stat status {};
    if (fstat(place.folder.number(), &status) != 0) frames::cannot_be_written(output, errno);
    if (synced.emplace(status.st_dev, status.st_ino).second) frames::sync_folder(place.folder, output);
  }
}

// Several runs may work on the same frames: an output that another run has made meanwhile counts as existing.
bool is_left_out(const Job& job, const TaskResult& result, const ConvertOptions& options) {
  return options.skip_existing && result.state == TaskResult::State::kFailed &&
         result.text == frames::Failure(job.output, frames::kExistsAlready).what();
}

std::string summary_of(const Plan& plan, std::size_t written, std::size_t left_out, double seconds) {
  const std::size_t refused = plan.refused.size();
  const std::size_t skipped = plan.skipped + left_out;
  const std::size_t attempted = plan.jobs.size() - left_out;
  const std::size_t failed = attempted - written;
  std::string summary = std::to_string(written) + " of " + std::to_string(attempted + refused) +
                        " frames converted in " + duration_text(seconds);
  if (failed > 0) summary += ", " + std::to_string(failed) + " failed";
  if (refused > 0) summary += ", " + std::to_string(refused) + " refused because their files exist";
  if (skipped > 0) summary += ", " + std::to_string(skipped) + " existed already";
  return summary;
}

int convert_all(const Plan& plan, const ConvertOptions& options, const Settings& settings) {
  const std::vector<Job>& jobs = plan.jobs;
  for (const std::string& output : plan.refused) {
    std::fputs(failure_line(output + ": " + frames::kExistsAlready).c_str(), stderr);
  }
  clear_output_folders(jobs);
  Progress progress(jobs.size());
  std::vector<std::string> written;
  std::size_t left_out = 0;
  const auto work = [&](std::size_t i) {
    std::string lines;
    for (const std::string& warning : convert(jobs[i], options, settings, frames::Names::kLater).warnings) {
      lines += warning_line(jobs[i].input, warning);
    }
    return lines;
  };
  run_tasks(jobs.size(), options.batch.jobs, work, [&](std::size_t i, const TaskResult& result) {
    const bool succeeded = result.state == TaskResult::State::kSucceeded;
    if (succeeded) written.push_back(jobs[i].output);
    std::string lines = result.text;
    if (is_left_out(jobs[i], result, options)) {
      ++left_out;
      lines.clear();
    } else if (!succeeded) {
      lines = failure_line(jobs[i].input, result);
    }
    if (!lines.empty()) progress.clear();
    std::fputs(lines.c_str(), stderr);
    progress.advance();
  });
  progress.clear();
  sync_output_folders(written);
  std::fprintf(stderr, "xrdimage: %s\n", summary_of(plan, written.size(), left_out, progress.seconds()).c_str());
  return written.size() + left_out == jobs.size() && plan.refused.empty() ? 0 : 1;
}

int run(const Command& command, const ConvertOptions& options, const Settings& settings) {
  const std::vector<std::string> inputs = all_files(options.batch);
  const std::vector<std::string> outputs = output_names(inputs, options.output);
  check_options(command, options, outputs);
  const Plan plan = plan_for(inputs, outputs, options);
  if (inputs.size() == 1 && !plan.refused.empty())
    throw frames::Failure(plan.refused[0], frames::kExistsAlready, EEXIST);
  make_output_folder(options.output);
  if (inputs.size() > 1 || plan.jobs.empty()) return convert_all(plan, options, settings);
  const Job& job = plan.jobs[0];
  print_remarks(job.input, convert(job, options, settings, frames::Names::kAtOnce));
  return 0;
}

}  // namespace

Action define_convert(Command& command, const Settings& settings) {
  auto options = std::make_shared<ConvertOptions>();
  constexpr const char* kGroup = "Output";
  command.add_option({.names = "-o,--output",
                      .value = "OUT",
                      .help = "File, folder, or pattern with {name} or {n} (number)",
                      .group = kGroup,
                      .is_required = true},
                     options->output.output);
  const std::vector<std::string> written = frames::writable_formats();
  command.add_option({.names = "--to",
                      .value = "FORMAT",
                      .help = "For folders: " + frames::joined(written, " "),
                      .group = kGroup,
                      .choices = written},
                     [=](const std::string& name) { options->output.format = written_keyword(name); });
  add_options(command, frames::write_options(), options->saving.writing, kGroup);
  add_batch_options(command, options->batch);
  command.add_flag(
      {.names = "--skip-existing", .help = "Skip frames whose output exists, to resume a run", .group = "Many frames"},
      options->skip_existing);
  command.add_flag({.names = "--overwrite", .help = "Replace existing files, not only pictures", .group = kGroup},
                   options->overwrite);
  command.exclude("--overwrite", "--skip-existing");
  add_picture_options(command, options->saving.picture);
  add_operation_options(command, options->operations);
  add_input_options(command, options->reading);
  command.set_footer(
      "Examples:\n"
      "  xrdimage convert frame.mar2300 -o frame.png --scale log --rings 4,3,2\n"
      "  xrdimage convert data/*.mccd -o thumbs/ --to png --bin 8\n"
      "  xrdimage convert data/*.mar2300 -o edf/{name}.edf -j 4 --skip-existing");
  return [options, &command, &settings] { return run(command, *options, settings); };
}

}  // namespace program
