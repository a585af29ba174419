// Header values as text for people.
#pragma once

#include <string_view>
#include <vector>

#include "host/frame.h"

namespace host {

// Adds "VALUE UNIT", without the unit where there is none.
void add_number(std::vector<HeaderValue>& values, const char* key, double value, const char* unit = "");

// Adds the text unless it is blank.
void add_text(std::vector<HeaderValue>& values, const char* key, std::string_view text);

}  // namespace host
