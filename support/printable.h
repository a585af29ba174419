// Foreign texts, made safe for terminals.
#pragma once

#include <string>
#include <string_view>

namespace xrd {

// Whether a character could steer a terminal or break a line: control characters (below U+0020, U+007F to U+009F),
// those that begin a line (U+2028, U+2029), and those that change the order of the text around them, so that a line
// reads differently (U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069).
bool is_unprintable(char32_t code);

// Names of files, texts of headers and messages of other libraries may hold anything. Here, '?' stands for each
// unprintable character and for each byte that is not UTF-8: terminals set to 8 bits take some of them for sequences.
std::string printable(std::string_view text);

// The report of an error: "PROGRAM: MESSAGE", on one line.
std::string message_line(std::string_view program, std::string_view message);

}  // namespace xrd
