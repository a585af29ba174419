#include "program/options/input.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "frames/failure.h"
#include "program/classic/classic.h"
#include "program/options/numbers.h"
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

template <typename Value>
void override_value(std::optional<Value>& value, const std::optional<Value>& stated) {
  if (stated) value = stated;
}

// Adds an option whose text `parse` turns into a value.
template <typename Value, typename Parse>
CLI::Option* add_parsed(CLI::App& command, const std::string& name, const char* type, const char* help,
                        std::optional<Value>& value, Parse parse) {
  return command
      .add_option_function<std::string>(
          name, [&value, parse, name](const std::string& text) { value = parse(name, text); }, help)
      ->type_name(type)
      ->group(kReadingGroup);
}

double above_zero(const std::string& option, const std::string& text) {
  const double number = parse_reals(option, text, 1, 1)[0];
  if (number <= 0.0) throw CLI::ValidationError(option, "'" + text + "' is not above 0");
  return number;
}

frames::Point parse_point(const std::string& option, const std::string& text) {
  const std::vector<double> numbers = parse_reals(option, text, 2, 2);
  return {numbers[0], numbers[1]};
}

// One number stands for both directions.
frames::Point parse_pixel_size(const std::string& option, const std::string& text) {
  const std::vector<double> numbers = parse_reals(option, text, 1, 2);
  if (numbers.front() <= 0.0 || numbers.back() <= 0.0)
    throw CLI::ValidationError(option, "'" + text + "' is not above 0");
  return {numbers.front(), numbers.back()};
}

}  // namespace

void add_input_options(CLI::App& command, InputOptions& options) {
  frames::LoadOptions& loading = options.loading;
  add_parsed(command, "--size", "WxH", "Pixels per row and rows, for frames that do not tell", loading.size,
             parse_size);
  command.add_option("--depth", loading.depth, "Bits per raw pixel: 8, 16 or 32 (default: 16)")
      ->type_name("BITS")
      ->transform(without_leading_zeros())
      ->check(CLI::IsMember({8, 16, 32}))
      ->group(kReadingGroup);
  command.add_flag("--big-endian", loading.big_endian, "Raw pixels have their high byte first")->group(kReadingGroup);
  command.add_option("--skip", loading.skip, "Bytes in front of raw pixels that are left out")
      ->type_name("BYTES")
      ->transform(without_leading_zeros())
      ->check(CLI::NonNegativeNumber.description(""))
      ->group(kReadingGroup);
  const std::string formats = CLI::detail::join(frames::format_keywords(), ", ");
  add_parsed(command, "--format", "NAME", ("Take the file for a frame of this format: " + formats).c_str(),
             loading.format,
             [](const std::string& /*option*/, const std::string& name) {
               return frames::format_of_keyword(name).value_or(frames::Format::kRaw);
             })
      ->check(CLI::IsMember(frames::format_keywords()));
  add_parsed(command, "--beam", "X,Y", "Beam centre in pixels, instead of the header's", options.beam_centre,
             parse_point);
  add_parsed(command, "--wavelength", "A", "Wavelength in ångström, instead of the header's", options.wavelength,
             above_zero);
  add_parsed(command, "--distance", "MM", "Distance of the detector in mm, instead of the header's", options.distance,
             above_zero);
  add_parsed(command, "--pixel", "MM[,MM]", "Size of a pixel in mm, instead of the header's", options.pixel_size,
             parse_pixel_size);
  command.add_flag("--force", loading.force, "Go on with what there is of a truncated or damaged frame")
      ->group(kReadingGroup);
  command.add_flag("--classic", options.classic, "Take what the library's functions return, not the true counts")
      ->group(kReadingGroup);
}

frames::Frame load_input(const std::string& path, const InputOptions& options, const Settings& settings,
                         frames::Remarks& remarks) {
  check_readable(path);
  frames::Frame frame;
  if (options.classic) {
    frame = read_classic({path, options.loading, settings, remarks});
  } else {
    try {
      frame = frames::load_frame(path, options.loading);
    } catch (const frames::LoadError& error) {
      throw frames::Failure(path, error.what());
    }
  }
  for (const std::string& note : frame.notes) remarks.warnings.push_back(note);
  override_value(frame.header.beam_centre, options.beam_centre);
  override_value(frame.header.wavelength, options.wavelength);
  override_value(frame.header.distance, options.distance);
  override_value(frame.header.pixel_size, options.pixel_size);
  return frame;
}

}  // namespace program
