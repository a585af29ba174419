#include "pictures/picture.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "pictures/bar.h"
#include "pictures/rings.h"
#include "pictures/text.h"
#include "program/options/numbers.h"

namespace pictures {

namespace {

constexpr const char* kPictureGroup = "Pictures";

const std::map<std::string, Scale> kScales{{"linear", Scale::kLinear}, {"sqrt", Scale::kSqrt}, {"log", Scale::kLog}};
const std::map<std::string, ColorMap> kColorMaps{{"classic", ColorMap::kClassic},
                                                 {"grey", ColorMap::kGrey},
                                                 {"inverse", ColorMap::kInverse},
                                                 {"viridis", ColorMap::kViridis}};

// Takes the number that the text begins with off its front.
std::optional<std::int64_t> take_number(std::string_view& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

// No frame has counts beyond these.
bool can_be_counted(std::int64_t count) {
  return count >= -0x80000000LL && count <= 0xFFFFFFFFLL;
}

CountRange parse_range(const std::string& text) {
  std::string_view rest = text;
  const auto low = take_number(rest);
  const bool has_hyphen = rest.starts_with('-');
  if (has_hyphen) rest.remove_prefix(1);
  const auto high = take_number(rest);
  if (!low || !has_hyphen || !high || !rest.empty()) {
    throw CLI::ValidationError("--range", "'" + text + "' is not of the form LO-HI, as in 0-500");
  }
  if (*low >= *high) throw CLI::ValidationError("--range", "'" + text + "' does not go upwards");
  if (!can_be_counted(*low) || !can_be_counted(*high)) {
    throw CLI::ValidationError("--range", "'" + text + "' is beyond 32 bits");
  }
  return {*low, *high};
}

std::vector<double> parse_rings(const std::string& text) {
  const auto spacings = program::reals_in(text);
  const auto is_spacing = [](double number) { return number > 0.0 && number < 1e6; };
  if (!spacings || !std::ranges::all_of(*spacings, is_spacing)) {
    throw CLI::ValidationError("--rings", "'" + text + "' is no list of spacings in angstrom, as in 10,4.5,2");
  }
  return *spacings;
}

template <typename Value>
std::string name_of(Value value, const std::map<std::string, Value>& names) {
  return std::ranges::find(names, value, &std::pair<const std::string, Value>::second)->first;
}

}  // namespace

void add_picture_options(CLI::App& command, PictureOptions& options) {
  command
      .add_option_function<std::string>(
          "--scale", [&](const std::string& name) { options.scale = kScales.at(name); },
          "How colours follow counts: linear, sqrt or log; linear if not told")
      ->type_name("SCALE")
      ->check(CLI::IsMember(kScales))
      ->group(kPictureGroup);
  command
      .add_option_function<std::string>(
          "--range", [&](const std::string& text) { options.range = parse_range(text); },
          "Counts of the first and the last colour; otherwise 1 % of the pixels are below and 0.5 % above")
      ->type_name("LO-HI")
      ->group(kPictureGroup);
  command
      .add_option_function<std::string>(
          "--colors", [&](const std::string& name) { options.colors = kColorMaps.at(name); },
          "classic, grey, inverse (as on film) or viridis; classic if not told")
      ->type_name("MAP")
      ->check(CLI::IsMember(kColorMaps))
      ->group(kPictureGroup);
  command
      .add_option_function<std::string>(
          "--rings", [&](const std::string& text) { options.rings = parse_rings(text); },
          "Draw the resolution rings of these spacings, in angstrom")
      ->type_name("D[,D...]")
      ->group(kPictureGroup);
  command.add_flag("--bar", options.bar, "Show below the picture what the colours mean")->group(kPictureGroup);
}

CountRange chosen_range(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks) {
  const CountRange range = options.range ? *options.range : automatic_range(frame);
  remarks.values.emplace_back("range", std::to_string(range.low) + "-" + std::to_string(range.high) + " counts" +
                                           (options.range ? "" : " (1 % to 99.5 % of the pixels)"));
  if (options.scale != Scale::kLinear) remarks.values.emplace_back("scale", name_of(options.scale, kScales));
  return range;
}

Picture draw_picture_in_range(const frames::Frame& frame, const CountRange& range, const PictureOptions& options,
                              frames::Remarks& remarks) {
  Colors colors = make_colors(options.colors);
  Picture picture;
  picture.width = frame.width;
  picture.height = frame.height;
  picture.pixels = levels_of(frame, range, options.scale, colors.levels, colors.unknown);
  const Pen pen = pen_for(picture.width, picture.height, colors);
  draw_rings(picture, pen, frame.header, options.rings, remarks);
  if (options.bar) add_bar(picture, pen, colors.levels, range, options.scale);
  picture.palette = std::move(colors.palette);
  return picture;
}

Picture draw_picture(const frames::Frame& frame, const PictureOptions& options, frames::Remarks& remarks) {
  return draw_picture_in_range(frame, chosen_range(frame, options, remarks), options, remarks);
}

}  // namespace pictures
