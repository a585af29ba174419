#include "host/header_values.h"

#include <array>
#include <cstdio>
#include <string>

namespace host {

void add_number(std::vector<HeaderValue>& values, const char* key, double value, const char* unit) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.10g%s%s", value, *unit == '\0' ? "" : " ", unit);
  values.push_back({key, text.data()});
}

void add_text(std::vector<HeaderValue>& values, const char* key, std::string_view text) {
  if (text.find_first_not_of(' ') != std::string_view::npos) values.push_back({key, std::string(text)});
}

}  // namespace host
