// Remarks for the user beside the result: gathered where they arise, printed by the code that talks to the user.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace frames {

struct Remarks {
  // "range" "0-500 counts": printed as lines "key: value" if there is only one frame.
  std::vector<std::pair<std::string, std::string>> values;
  // One line each, without the path: "3 pixels above 65535 were written as 65535".
  std::vector<std::string> warnings;
};

}  // namespace frames
