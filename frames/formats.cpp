#include "frames/formats.h"

#include <algorithm>
#include <array>

#include "frames/readers/header_items.h"

namespace frames {

namespace {

constexpr Abilities kEverything{.header = true, .negative_counts = true, .large_counts = true};
constexpr Abilities kUnsigned{.header = true, .large_counts = true};
constexpr Abilities kPixels{.large_counts = true};
constexpr Abilities kPlate{.header = true, .large_counts = true, .most_bits = 16};  // records hold large counts

// MarCCD frames are TIFF files too, and mar345 frames hold a packed image: the more specific format is asked first.
constexpr std::array<FileFormat, 10> kFormats{{
    {Format::kPng, "png", "PNG picture", "png", {.is_picture = true}, nullptr, nullptr, nullptr, nullptr},
    {Format::kMarCcd, "marccd", "MarCCD", "mccd", kUnsigned, is_mar_ccd, load_mar_ccd, enough_of_tiff, nullptr},
    {Format::kTiff, "tiff", "TIFF", "tif tiff", kEverything, is_tiff, load_tiff, enough_of_tiff, write_tiff},
    {Format::kAdsc, "adsc", "ADSC-style CCD frame", "img", kUnsigned, is_adsc, load_adsc, enough_of_adsc, write_adsc},
    {Format::kEdf, "edf", "EDF", "edf", kEverything, is_edf, load_edf, enough_of_edf, write_edf},
    {Format::kSaint, "saint", "SAINT", "sfrm", kUnsigned, is_saint, load_saint, enough_of_saint, nullptr},
    {Format::kMar345, "mar345", "mar345 image plate",
     "mar mar1200 mar1600 mar1800 mar2000 mar2300 mar2400 mar3000 mar3450 mar345", kPlate, is_mar345, load_mar345,
     enough_of_mar345, write_mar345},
    {Format::kPacked,
     "packed",
     "CCP4-packed image",
     "pck",
     {.most_bits = 16},
     is_packed,
     load_packed,
     enough_of_packed,
     write_packed},
    {Format::kRaw, "raw", "raw pixels", "raw bin", kPixels, nullptr, load_raw, enough_of_raw, write_raw},
    {Format::kNpy,
     "npy",
     "NumPy array",
     "npy",
     {.negative_counts = true, .large_counts = true},
     nullptr,
     nullptr,
     nullptr,
     write_npy},
}};

// Removes the first word of the list, and returns it.
std::string_view take_word(std::string_view& words) {
  const std::string_view word = words.substr(0, words.find(' '));
  words.remove_prefix(std::min(words.size(), word.size() + 1));
  return word;
}

bool has_ending(const FileFormat& format, std::string_view ending) {
  for (std::string_view rest = format.endings; !rest.empty();) {
    if (take_word(rest) == ending) return true;
  }
  return false;
}

template <typename Selection>
std::vector<std::string> keywords_of(Selection is_selected) {
  std::vector<std::string> keywords;
  for (const FileFormat& format : kFormats) {
    if (is_selected(format)) keywords.emplace_back(format.keyword);
  }
  return keywords;
}

// Without the ending of a compressed file.
std::string_view uncompressed_name(std::string_view name) {
  const std::string ending = ending_of(name);
  return ending == "gz" || ending == "bz2" ? name.substr(0, name.size() - ending.size() - 1) : name;
}

}  // namespace

std::span<const FileFormat> formats() {
  return kFormats;
}

const FileFormat& entry_of(Format format) {
  return *std::ranges::find(kFormats, format, &FileFormat::format);
}

const FileFormat* find_format(std::string_view name) {
  const auto found = std::ranges::find_if(
      kFormats, [&](const FileFormat& format) { return name == format.keyword || has_ending(format, name); });
  return found == kFormats.end() ? nullptr : &*found;
}

const FileFormat* format_of_ending(std::string_view ending) {
  const auto found =
      std::ranges::find_if(kFormats, [&](const FileFormat& format) { return has_ending(format, ending); });
  return found == kFormats.end() ? nullptr : &*found;
}

const FileFormat* format_of_name(std::string_view name) {
  return format_of_ending(ending_of(uncompressed_name(name)));
}

std::string_view usual_ending(const FileFormat& format) {
  std::string_view endings = format.endings;
  return take_word(endings);
}

std::string ending_of(std::string_view path) {
  const std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? "" : lower_case(name.substr(dot + 1));
}

std::vector<std::string> readable_formats() {
  return keywords_of([](const FileFormat& format) { return format.is_read(); });
}

std::vector<std::string> writable_formats() {
  return keywords_of([](const FileFormat& format) { return format.is_written(); });
}

std::vector<std::string> written_endings() {
  std::vector<std::string> endings;
  for (const FileFormat& format : kFormats) {
    if (format.is_written()) endings.push_back("." + std::string(usual_ending(format)));
  }
  return endings;
}

std::string name_without_ending(const std::string& name) {
  std::string_view plain = uncompressed_name(name);
  const FileFormat* const format = format_of_name(plain);
  if (format != nullptr && format->is_read()) plain.remove_suffix(ending_of(plain).size() + 1);
  // The rest must not be a folder: "...edf" must not lead to the one above.
  const bool is_name = !plain.empty() && plain != "." && plain != "..";
  return is_name ? std::string(plain) : name;
}

}  // namespace frames
