// Names of files that mean something to a shell, to printf, or to nobody.
#pragma once

#include <string>
#include <vector>

namespace trust {

// Those that are commands make a file named canary where they are run.
inline std::vector<std::string> hostile_names() {
  return {"two words",
          " leading",
          "trailing ",
          "'",
          "''",
          "it's",
          "'; >canary; '",
          "'\\''; >canary; '\\''",
          "\"",
          "\"double\"",
          "\"; >canary; \"",
          "$(>canary)",
          "\"$(>canary)\"",
          "'$(>canary)'",
          "`>canary`",
          ";>canary;",
          "|tee canary|",
          "&>canary&",
          "&&>canary",
          "||>canary",
          ">canary",
          "a>canary",
          "<absent",
          "line\nfeed",
          "\n>canary\n",
          "\r\n>canary",
          "tab\tstop",
          "*",
          "?",
          "[a-z]*",
          "{a,b}",
          "-",
          "-f",
          "--help",
          "-;>canary",
          "%s%n%d",
          "%",
          "100%\\n",
          "M\xFCller",
          "\xFF\xFE",
          "\x01\x02\x1B[31m\x7F",
          "~",
          "~root",
          "#",
          "# >canary",
          "!",
          "!!",
          "$HOME",
          "${IFS}",
          "$((1+1))",
          "\\",
          "back\\slash",
          "\\\n",
          "=x",
          "(>canary)",
          "",
          "a/$(>canary)/b",
          std::string(200, 'x') + ";>canary",
          std::string(300, ' '),
          std::string(5000, 'y') + "$(>canary)"};
}

// Whether there can be such a file in the working directory.
inline bool can_name_a_file(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= 255 && name.find('/') == std::string::npos;
}

}  // namespace trust
