// xrdimage convert: a frame in another format, which the ending of the new file's name tells.
#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>

#include "host/clipped.h"
#include "host/contrast.h"
#include "host/failure.h"
#include "host/library_output.h"
#include "host/new_file.h"
#include "host/png.h"
#include "host/read_options.h"
#include "xrdimage.h"

namespace host {

namespace {

struct ConvertOptions {
  std::string input;
  std::string output;
  ReadOptions reading;
  bool grey = false;
  std::optional<unsigned int> maximum;
};

void write_picture(Frame& frame, const ConvertOptions& options, const Settings& /*settings*/) {
  const Contrast contrast = options.maximum ? Contrast{0, *options.maximum} : automatic_contrast(frame.pixels());
  const std::vector<Rgb> palette = options.grey ? std::vector<Rgb>() : library_colormap();
  const std::size_t colours = options.grey ? 256 : palette.size();
  write_png(options.output, frame.size, coloured(frame.pixels(), contrast, colours), palette);
  print_value("range",
              "0-" + std::to_string(contrast.high) + " counts" + (options.maximum ? "" : " (99.5 % of the pixels)"));
}

void write_raw_dump(Frame& frame, const ConvertOptions& options, const Settings& settings) {
  const std::size_t clipped = clip_to_16_bits(frame.pixels());
  if (clipped > 0) warn(options.output, std::to_string(clipped) + " pixels above 65535 were written as 65535");
  NewFile file(options.output);
  const LibraryReport report = run_library(settings, {.divert_errors = true}, [&] {
    write_zimg(file.temporary_path().c_str(), frame.daten.get(), frame.count());
  });
  if (!report.errors.empty()) throw Failure(options.output, joined_errors(report, file.temporary_path()));
  file.commit(frame.pixels().size() * sizeof(unsigned short));
}

struct Writer {
  const char* ending;
  void (*write)(Frame& frame, const ConvertOptions& options, const Settings& settings);
};

constexpr std::array<Writer, 2> kWriters{{
    {".png", write_picture},
    {".raw", write_raw_dump},
}};

const Writer& writer_for(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::ranges::transform(ending, ending.begin(), [](unsigned char letter) { return std::tolower(letter); });
  std::string known;
  for (const Writer& writer : kWriters) {
    if (ending == writer.ending) return writer;
    known += std::string(known.empty() ? "" : ", ") + writer.ending;
  }
  throw Failure(path, "cannot be written: its name must end in one of " + known);
}

int run(const ConvertOptions& options, const Settings& settings) {
  const Writer& writer = writer_for(options.output);
  Frame frame = read_frame(options.input, options.reading, settings);
  writer.write(frame, options, settings);
  print_value("size", std::to_string(frame.size.width) + " x " + std::to_string(frame.size.height) + " pixels");
  print_value("written", options.output);
  return 0;
}

}  // namespace

Action define_convert(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<ConvertOptions>();
  command.add_option("FILE", options->input, "Frame to convert")->required();
  command.add_option("OUT", options->output, "New file: .png, or .raw for a 16-bit dump")->required();
  command.add_flag("--grey", options->grey, "Picture in grey instead of colours");
  command.add_option("--max", options->maximum, "Counts shown as the brightest; otherwise 99.5 % of the pixels fit")
      ->type_name("N")
      ->check(CLI::Range(1U, std::numeric_limits<unsigned int>::max()).description(""));
  add_read_options(command, options->reading);
  command.footer(
      "The raw dump has 16 bits a pixel, little-endian, without a header; brighter pixels become 65535.\n"
      "\nExamples:\n"
      "  xrdimage convert frame.mar2300 frame.png\n"
      "  xrdimage convert --grey --max 2000 frame.mar2300 frame.png\n"
      "  xrdimage convert frame.mar2300 dump.raw");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
