#include "pictures/options.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace pictures {

namespace {

using frames::choose;
using frames::InvalidValue;
using frames::names_of;

constexpr std::array<std::pair<const char*, ColorMap>, 4> kColorMaps{{{"classic", ColorMap::kClassic},
                                                                      {"grey", ColorMap::kGrey},
                                                                      {"inverse", ColorMap::kInverse},
                                                                      {"viridis", ColorMap::kViridis}}};

// Removes the number at the front of the text, and returns it.
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
    throw InvalidValue(text, "is not of the form LO-HI, as in 0-500");
  }
  if (*low >= *high) throw InvalidValue(text, "must begin with the lower count");
  if (!can_be_counted(*low) || !can_be_counted(*high)) throw InvalidValue(text, "does not fit into 32 bits");
  return {*low, *high};
}

std::vector<double> parse_rings(const std::string& text) {
  const auto spacings = frames::reals_in(text);
  const auto is_spacing = [](double number) { return number > 0.0 && number < 1e6; };
  if (!spacings || !std::ranges::all_of(*spacings, is_spacing)) {
    throw InvalidValue(text, "is not a list of spacings in ångström, as in 10,4.5,2");
  }
  return *spacings;
}

std::vector<frames::Option<PictureOptions>> make_picture_options() {
  return {
      {"scale", "SCALE", "How colours follow counts: linear, sqrt or log (default: linear)",
       [](PictureOptions& options, const std::string& text) { options.scale = choose(text, kScales); },
       names_of(kScales)},
      {"range", "LO-HI", "Counts of the first and the last colour (default: 1 % of the pixels below, 0.5 % above)",
       [](PictureOptions& options, const std::string& text) { options.range = parse_range(text); }},
      {"colors", "MAP", "classic, grey, inverse (as on film) or viridis (default: classic)",
       [](PictureOptions& options, const std::string& text) { options.colors = choose(text, kColorMaps); },
       names_of(kColorMaps)},
      {"rings", "D[,D...]", "Draw the resolution rings of these spacings, in ångström",
       [](PictureOptions& options, const std::string& text) { options.rings = parse_rings(text); }},
      {"bar", "", "Explain the colours below the picture",
       [](PictureOptions& options, const std::string& /*text*/) { options.bar = true; }},
  };
}

}  // namespace

const std::vector<frames::Option<PictureOptions>>& picture_options() {
  static const std::vector<frames::Option<PictureOptions>> options = make_picture_options();
  return options;
}

}  // namespace pictures
