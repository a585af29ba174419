#include "host/library_report.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace host {

namespace {

// The length of the UTF-8 sequence of more than one byte that the text begins with; 0 if there is none.
std::size_t utf8_sequence(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  return std::ranges::all_of(text.substr(1, length - 1), continues) ? length : 0;
}

// The library's German is ISO-8859-1, but a path in its messages is what the user gave, mostly UTF-8: only bytes that
// are no UTF-8 are converted.
std::string to_utf8(std::string_view text) {
  std::string converted;
  while (!text.empty()) {
    const auto byte = static_cast<unsigned char>(text.front());
    std::size_t taken = 1;
    if (byte < 0x80) {
      converted.push_back(text.front());
    } else if (const std::size_t length = utf8_sequence(text); length > 0) {
      converted.append(text.substr(0, length));
      taken = length;
    } else {
      converted.push_back(static_cast<char>(0xC0 | (byte >> 6)));
      converted.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    }
    text.remove_prefix(taken);
  }
  return converted;
}

// Takes out the sequences that switch colours: "\033[", numbers, "m".
std::string without_colours(std::string_view line) {
  std::string plain;
  for (;;) {
    const std::size_t escape = line.find("\033[");
    plain.append(line.substr(0, escape));
    if (escape == std::string_view::npos) return plain;
    const std::size_t end = line.find('m', escape);
    if (end == std::string_view::npos) return plain;
    line.remove_prefix(end + 1);
  }
}

// What a line says behind the word, ERROR or WARNING. The word counts where the library put it, in colours or as
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

}  // namespace host
