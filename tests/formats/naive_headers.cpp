// Standard regular expressions take seconds to compile: once is enough.
#include "tests/formats/naive_headers.h"

#include <cerrno>
#include <regex>

namespace test {

std::string as_format(const std::string& text, std::size_t length) {
  static const std::regex kConversion(
      "%([-+ #0'I]*[0-9]*(?:\\.[0-9]*)?)(hh|h|ll|l|q|j|z|t|L|)"
      "(?:([diouxXbB])|([eEfFgGaA])|(p)|[csSCn]|(%)|$|([^]))");
  std::string result;
  auto rest = text.cbegin();
  for (std::sregex_iterator match(text.begin(), text.end(), kConversion), none; match != none; ++match) {
    result += match->prefix();
    const std::string flags = (*match)[1];
    if ((*match)[3].matched) result += printed(("%" + flags + (*match)[3].str()).c_str(), 0);
    if ((*match)[4].matched) result += printed(("%" + flags + (*match)[4].str()).c_str(), 0.0);
    if ((*match)[5].matched) result += printed(("%" + flags + "p").c_str(), static_cast<void*>(nullptr));
    if ((*match)[6].matched) result += '%';
    if ((*match)[7].matched) {  // the error number's text, or no conversion
      errno = 0;
      result += printed(match->str().c_str(), 0);
    }
    rest = (*match)[0].second;
  }
  result.append(rest, text.cend());
  return result.substr(0, length);
}

}  // namespace test
