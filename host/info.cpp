// xrdimage info: what is in frames.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string_view>

#include "host/batch.h"
#include "host/failure.h"
#include "host/input.h"
#include "host/print.h"
#include "host/statistics.h"

namespace host {

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

// One value that is told of each frame: its name in JSON and CSV, and in tables.
struct Column {
  const char* key;
  const char* label;
  const char* unit;
  int decimals;  // at most, for people
};

constexpr std::array<Column, 22> kColumns{{
    {"file", "file", "", 0},
    {"format", "format", "", 0},
    {"width", "width", "pixels", 0},
    {"height", "height", "pixels", 0},
    {"wavelength_angstrom", "wavelength", "Å", 6},
    {"distance_mm", "distance", "mm", 3},
    {"oscillation_start_degrees", "start", "°", 4},
    {"oscillation_range_degrees", "oscillation", "°", 4},
    {"exposure_seconds", "exposure", "s", 3},
    {"pixel_width_mm", "pixel width", "mm", 5},
    {"pixel_height_mm", "pixel height", "mm", 5},
    {"beam_x_pixels", "beam x", "pixels", 2},
    {"beam_y_pixels", "beam y", "pixels", 2},
    {"saturation_counts", "saturation", "counts", 0},
    {"date", "date", "", 0},
    {"detector", "detector", "", 0},
    {"minimum_counts", "minimum", "counts", 0},
    {"maximum_counts", "maximum", "counts", 0},
    {"mean_counts", "mean", "counts", 2},
    {"known_pixels", "known", "pixels", 0},
    {"unknown_pixels", "unknown", "pixels", 0},
    {"warnings", "warnings", "", 0},
}};

template <typename Value>
Json json_of(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

// Text of headers may be in any encoding; what is no UTF-8 is replaced.
Json text_of(const std::optional<std::string>& text) {
  if (!text) return {};
  const std::string valid = Json(*text).dump(-1, ' ', false, Json::error_handler_t::replace);
  return Json::parse(valid);
}

Json values_of(const std::string& path, const frames::Frame& frame, const Remarks& remarks) {
  const frames::Header& header = frame.header;
  const Statistics statistics = statistics_of(frame);
  Json values;
  values["file"] = text_of(path);
  values["format"] = frames::format_keyword(frame.format);
  values["width"] = frame.width;
  values["height"] = frame.height;
  values["wavelength_angstrom"] = json_of(header.wavelength);
  values["distance_mm"] = json_of(header.distance);
  values["oscillation_start_degrees"] = json_of(header.oscillation_start);
  values["oscillation_range_degrees"] = json_of(header.oscillation_range);
  values["exposure_seconds"] = json_of(header.exposure_time);
  values["pixel_width_mm"] = header.pixel_size ? Json(header.pixel_size->x) : Json();
  values["pixel_height_mm"] = header.pixel_size ? Json(header.pixel_size->y) : Json();
  values["beam_x_pixels"] = header.beam_centre ? Json(header.beam_centre->x) : Json();
  values["beam_y_pixels"] = header.beam_centre ? Json(header.beam_centre->y) : Json();
  values["saturation_counts"] = json_of(header.saturation);
  values["date"] = text_of(header.date);
  values["detector"] = text_of(header.detector);
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

Json describe(const std::string& path, const InfoOptions& options, const Settings& settings) {
  try {
    Remarks remarks;
    const frames::Frame frame = load_input(path, options.reading, settings, remarks);
    return values_of(path, frame, remarks);
  } catch (const std::bad_alloc&) {
    throw Failure(path, "needs more memory than there is");
  }
}

// ------------------------------------------------------------------------------------------------------------------
// Forms
// ------------------------------------------------------------------------------------------------------------------

// For people: numbers without trailing zeros.
std::string readable(const Json& value, const Column& column) {
  if (value.is_null() || value.is_array()) return "";
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_number_float()) return value.dump();
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), "%.*f", column.decimals, value.get<double>());
  std::string number = text.data();
  if (number.find('.') == std::string::npos) return number;
  number.erase(number.find_last_not_of('0') + 1);
  if (number.back() == '.') number.pop_back();
  return number == "-0" ? "0" : number;
}

std::string with_unit(const std::string& text, const Column& column) {
  return *column.unit == '\0' || text.empty() ? text : text + " " + column.unit;
}

void print_list(const Json& values) {
  for (const Column& column : kColumns) {
    const std::string text = readable(values[column.key], column);
    if (!text.empty()) print_value(column.label, with_unit(text, column));
  }
}

// Columns on a terminal, where letters beyond ASCII have several bytes.
std::size_t display_width(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// A row for each frame; columns that no frame has are left out.
void print_table(const std::vector<Json>& all) {
  std::vector<std::string> lines(all.size() + 1);
  for (const Column& column : kColumns) {
    std::vector<std::string> cells;
    for (const Json& values : all) cells.push_back(readable(values[column.key], column));
    if (std::ranges::all_of(cells, &std::string::empty)) continue;
    const bool is_number =
        !std::ranges::any_of(all, [&](const Json& values) { return values[column.key].is_string(); });
    cells.insert(cells.begin(), *column.unit == '\0' ? column.label : std::string(column.label) + "/" + column.unit);
    std::size_t width = 0;
    for (std::string& cell : cells) {
      if (cell.empty()) cell = "-";
      width = std::max(width, display_width(cell));
    }
    for (std::size_t row = 0; row < cells.size(); ++row) {
      const std::string blanks(width - display_width(cells[row]), ' ');
      if (!lines[row].empty()) lines[row] += "  ";
      lines[row] += is_number ? blanks + cells[row] : cells[row] + blanks;
    }
  }
  for (std::string& line : lines) {
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  }
}

std::string csv_field(const Json& value) {
  std::string text;
  if (value.is_array()) {
    for (const Json& warning : value) text += (text.empty() ? "" : "; ") + warning.get<std::string>();
  } else if (!value.is_null()) {
    text = value.is_string() ? value.get<std::string>() : value.dump();
  }
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

void print_csv(const std::vector<Json>& all) {
  for (const Column& column : kColumns) std::printf("%s%s", &column == kColumns.data() ? "" : ",", column.key);
  std::printf("\n");
  for (const Json& values : all) {
    for (const Column& column : kColumns) {
      std::printf("%s%s", &column == kColumns.data() ? "" : ",", csv_field(values[column.key]).c_str());
    }
    std::printf("\n");
  }
}

// An array with an object on each line.
void print_json(const std::vector<Json>& all) {
  std::printf("[");
  for (const Json& values : all) std::printf("%s\n%s", &values == all.data() ? "" : ",", values.dump().c_str());
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

// Those that can be read, in the order in which they are named. The failures are reported.
std::vector<Json> describe_all(const std::vector<std::string>& files, const InfoOptions& options,
                               const Settings& settings) {
  std::map<std::size_t, Json> described;
  const auto work = [&](std::size_t i) { return describe(files[i], options, settings).dump(); };
  run_tasks(files.size(), options.batch.jobs, work, [&](std::size_t i, const TaskResult& result) {
    if (result.state == TaskResult::State::kSucceeded) {
      described[i] = Json::parse(result.text);
      return;
    }
    const std::string path = result.state == TaskResult::State::kCrashed ? files[i] + ": " : "";
    std::fputs(failure_line(path + result.text).c_str(), stderr);
  });
  std::vector<Json> all;
  for (auto& [position, values] : described) all.push_back(std::move(values));
  return all;
}

int run(const InfoOptions& options, const Settings& settings) {
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

Action define_info(CLI::App& command, const Settings& settings) {
  auto options = std::make_shared<InfoOptions>();
  constexpr const char* kGroup = "Output";
  add_batch_options(command, options->batch);
  CLI::Option* const json = command.add_flag("--json", options->json, "JSON: an array with an object for each frame");
  json->group(kGroup);
  command.add_flag("--csv", options->csv, "CSV: a line for each frame, below one with the names")
      ->excludes(json)
      ->group(kGroup);
  add_input_options(command, options->reading);
  command.footer(
      "One frame is told about line by line, several in a table. Minimum, maximum and mean leave out\n"
      "pixels whose count is unknown because it overflowed.\n"
      "\nExamples:\n"
      "  xrdimage info frame.mar2300\n"
      "  xrdimage info data/*.mccd\n"
      "  xrdimage info --csv data/*.mccd > table.csv\n"
      "  xrdimage info --json frame.img | jq .[0].distance_mm");
  return [options, &settings] { return run(*options, settings); };
}

}  // namespace host
