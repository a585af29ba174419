#include "support/library_report.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "support/utf8.h"

namespace xrd {

namespace {

// The library's German is ISO-8859-1, but paths in its messages are as the user gave them, mostly UTF-8: only bytes
// that are not UTF-8 are converted.
std::string to_utf8(std::string_view text) {
  std::string converted;
  while (!text.empty()) {
    const Character character = first_character(text);
    if (character.code) {
      converted.append(text.substr(0, character.bytes));
    } else {
      const auto byte = static_cast<unsigned char>(text.front());
      converted.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      converted.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
    text.remove_prefix(character.bytes);
  }
  return converted;
}

// Removes the sequences that switch colours: "\033[", numbers, "m". Others are not the library's, and stay.
std::string without_colours(std::string_view line) {
  constexpr std::string_view kBegin = "\033[";
  std::string plain;
  for (;;) {
    const std::size_t escape = line.find(kBegin);
    plain.append(line.substr(0, escape));
    if (escape == std::string_view::npos) return plain;
    line.remove_prefix(escape);
    const std::size_t end = std::min(line.find_first_not_of("0123456789;", kBegin.size()), line.size());
    const bool is_colour = line.substr(end).starts_with('m');
    if (!is_colour) plain.append(line.substr(0, end));
    line.remove_prefix(is_colour ? end + 1 : end);
  }
}

// The text behind the word ERROR or WARNING in a line. The word counts only where the library puts it: in colours or as
// "WORD> " at the line's beginning, and not in a path.
std::optional<std::string_view> text_behind(std::string_view line, std::string_view word) {
  const std::string coloured = std::string(word) + "\033[0m";
  std::size_t end = 0;
  if (const std::size_t at = line.find(coloured); at != std::string_view::npos && at > 0 && line[at - 1] == 'm') {
    end = at + coloured.size();
  } else if (line.starts_with(word) && line.substr(word.size()).starts_with('>')) {
    end = word.size() + 1;
  } else {
    return std::nullopt;
  }
  const std::string_view text = line.substr(end);
  const std::size_t first = text.find_first_not_of(" :");
  if (first == std::string_view::npos) return std::string_view();
  return text.substr(first, text.find_last_not_of(" :.") + 1 - first);
}

void parse_line(std::string_view line, LibraryReport& report) {
  if (const auto text = text_behind(line, "ERROR")) {
    report.errors.push_back(without_colours(*text));
  } else if (const auto warning = text_behind(line, "WARNING")) {
    report.warnings.push_back(without_colours(*warning));
  } else if (line.starts_with("    ") && !report.warnings.empty()) {
    // The warning goes on.
    report.warnings.back().append(" ").append(line.substr(line.find_first_not_of(' ')));
  }
  report.lines.push_back(without_colours(line));
}

}  // namespace

LibraryReport parse_library_output(std::string_view output) {
  LibraryReport report;
  const std::string text = to_utf8(output);
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t length = std::min(rest.find('\n'), rest.size());
    parse_line(rest.substr(0, length), report);
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  return report;
}

std::string joined_errors(const LibraryReport& report, const std::string& path) {
  std::string joined;
  for (std::string_view error : report.errors) {
    const std::string reading = "READING " + path + ": ";
    const std::string about = " for " + path;
    if (error.starts_with(reading)) error.remove_prefix(reading.size());
    if (error.ends_with(about)) error.remove_suffix(about.size());
    if (!joined.empty()) joined += "; ";
    joined += error;
  }
  return joined;
}

}  // namespace xrd
