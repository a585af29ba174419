// xrdimage convert: a frame in another format, which the ending of the new file's name tells.
#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/clipped.h"
#include "host/contrast.h"
#include "host/failure.h"
#include "host/library_output.h"
#include "host/new_file.h"
#include "host/operations.h"
#include "host/png.h"
#include "host/read_options.h"
#include "support/files.h"
#include "xrdimage.h"

namespace host {

namespace {

struct ConvertOptions {
  std::string input;
  std::string output;
  ReadOptions reading;
  std::vector<Operation> operations;
  bool grey = false;
  int bits = 32;
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

void warn_of_clipping(Frame& frame, const std::string& path) {
  const std::size_t clipped = clip_to_16_bits(frame.pixels());
  if (clipped > 0) warn(path, std::to_string(clipped) + " pixels above 65535 were written as 65535");
}

void write_raw_dump(Frame& frame, const ConvertOptions& options, const Settings& settings) {
  warn_of_clipping(frame, options.output);
  NewFile file(options.output);
  const LibraryReport report = run_library(settings, {.divert_errors = true}, [&] {
    write_zimg(file.temporary_path().c_str(), frame.daten.get(), frame.count());
  });
  if (!report.errors.empty()) throw Failure(options.output, joined_errors(report, file.temporary_path()));
  file.commit(frame.pixels().size() * sizeof(unsigned short));
}

// The length of an EDF header, up to and including the line of its closing brace.
std::size_t edf_header_size(const std::string& path) {
  std::array<char, 1024> start{};
  const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
  if (stream) static_cast<void>(std::fread(start.data(), 1, start.size() - 1, stream.get()));
  constexpr std::string_view kEnd = "\n}\n";
  return std::string_view(start.data()).find(kEnd) + kEnd.size();
}

void write_edf(Frame& frame, const ConvertOptions& options, const Settings& settings) {
  NewFile file(options.output);
  const std::string& path = file.temporary_path();
  const LibraryReport report = run_library(settings, {}, [&] {
    const auto write = options.bits == 16 ? edf16_write : edf32_write;
    write(path.c_str(), frame.daten.get(), frame.size.width, frame.size.height);
  });
  if (!report.errors.empty()) throw Failure(options.output, joined_errors(report, path));
  file.commit(edf_header_size(path) + frame.pixels().size_bytes());
}

void write_packed(Frame& frame, const ConvertOptions& options, const Settings& /*settings*/) {
  warn_of_clipping(frame, options.output);
  std::vector<short> words(frame.pixels().size());
  std::ranges::transform(frame.pixels(), words.begin(), [](unsigned int pixel) { return static_cast<short>(pixel); });
  PackedFileHeader header{};
  header.width = frame.size.width;
  header.height = frame.size.height;
  NewFile file(options.output);
  std::fwrite(&header, sizeof header, 1, file.stream());
  pack_wordimage_c(words.data(), header.width, header.height, file.stream());
  file.commit();
}

struct Writer {
  const char* ending;
  void (*write)(Frame& frame, const ConvertOptions& options, const Settings& settings);
};

constexpr std::array<Writer, 4> kWriters{{
    {".png", write_picture},
    {".raw", write_raw_dump},
    {".edf", write_edf},
    {".pck", write_packed},
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
  apply_operations(frame, options.operations, options.input, settings);
  writer.write(frame, options, settings);
  print_value("size", std::to_string(frame.size.width) + " x " + std::to_string(frame.size.height) + " pixels");
  print_value("written", options.output);
  return 0;
}

}  // namespace

Action define_convert(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<ConvertOptions>();
  command.add_option("FILE", options->input, "Frame to convert")->required();
  command.add_option("OUT", options->output, "New file: .png, .edf, .pck (packed), or .raw (16-bit dump)")->required();
  command.add_flag("--grey", options->grey, "Picture in grey instead of colours");
  command.add_option("--max", options->maximum, "Counts shown as the brightest; otherwise 99.5 % of the pixels fit")
      ->type_name("N")
      ->check(CLI::Range(1U, std::numeric_limits<unsigned int>::max()).description(""));
  command.add_option("--bits", options->bits, "Bits per pixel that an EDF file declares")
      ->type_name("BITS")
      ->check(CLI::IsMember({16, 32}));
  add_read_options(command, options->reading);
  add_operation_options(command, options->operations);
  command.footer(
      "Operations (--bin to --cross) are applied in the order given, each as often as it is given.\n"
      "Raw dumps and packed files have 16 bits a pixel; brighter pixels become 65535.\n"
      "\nExamples:\n"
      "  xrdimage convert frame.mar2300 frame.png\n"
      "  xrdimage convert --grey --max 2000 frame.mar2300 frame.png\n"
      "  xrdimage convert --bin 2 --smooth 2 --log 10 frame.mar2300 frame.png\n"
      "  xrdimage convert frame.mar2300 frame.edf");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
