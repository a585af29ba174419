// What exports.map lists. Needs XRDIMAGE_SOURCE, the folder of the sources.
#pragma once

#include <set>
#include <sstream>
#include <string>

#include "tests/environment.h"

namespace test {

// The names between "global:" and "local:", of each version.
inline std::set<std::string> exported_functions() {
  std::istringstream words(read_file(XRDIMAGE_SOURCE "/exports.map"));
  std::set<std::string> names;
  bool global = false;
  for (std::string word; words >> word;) {
    if (word.back() == ':' || word == "}") global = word == "global:";
    if (global && word.back() == ';') names.insert(word.substr(0, word.size() - 1));
  }
  return names;
}

}  // namespace test
