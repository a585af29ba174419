// Options by their names, as the command line and the C interface take them.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "frames/frame.h"
#include "frames/numbers.h"
#include "frames/writers/writers.h"

namespace frames {

// An option that changes `Target`.
template <typename Target>
struct Option {
  // Throws InvalidValue.
  using Set = std::function<void(Target& target, const std::string& text)>;

  Option(std::string its_name, std::string value_name, std::string help_text, Set setter,
         std::vector<std::string> values = {})
      : name(std::move(its_name)),
        value(std::move(value_name)),
        help(std::move(help_text)),
        set(std::move(setter)),
        choices(std::move(values)) {}

  std::string name;   // "size": the long one, without dashes
  std::string value;  // "WxH", for people; empty for an option without a value
  std::string help;
  Set set;
  std::vector<std::string> choices;  // the possible values, if they can be listed
};

// The options about reading frames.
const std::vector<Option<LoadOptions>>& load_options();

// The options about writing frames.
const std::vector<Option<WriteOptions>>& write_options();

// "a, b, c".
std::string joined(const std::vector<std::string>& words, const std::string& separator = ", ");

template <typename Value, std::size_t count>
std::vector<std::string> names_of(const std::array<std::pair<const char*, Value>, count>& names) {
  std::vector<std::string> words;
  words.reserve(count);
  for (const auto& entry : names) words.emplace_back(entry.first);
  return words;
}

// The value of this name in a list of names and values.
template <typename Value, std::size_t count>
Value choose(const std::string& text, const std::array<std::pair<const char*, Value>, count>& names) {
  for (const auto& [name, value] : names) {
    if (text == name) return value;
  }
  throw InvalidValue(text, "must be one of " + joined(names_of(names)));
}

}  // namespace frames
