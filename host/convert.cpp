// xrdimage convert: frames in another format, which the ending of the new file's name tells.
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "host/batch.h"
#include "host/failure.h"
#include "host/frames/header_items.h"
#include "host/input.h"
#include "host/new_file.h"
#include "host/operations.h"
#include "host/output_names.h"
#include "host/pictures/picture.h"
#include "host/pictures/png.h"
#include "host/print.h"
#include "host/progress.h"
#include "host/writers/writers.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct ConvertOptions {
  BatchOptions batch;
  OutputOptions output;
  bool skip_existing = false;
  InputOptions reading;
  std::vector<Operation> operations;
  PictureOptions picture;
  WriteOptions writing;
};

// ------------------------------------------------------------------------------------------------------------------
// One frame
// ------------------------------------------------------------------------------------------------------------------

void write_picture(const frames::Frame& frame, const ConvertOptions& options, std::FILE* stream, Remarks& remarks) {
  write_png(draw_picture(frame, options.picture, remarks), stream);
}

template <void (*write)(const frames::Frame&, const WriteOptions&, std::FILE*, Remarks&)>
void write_frame(const frames::Frame& frame, const ConvertOptions& options, std::FILE* stream, Remarks& remarks) {
  write(frame, options.writing, stream, remarks);
}

struct Writer {
  std::string_view format;  // and the ending, behind a dot
  void (*write)(const frames::Frame& frame, const ConvertOptions& options, std::FILE* stream, Remarks& remarks);
};

constexpr std::array<Writer, 8> kWriters{{
    {"png", write_picture},
    {"edf", write_frame<write_edf>},
    {"tif", write_frame<write_tiff>},
    {"img", write_frame<write_adsc>},
    {"mar", write_frame<write_mar345>},
    {"pck", write_frame<write_packed>},
    {"raw", write_frame<write_raw>},
    {"npy", write_frame<write_npy>},
}};

std::vector<std::string> format_names() {
  std::vector<std::string> names;
  names.reserve(kWriters.size());
  for (const Writer& writer : kWriters) names.emplace_back(writer.format);
  return names;
}

// The format that is stated, or else the one that the name's ending tells.
const Writer& writer_for(const std::string& path, const std::string& format) {
  const std::string name = frames::lower_case(format.empty() ? fs::path(path).extension().string() : "." + format);
  for (const Writer& writer : kWriters) {
    if (name == "." + std::string(writer.format)) return writer;
  }
  throw Failure(path, "cannot be written: its name must end in one of ." + CLI::detail::join(format_names(), ", .") +
                          ", or --to state the format");
}

void refuse_overwriting(const std::string& input, const std::string& output) {
  std::error_code missing;
  if (fs::equivalent(input, output, missing)) throw Failure(output, "is the frame itself, which is not overwritten");
}

Remarks convert(const std::string& input, const std::string& output, const ConvertOptions& options,
                const Settings& settings) {
  const Writer& writer = writer_for(output, options.output.format);
  refuse_overwriting(input, output);
  Remarks remarks;
  frames::Frame frame = load_input(input, options.reading, settings, remarks);
  apply_operations(frame, options.operations, input, settings, remarks);
  NewFile file(output);
  try {
    writer.write(frame, options, file.stream(), remarks);
  } catch (const std::runtime_error& failure) {
    throw Failure(output, failure.what());
  }
  file.commit();
  remarks.values.emplace_back("size", std::to_string(frame.width) + " x " + std::to_string(frame.height) + " pixels");
  remarks.values.emplace_back("written", output);
  return remarks;
}

// ------------------------------------------------------------------------------------------------------------------
// Many frames
// ------------------------------------------------------------------------------------------------------------------

struct Job {
  std::string input;
  std::string output;
};

bool exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

// The same for all names of a file, through folders and symbolic links.
std::string place_of(const std::string& path) {
  std::error_code error;
  const fs::path place = fs::weakly_canonical(path, error);
  return error ? path : place.string();
}

// A frame that is yet to be read must not be overwritten by what is made of another one.
void refuse_overwriting_others(const std::vector<Job>& jobs, const std::vector<std::string>& inputs) {
  std::set<std::string> places;
  for (const std::string& input : inputs) places.insert(place_of(input));
  for (const Job& job : jobs) {
    const std::string place = place_of(job.output);
    if (places.contains(place) && place != place_of(job.input)) {
      throw Failure(job.output, "is a frame itself, which is not overwritten by what is made of " + job.input);
    }
  }
}

// What is to be done in this run: the shard's part, without what is there already.
std::vector<Job> jobs_of(const std::vector<std::string>& inputs, const ConvertOptions& options, std::size_t& skipped) {
  const std::vector<std::string> outputs = output_names(inputs, options.output);
  std::vector<Job> jobs;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (!is_in_shard(i, options.batch.shard)) continue;
    if (options.skip_existing && exists(outputs[i])) {
      ++skipped;
    } else {
      jobs.push_back({inputs[i], outputs[i]});
    }
  }
  refuse_overwriting_others(jobs, inputs);
  return jobs;
}

void make_output_folder(const OutputOptions& options) {
  const std::string folder = output_folder(options);
  std::error_code error;
  if (!folder.empty()) fs::create_directories(folder, error);
  if (error) throw Failure(folder, error.message());
}

int convert_all(const std::vector<Job>& jobs, std::size_t skipped, const ConvertOptions& options,
                const Settings& settings) {
  Progress progress(jobs.size());
  std::size_t failed = 0;
  const auto work = [&](std::size_t i) {
    std::string lines;
    for (const std::string& warning : convert(jobs[i].input, jobs[i].output, options, settings).warnings) {
      lines += warning_line(jobs[i].input, warning);
    }
    return lines;
  };
  run_tasks(jobs.size(), options.batch.jobs, work, [&](std::size_t i, const TaskResult& result) {
    const bool succeeded = result.state == TaskResult::State::kSucceeded;
    const std::string lines = succeeded ? result.text : failure_line(jobs[i].input, result);
    if (!lines.empty()) progress.clear();
    std::fputs(lines.c_str(), stderr);
    failed += succeeded ? 0 : 1;
    progress.advance();
  });
  progress.clear();
  std::string summary = std::to_string(jobs.size() - failed) + " of " + std::to_string(jobs.size()) +
                        " frames converted in " + duration_text(progress.seconds());
  if (failed > 0) summary += ", " + std::to_string(failed) + " failed";
  if (skipped > 0) summary += ", " + std::to_string(skipped) + " were there already";
  std::fprintf(stderr, "xrdimage: %s\n", summary.c_str());
  return failed == 0 ? 0 : 1;
}

int run(const ConvertOptions& options, const Settings& settings) {
  const std::vector<std::string> inputs = all_files(options.batch);
  std::size_t skipped = 0;
  const std::vector<Job> jobs = jobs_of(inputs, options, skipped);
  for (const Job& job : jobs) writer_for(job.output, options.output.format);  // before anything is read
  make_output_folder(options.output);
  if (inputs.size() > 1 || jobs.empty()) return convert_all(jobs, skipped, options, settings);
  const Remarks remarks = convert(jobs[0].input, jobs[0].output, options, settings);
  print_remarks(jobs[0].input, remarks);
  return 0;
}

}  // namespace

Action define_convert(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<ConvertOptions>();
  constexpr const char* kGroup = "Output";
  command.add_option("-o,--output", options->output.output, "File, folder, or pattern with {name} or {n} (number)")
      ->type_name("OUT")
      ->required()
      ->group(kGroup);
  command.add_option("--to", options->output.format, "Format, for folders: " + CLI::detail::join(format_names(), " "))
      ->type_name("FORMAT")
      ->check(CLI::IsMember(format_names()))
      ->group(kGroup);
  command.add_option("--bits", options->writing.bits, "Bits per pixel: 16 or 32, where the format has both")
      ->type_name("BITS")
      ->check(CLI::IsMember({16, 32}))
      ->group(kGroup);
  add_batch_options(command, options->batch);
  command.add_flag("--skip-existing", options->skip_existing, "Leave out frames whose output exists: resumes a run")
      ->group("Many frames");
  add_picture_options(command, options->picture);
  add_operation_options(command, options->operations);
  add_input_options(command, options->reading);
  command.footer(
      "Examples:\n"
      "  xrdimage convert frame.mar2300 -o frame.png --scale log --rings 4,3,2\n"
      "  xrdimage convert data/*.mccd -o thumbs/ --to png --bin 8\n"
      "  xrdimage convert data/*.mar2300 -o edf/{name}.edf -j 4 --skip-existing");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
