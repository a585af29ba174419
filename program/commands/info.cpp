// xrdimage info: format, size, header values and statistics of frames.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "frames/failure.h"
#include "frames/formats.h"
#include "frames/header_values.h"
#include "frames/numbers.h"
#include "frames/options.h"
#include "frames/statistics.h"
#include "program/batch.h"
#include "program/options/input.h"
#include "program/print.h"
#include "support/utf8.h"

namespace program {

namespace {

using Json = nlohmann::ordered_json;

struct InfoOptions {
  BatchOptions batch;
  InputOptions reading;
  bool json = false;
  bool csv = false;
};

// ------------------------------------------------------------------------------------------------------------------
// The values
// ------------------------------------------------------------------------------------------------------------------

// Header texts may be in any encoding; bytes that are not UTF-8 are replaced.
Json text_of(const std::optional<std::string>& text) {
  if (!text) return {};
  const std::string valid = Json(*text).dump(-1, ' ', false, Json::error_handler_t::replace);
  return Json::parse(valid);
}

// Null for values that a header lacks.
struct ToJson {
  Json& values;

  void operator()(const char* name, const std::optional<double>& number) const {
    values[name] = number ? Json(*number) : Json();
  }
  void operator()(const char* name, const std::optional<std::string>& text) const { values[name] = text_of(text); }
  void operator()(const char* x_name, const char* y_name, const std::optional<frames::Point>& point) const {
    values[x_name] = point ? Json(point->x) : Json();
    values[y_name] = point ? Json(point->y) : Json();
  }
};

Json values_of(const std::string& path, const frames::Frame& frame, const frames::Remarks& remarks) {
  const frames::Statistics statistics = frames::statistics_of(frame);
  Json values;
  values["file"] = text_of(path);
  values["format"] = frames::entry_of(frame.format).keyword;
  values["width"] = frame.width;
  values["height"] = frame.height;
  frames::visit_header(frame.header, ToJson{values});
  const bool any_known = statistics.known > 0;
  values["minimum_counts"] = any_known ? Json(statistics.minimum) : Json();
  values["maximum_counts"] = any_known ? Json(statistics.maximum) : Json();
  values["mean_counts"] = any_known ? Json(statistics.mean) : Json();
  values["known_pixels"] = statistics.known;
  values["unknown_pixels"] = statistics.unknown;
  values["warnings"] = Json::array();
  for (const std::string& warning : remarks.warnings) values["warnings"].push_back(text_of(warning));
  return values;
}

// A lack of memory gives the same line for a single frame as in a batch.
Json describe(const std::string& path, const InfoOptions& options, const Settings& settings) {
  try {
    frames::Remarks remarks;
    const frames::Frame frame = load_heeding_options(path, options.reading, settings, remarks);
    return values_of(path, frame, remarks);
  } catch (const std::bad_alloc&) {
    throw frames::Failure(path, "needs more memory than is available");
  }
}

// ------------------------------------------------------------------------------------------------------------------
// Forms
// ------------------------------------------------------------------------------------------------------------------

// Numbers for people: at most so many decimals, without trailing zeros.
std::string decimal_text(double number, int decimals) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), "%.*f", decimals, number);
  std::string trimmed = text.data();
  if (trimmed.find('.') == std::string::npos) return trimmed;
  trimmed.erase(trimmed.find_last_not_of('0') + 1);
  if (trimmed.back() == '.') trimmed.pop_back();
  return trimmed == "-0" ? "0" : trimmed;
}

std::string text_of_value(const Json& value, int decimals) {
  if (value.is_null()) return "";
  if (value.is_string()) return value.get<std::string>();
  return value.is_number_float() ? decimal_text(value.get<double>(), decimals) : value.dump();
}

// A line for people: one value, or two with a separator in between.
struct Line {
  const char* label;
  const char* unit;
  const char* key;
  int decimals;
  const char* separator = nullptr;
  const char* second_key = nullptr;

  std::string text(const Json& values) const {
    std::string first = text_of_value(values[key], decimals);
    if (second_key == nullptr || first.empty()) return first;
    return first + separator + text_of_value(values[second_key], decimals);
  }
};

constexpr std::array<Line, 16> kLines{{
    {"file", "", "file", 0},
    {"format", "", "format", 0},
    {"size", "pixels", "width", 0, " x ", "height"},
    {"wavelength", "Å", "wavelength_angstrom", 6},
    {"distance", "mm", "distance_mm", 3},
    {"start", "°", "oscillation_start_degrees", 4},
    {"oscillation", "°", "oscillation_range_degrees", 4},
    {"exposure", "s", "exposure_seconds", 3},
    {"pixel size", "mm", "pixel_width_mm", 5, " x ", "pixel_height_mm"},
    {"beam centre", "pixels", "beam_x_pixels", 2, ", ", "beam_y_pixels"},
    {"date", "", "date", 0},
    {"detector", "", "detector", 0},
    {"minimum", "counts", "minimum_counts", 0},
    {"maximum", "counts", "maximum_counts", 0},
    {"mean", "counts", "mean_counts", 2},
    {"unknown", "pixels", "unknown_pixels", 0},
}};

void print_line(const Line& line, const std::string& text) {
  if (!text.empty()) print_value(line.label, *line.unit == '\0' ? text : text + " " + line.unit);
}

void print_list(const Json& values) {
  for (const Line& line : kLines) print_line(line, line.text(values));
}

// Columns on a terminal, where letters beyond ASCII have several bytes.
std::size_t display_width(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::vector<std::string> texts_of(const Line& line, const std::vector<Json>& all) {
  std::vector<std::string> texts;
  texts.reserve(all.size());
  for (const Json& values : all) texts.push_back(line.text(values));
  return texts;
}

bool is_common(const std::vector<std::string>& texts) {
  return std::ranges::all_of(texts, [&](const std::string& text) { return text == texts[0]; });
}

// Adds a column to the rows, of which the first is the head; numbers are aligned at their right.
void add_column(std::vector<std::string>& rows, const Line& line, std::vector<std::string> cells) {
  const bool is_text = *line.unit == '\0';
  cells.insert(cells.begin(), is_text ? line.label : std::string(line.label) + "/" + line.unit);
  std::size_t width = 0;
  for (std::string& cell : cells) {
    cell = cell.empty() ? "-" : xrd::printable(cell);
    width = std::max(width, display_width(cell));
  }
  for (std::size_t row = 0; row < cells.size(); ++row) {
    const std::string blanks(width - display_width(cells[row]), ' ');
    if (!rows[row].empty()) rows[row] += "  ";
    rows[row] += is_text ? cells[row] + blanks : blanks + cells[row];
  }
}

// Values that all frames share stand above a table with a row for each frame.
void print_table(const std::vector<Json>& all) {
  std::vector<std::string> rows(all.size() + 1);
  for (const Line& line : kLines) {
    const std::vector<std::string> texts = texts_of(line, all);
    if (&line != kLines.data() && is_common(texts)) {
      print_line(line, texts[0]);
    } else {
      add_column(rows, line, texts);
    }
  }
  std::printf("\n");
  for (std::string& row : rows) {
    row.erase(row.find_last_not_of(' ') + 1);
    std::printf("%s\n", row.c_str());
  }
}

bool is_number(const std::string& text) {
  const bool has_plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
  const auto numbers = frames::reals_in(text.substr(has_plus ? 1 : 0));
  return numbers && numbers->size() == 1;
}

// Whether a spreadsheet would take a cell with this text for a formula. Also true for an apostrophe in front, so that
// such texts differ from those that get one.
bool needs_apostrophe(const std::string& text) {
  constexpr std::array<std::string_view, 12> kBegins{"=", "+", "-", "@", "\t", "\r", "\n", "＝", "＋", "－", "＠", "'"};
  const auto begins = [&](std::string_view begin) { return text.starts_with(begin); };
  return std::ranges::any_of(kBegins, begins) && !is_number(text);
}

std::string csv_quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

// The characters at which spreadsheets split lines: the comma, and in some languages others.
constexpr std::string_view kSeparators = ",;\t";

// An apostrophe keeps a spreadsheet from taking a text for a formula, also where it splits the text.
std::string with_apostrophes(const std::string& text) {
  std::string safe;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool begins_cell = i == 0 || kSeparators.find(text[i - 1]) != std::string_view::npos;
    if (begins_cell && needs_apostrophe(text.substr(i))) safe += '\'';
    safe += text[i];
  }
  return safe;
}

// Exact for programs except for the apostrophes; printable on terminals.
std::string csv_text(const std::string& exact, bool is_terminal) {
  const std::string text = is_terminal ? xrd::printable(exact) : exact;
  const std::string safe = with_apostrophes(text);
  const bool is_plain = safe == text && text.find_first_of(std::string(kSeparators) + "\"\r\n") == std::string::npos;
  return is_plain ? text : csv_quoted(safe);
}

std::string csv_field(const Json& value, bool is_terminal) {
  if (value.is_null()) return "";
  if (value.is_string()) return csv_text(value.get<std::string>(), is_terminal);
  if (!value.is_array()) return value.dump();
  std::string warnings;
  for (const Json& warning : value) warnings += (warnings.empty() ? "" : "; ") + warning.get<std::string>();
  return csv_text(warnings, is_terminal);
}

// The line of names comes first, even if there are no frames.
void print_csv(const std::vector<Json>& all) {
  const Json names = values_of("", {}, {});
  std::vector<std::string> fields;
  for (const auto& [name, value] : names.items()) fields.push_back(name);
  std::printf("%s\n", frames::joined(fields, ",").c_str());
  const bool is_terminal = isatty(STDOUT_FILENO) == 1;
  for (const Json& values : all) {
    std::ranges::transform(values, fields.begin(), [=](const Json& value) { return csv_field(value, is_terminal); });
    const std::string line = frames::joined(fields, ",") + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);  // texts may contain a NUL
  }
}

// On one line. In texts, JSON's escapes replace all unprintable characters, also those beyond ASCII.
std::string json_line(const Json& values) {
  const std::string dumped = values.dump();
  std::string_view rest = dumped;
  std::string line;
  while (!rest.empty()) {
    const auto [bytes, code] = xrd::first_character(rest);
    if (code && xrd::is_unprintable(*code)) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(*code) & 0xFFFF);
      line.append(escape.data());
    } else {
      line.append(rest.substr(0, bytes));
    }
    rest.remove_prefix(bytes);
  }
  return line;
}

// An array with an object on each line.
void print_json(const std::vector<Json>& all) {
  std::printf("[");
  for (const Json& values : all) std::printf("%s\n%s", &values == all.data() ? "" : ",", json_line(values).c_str());
  std::printf("\n]\n");
}

void print_all(const std::vector<Json>& all, const InfoOptions& options, bool single) {
  if (options.json) {
    print_json(all);
  } else if (options.csv) {
    print_csv(all);
  } else if (single && !all.empty()) {
    print_list(all[0]);
  } else if (!all.empty()) {
    print_table(all);
  }
}

void print_frame_warnings(const Json& values) {
  for (const Json& warning : values["warnings"]) {
    std::fputs(warning_line(values["file"].get<std::string>(), warning.get<std::string>()).c_str(), stderr);
  }
}

// ------------------------------------------------------------------------------------------------------------------
// The frames
// ------------------------------------------------------------------------------------------------------------------

// The readable frames, in the order of their names. Failures are reported.
std::vector<Json> describe_all(const std::vector<std::string>& files, const InfoOptions& options,
                               const Settings& settings) {
  std::map<std::size_t, Json> described;
  const auto work = [&](std::size_t i) { return describe(files[i], options, settings).dump(); };
  run_tasks(files.size(), options.batch.jobs, work, [&](std::size_t i, const TaskResult& result) {
    if (result.state == TaskResult::State::kSucceeded) {
      described[i] = Json::parse(result.text);
    } else {
      std::fputs(failure_line(files[i], result).c_str(), stderr);
    }
  });
  std::vector<Json> all;
  all.reserve(described.size());
  for (auto& [position, values] : described) all.push_back(std::move(values));
  return all;
}

int run(const InfoOptions& options, const Settings& settings) {
  check_input_options(options.reading);
  const std::vector<std::string> named = all_files(options.batch);
  std::vector<std::string> files;
  for (std::size_t i = 0; i < named.size(); ++i) {
    if (is_in_shard(i, options.batch.shard)) files.push_back(named[i]);
  }
  std::vector<Json> all;
  if (files.size() == 1) {
    all.push_back(describe(files[0], options, settings));
  } else {
    all = describe_all(files, options, settings);
  }
  for (const Json& values : all) print_frame_warnings(values);
  print_all(all, options, named.size() == 1);
  return all.size() == files.size() ? 0 : 1;
}

}  // namespace

Action define_info(Command& command, const Settings& settings) {
  auto options = std::make_shared<InfoOptions>();
  constexpr const char* kGroup = "Output";
  command.add_flag({.names = "--json", .help = "JSON: an array with an object for each frame", .group = kGroup},
                   options->json);
  command.add_flag({.names = "--csv", .help = "CSV: a line of names, then a line for each frame", .group = kGroup},
                   options->csv);
  command.exclude("--csv", "--json");
  add_batch_options(command, options->batch);
  add_input_options(command, options->reading);
  command.set_footer(
      "For several frames, values that all share stand above a table of the others.\n"
      "Minimum, maximum and mean leave out pixels that overflowed, whose count is\n"
      "unknown. In CSV, an apostrophe goes before texts that spreadsheets would take\n"
      "for formulas.\n"
      "\nExamples:\n"
      "  xrdimage info frame.mar2300\n"
      "  xrdimage info data/*.mccd\n"
      "  xrdimage info --csv data/*.mccd > table.csv\n"
      "  xrdimage info --json frame.img | jq '.[0].distance_mm'");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace program
