// What the user is told beside the result: it is gathered where it comes up, and printed by whoever talks to the user.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace frames {

struct Remarks {
  // "range" "0-500 counts": printed as lines "key: value" when there is one frame to talk about.
  std::vector<std::pair<std::string, std::string>> values;
  // One line each, without the path: "3 pixels above 65535 were written as 65535".
  std::vector<std::string> warnings;
};

}  // namespace frames
